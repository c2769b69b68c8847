#pragma once
// Converts linear PCM between layouts.

#include <cstdint>
#include <memory>

#include "zenquor/platform/AudioBufferList.h"
#include "zenquor/platform/AudioStreamBasicDescription.h"
#include "zenquor/platform/Status.h"

namespace zenquor::platform {

/// Turns blocks of linear PCM into another layout or sample width.
///
/// Integer widths convert bit-exactly: widening fills with zeros, narrowing cuts the low bits. There is no
/// dither and no resampling. Output channel i takes input channel i; further outputs are silent.
///
/// Thread-safety: One thread at a time.
class AudioConverter {
public:
    /// @return parameterErr for a description that is not linear PCM or does not add up, and for two sample
    /// rates: a block has as many frames after conversion as before.
    static Status create(const AudioStreamBasicDescription& input, const AudioStreamBasicDescription& output,
                         std::unique_ptr<AudioConverter>& out);
    virtual ~AudioConverter() = default;

    /// Converts @p frames frames. Each list holds one buffer per channel or buffers of several interleaved
    /// channels, in channel order; the sample layout within a buffer is that of the description.
    /// @return parameterErr when a buffer is missing or shorter than the frames; the output is then
    /// unchanged.
    virtual Status convertComplexBuffer(std::uint32_t frames, const AudioBufferList& input,
                                        AudioBufferList& output) = 0;
};

}  // namespace zenquor::platform
