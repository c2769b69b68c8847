#pragma once
// Moves the channels of interleaved audio.

#include <cstdint>
#include <memory>
#include <span>

#include "zenquor/core/ZQData.h"

namespace zenquor {

namespace detail {
class ChannelMap;
}

/// Applies a list of input channels to interleaved samples of any width.
///
/// Thread-safety: Safe; immutable.
class ZQRAudioMapper final {
public:
    /// @param mapping        the input channel of each output; −1 is silence, and so is a channel that
    ///                       does not exist. Outputs beyond the list take the input of their own number.
    /// @param bytesPerFrame  bytes of one sample of one channel.
    /// @param channels       channels of input and output.
    static std::shared_ptr<ZQRAudioMapper> initWithMapping(std::span<const std::int32_t> mapping,
                                                           std::uint32_t bytesPerFrame,
                                                           std::int32_t channels);

    /// The mapped audio, as long as @p audio; a partial frame at the end becomes zeros.
    ZQData mapAudioData(const ZQData& audio) const;

    ~ZQRAudioMapper();

private:
    ZQRAudioMapper(std::span<const std::int32_t> offsets, std::uint32_t bytesPerSample);

    std::unique_ptr<const detail::ChannelMap> map_;
};

using ZQRAudioMapperPtr = std::shared_ptr<ZQRAudioMapper>;

}  // namespace zenquor
