#pragma once
// The eight frame rates of television, as a value.

#include <cstdint>
#include <string>

namespace zenquor {

/// A frame rate with its timecode counting rule.
///
/// Codes: 0 = 24000/1001, 1 = 24, 2 = 25, 3 = 30000/1001 drop-frame, 4 = 30, 5 = 50, 6 = 60000/1001
/// drop-frame, 7 = 60.
///
/// Thread-safety: Safe; a value.
/// Standards:     SMPTE ST 12-1 (drop-frame counting), ST 12-3 (rates above 30).
class ZQCKTimebase {
public:
    static constexpr int frameRateCount = 8;

    /// 25 frames per second.
    constexpr ZQCKTimebase() = default;
    /// The timebase of a code 0 to 7; any other code gives 25 frames per second.
    static constexpr ZQCKTimebase timebaseForFramerate(int code) {
        ZQCKTimebase timebase;
        if (code >= 0 && code < frameRateCount) timebase.code_ = code;
        return timebase;
    }
    /// The timebase of a rate in frames per second times 100 (2398 … 6000); any other rate gives 25.
    static constexpr ZQCKTimebase timebaseForHundredths(unsigned framesPerSecondTimes100) {
        for (int code = 0; code < frameRateCount; ++code) {
            if (rates[code].hundredths == framesPerSecondTimes100) return timebaseForFramerate(code);
        }
        return {};
    }

    constexpr int frameRate() const { return code_; }
    /// Labels in one second: 24, 24, 25, 30, 30, 50, 60, 60.
    constexpr std::uint32_t nominalFramesPerSecond() const { return rates[code_].nominal; }
    /// The exact rate is numerator / denominator frames per second.
    constexpr std::uint32_t numerator() const { return rates[code_].numerator; }
    constexpr std::uint32_t denominator() const { return rates[code_].denominator; }
    constexpr double realFramesPerSecond() const {
        return static_cast<double>(numerator()) / static_cast<double>(denominator());
    }
    constexpr bool dropFrameTimecode() const { return droppedLabels() != 0; }
    /// Labels skipped at the start of each minute that is not a multiple of ten: 0, 2 or 4.
    constexpr std::uint32_t droppedLabels() const { return rates[code_].dropped; }
    constexpr std::uint32_t framesPerTenMinutes() const {
        return nominalFramesPerSecond() * 600 - 9 * droppedLabels();
    }
    constexpr std::uint32_t framesPerHour() const { return framesPerTenMinutes() * 6; }
    constexpr std::uint32_t framesPerDay() const { return framesPerHour() * 24; }

    /// "25", "29.97 DF" and so on, for people.
    std::string description() const;

    friend constexpr bool operator==(const ZQCKTimebase&, const ZQCKTimebase&) = default;

private:
    struct Rate {
        std::uint32_t numerator, denominator, nominal, dropped, hundredths;
    };
    static constexpr Rate rates[frameRateCount] = {
        {24000, 1001, 24, 0, 2398}, {24, 1, 24, 0, 2400}, {25, 1, 25, 0, 2500},
        {30000, 1001, 30, 2, 2997}, {30, 1, 30, 0, 3000}, {50, 1, 50, 0, 5000},
        {60000, 1001, 60, 4, 5994}, {60, 1, 60, 0, 6000},
    };
    int code_ = 2;
};

}  // namespace zenquor
