#pragma once
// Which input channel feeds which output channel.

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace zenquor {

/// For each of 64 outputs the input that feeds it, with a second choice for sources of too few channels.
///
/// Thread-safety: One thread at a time; a value.
class ZQRAudioMapping {
public:
    static constexpr std::uint32_t channelCount = 64;
    /// The entry that means silence.
    static constexpr std::uint32_t noInput = 0xFFFFFFFF;

    /// Output i takes input i.
    static ZQRAudioMapping defaultAudioMapping();
    /// As the default, but a mono source feeds outputs 0 and 1.
    static ZQRAudioMapping monoToStereoMapping();
    /// @param values  first choices of outputs 0 to N−1, then their second choices; outputs from N on are
    ///                as in the default. Of an odd count the last value is ignored.
    static ZQRAudioMapping mappingWithValues(std::span<const std::uint32_t> values);

    /// Outputs of 64 and more are ignored.
    void setChannel(std::uint32_t output, std::uint32_t available, std::uint32_t notAvailable);
    /// The input for @p output of a source of @p availableChannels channels, or −1 for silence.
    std::int32_t inputChannelForOutput(std::uint32_t output, std::uint32_t availableChannels) const;
    /// The 64 first choices, then the 64 second choices.
    std::vector<std::uint32_t> values() const;

    friend bool operator==(const ZQRAudioMapping&, const ZQRAudioMapping&) = default;

private:
    ZQRAudioMapping();

    std::array<std::uint32_t, channelCount> available_;
    std::array<std::uint32_t, channelCount> notAvailable_;
};

}  // namespace zenquor
