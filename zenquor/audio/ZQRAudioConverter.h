#pragma once
// A frame's audio in the layout that a writer needs.

#include <cstdint>
#include <memory>
#include <vector>

#include "zenquor/core/ZQError.h"
#include "zenquor/platform/AudioBufferList.h"
#include "zenquor/platform/AudioConverter.h"
#include "zenquor/platform/AudioStreamBasicDescription.h"

namespace zenquor {

/// Wraps the platform's converter with the output memory that it needs.
///
/// Lifecycle:     one per recording; the output of a conversion stays until the next one.
/// Thread-safety: One thread at a time.
class ZQRAudioConverter final {
public:
    /// The error domain of a failed conversion; its code is the platform's status.
    static constexpr const char* errorDomain = "ZQRAudioConverterErrorDomain";
    /// The largest count of samples that belongs to a video frame at 48 kHz; memory for it is there from the
    /// start.
    static constexpr std::uint32_t largestSampleCount = 2002;

    /// @return null, with an error in the log, when the platform cannot convert between the two.
    static std::shared_ptr<ZQRAudioConverter> initWithInputASBD(
        const platform::AudioStreamBasicDescription& input,
        const platform::AudioStreamBasicDescription& output);

    const platform::AudioStreamBasicDescription& inputASBD() const { return input_; }
    const platform::AudioStreamBasicDescription& outputASBD() const { return output_; }
    /// Channels per output buffer; 1 gives one buffer per channel. Starts as 1 for a non-interleaved output,
    /// as all channels for an interleaved one.
    std::uint32_t numberOfChannels() const { return numberOfChannels_; }
    /// To be set before the first conversion.
    void setNumberOfChannels(std::uint32_t channels) { numberOfChannels_ = channels; }

    /// Converts @p sampleCount samples per channel.
    /// @param outputBufferList  receives the converter's own list; what it points to is overwritten by
    ///                          the next conversion.
    bool convertInputBufferList(const platform::AudioBufferList& input,
                                const platform::AudioBufferList*& outputBufferList, std::uint32_t sampleCount,
                                ZQErrorPtr* error = nullptr);

private:
    ZQRAudioConverter() = default;
    void prepareOutput(std::uint32_t sampleCount);

    std::unique_ptr<platform::AudioConverter> converter_;
    platform::AudioStreamBasicDescription input_;
    platform::AudioStreamBasicDescription output_;
    std::uint32_t numberOfChannels_ = 1;
    std::vector<std::uint8_t> scratch_;
    platform::AudioBufferList buffers_;
};

}  // namespace zenquor
