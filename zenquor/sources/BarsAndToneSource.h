#pragma once
// Colour bars with running timecode, and a tone of its own on every channel.

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "zenquor/sources/FrameSource.h"

namespace zenquor {

/// A test signal: bars, a bar that moves across the picture once in four seconds (field by field when
/// interlaced), the timecode and frame number drawn into the picture, and sine tones at -18 dBFS.
///
/// Channel n sounds at 1000 Hz, 1100 Hz, 1200 Hz … (n × 100 Hz above the first), without a break between
/// frames.
///
/// Lifecycle:     create, nextFrame() until null.
/// Thread-safety: One thread at a time.
/// Standards:     ITU-R BT.471 and BT.801 (bars), EBU R 49 (alignment level), BT.601, BT.709, BT.2020
/// (matrix).
class BarsAndToneSource final : public FrameSource {
public:
    enum class Bars {
        Percent100,  ///< 100/0/100/0
        Percent75    ///< 100/0/75/0 (EBU) in 50 Hz formats; 75/0/75/0 (SMPTE) in the others
    };

    struct Options {
        Bars bars = Bars::Percent75;
        std::optional<ZQCKTimecode> startTimecode{};  ///< its label counts; 10:00:00:00 when not said
        std::optional<std::uint64_t> durationFrames{};
        std::string title{};  ///< A–Z, 0–9, blank, ':', ';', '.', '-', '/'; drawn above the timecode
        std::size_t pictureLimit = 96;  ///< pictures in memory at once
        /// How long nextFrame() waits while all of them are in use.
        std::chrono::milliseconds pictureWait{5000};
    };

    /// @return null with frameSourceErrorInvalidFormat for a format that is not valid.
    static std::shared_ptr<BarsAndToneSource> sourceWithFormat(const SourceFormat& format, Options options,
                                                               ZQErrorPtr* error = nullptr);
    ~BarsAndToneSource() override;

    ZQRFramePtr nextFrame() override;
    const SourceFormat& format() const override;
    std::optional<std::uint64_t> durationFrames() const override;
    ZQCKTimecode startTimecode() const override;
    ZQErrorPtr error() const override;

private:
    BarsAndToneSource();
    struct Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace zenquor
