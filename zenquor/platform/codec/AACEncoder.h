#pragma once
// Codes PCM as AAC for movie tracks.

#include <cstdint>
#include <functional>
#include <memory>
#include <span>

#include "zenquor/platform/FormatDescription.h"
#include "zenquor/platform/OutputSettings.h"
#include "zenquor/platform/Status.h"

namespace zenquor::platform::detail {

/// An AAC-LC encoder that takes interleaved PCM in blocks of any length.
///
/// Lifecycle:     create(), encode() in order, finish() once.
/// Thread-safety: One thread at a time; packets come out on the calling thread.
/// Standards:     ISO/IEC 14496-3.
class AACEncoder {
public:
    static constexpr std::uint32_t framesPerPacket = 1024;

    /// Receives one packet of framesPerPacket frames; the bytes live until it returns.
    using Output = std::function<void(std::span<const std::uint8_t> packet)>;

    /// @return encoderNotFoundErr without an AAC encoder, parameterErr for settings it refuses.
    static Status create(const AudioOutputSettings& settings, std::unique_ptr<AACEncoder>& out);
    ~AACEncoder();

    /// Frames of silence in front of the first frame of the source, which a player must skip.
    std::uint32_t primingFrames() const;
    /// The coded format, with the AudioSpecificConfig.
    const FormatDescriptionPtr& format() const;

    /// @param source  interleaved integers in either byte order, at the settings' rate; of more channels than
    ///                the settings' the first ones count, of fewer the last one is repeated.
    /// @return parameterErr for PCM of another kind, else the encoder's status.
    Status encode(std::span<const std::uint8_t> frames, const AudioStreamBasicDescription& source,
                  const Output& output);
    /// Codes what is left, filled up with silence.
    Status finish(const Output& output);

private:
    AACEncoder();
    struct Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace zenquor::platform::detail
