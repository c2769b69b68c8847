#pragma once
// Encoders between an asset writer input and its track.

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "zenquor/platform/AssetWriterInput.h"
#include "zenquor/platform/quicktime/TrackState.h"

namespace zenquor::platform::quicktime {

/// One coded sample on its way into a track.
struct CodedSample {
    std::span<const std::uint8_t> bytes;
    SampleTimes times;
    bool notSync = false;
    bool partialSync = false;
    FormatDescriptionPtr format;
};

/// Takes the samples of an input that has output settings and hands on what it makes of them.
///
/// Thread-safety: One thread at a time; the sink may be called on a thread of the encoder, one call at a
/// time.
class InputEncoder {
public:
    /// @return false when the writer cannot take the sample; the encoder then reports no error of its own.
    using Sink = std::function<bool(const CodedSample& sample)>;

    virtual ~InputEncoder() = default;
    /// Where coded samples go. Set once, before the first sample.
    virtual void setSink(Sink sink) = 0;
    /// The coded format where it is known before the first sample; else null.
    virtual FormatDescriptionPtr format() const = 0;
    /// @param problem  what the encoder did not take.
    virtual bool encode(const SampleBuffer& sample, std::string& problem) = 0;
    /// Hands on all that is left.
    virtual bool finish(std::string& problem) = 0;
    /// What is heard of the track, in @p timescale: without what the encoder put in front and behind.
    struct Heard {
        std::int64_t from;
        std::int64_t to;
    };
    virtual std::optional<Heard> heard() const { return std::nullopt; }
};

/// @return null with an error when the settings cannot be encoded on this machine.
std::unique_ptr<InputEncoder> makePictureEncoder(const VideoOutputSettings& settings,
                                                 FormatDescriptionPtr hint, ZQErrorPtr* error);
std::unique_ptr<InputEncoder> makeSoundEncoder(const AudioOutputSettings& settings, ZQErrorPtr* error);

}  // namespace zenquor::platform::quicktime
