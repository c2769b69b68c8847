#pragma once
// One track of a movie that is being written.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "zenquor/core/SerialQueue.h"
#include "zenquor/core/ZQError.h"
#include "zenquor/core/ZQObject.h"
#include "zenquor/platform/FormatDescription.h"
#include "zenquor/platform/OutputSettings.h"
#include "zenquor/platform/SampleBuffer.h"

namespace zenquor::platform {

class AssetWriter;

/// Takes the samples of one track, in decode order, and tells when it wants more.
///
/// Lifecycle:     create, describe, addInput() on one writer, append while ready, markAsFinished().
/// Thread-safety: Appending, readiness and finishing from one thread at a time (the queue given to
///                requestMediaDataWhenReady()); different inputs run in parallel.
/// Ownership:     the writer holds its inputs; an input knows its writer only while that lives.
class AssetWriterInput final : public ZQObject, public std::enable_shared_from_this<AssetWriterInput> {
public:
    /// None: samples are written as they come. Otherwise the input encodes PCM or pictures; a video input with settings
    /// also takes samples that are already coded with the settings' codec.
    using OutputSettings = std::variant<std::monostate, VideoOutputSettings, AudioOutputSettings>;

    /// @param mediaType  mediaTypeVideo, mediaTypeAudio, mediaTypeTimecode or mediaTypeClosedCaption.
    /// @param hint       the samples' format; may be null only for encoding audio inputs.
    /// @return null with an error when the settings cannot be encoded on this machine or do not fit the media type.
    static std::shared_ptr<AssetWriterInput> initWithMediaType(FourCC mediaType, const OutputSettings& settings,
                                                               FormatDescriptionPtr hint, ZQErrorPtr* error = nullptr);
    ~AssetWriterInput() override;

    FourCC mediaType() const;
    const OutputSettings& outputSettings() const;
    const FormatDescriptionPtr& sourceFormatHint() const;
    /// ISO 639-2 code, such as "eng"; undetermined until set.
    void setLanguageCode(const std::string& code);
    /// Whether @p input may stand in a @p type reference of this track; the one type is "tmcd", from a video or audio
    /// track to a timecode track.
    bool canAddTrackAssociation(const std::shared_ptr<AssetWriterInput>& input, FourCC type) const;
    void addTrackAssociation(const std::shared_ptr<AssetWriterInput>& input, FourCC type);

    /// True while writing and no other unfinished input of the writer is behind this one, and always after the writer
    /// has failed, so that queues drain.
    bool isReadyForMoreMediaData() const;
    /// Hands over samples that follow those before. They are written or held when this returns true: pictures go to the
    /// file at once, sound, timecode and captions with the end of the fragment. Those three are placed at their decode
    /// time where they have one, as they belong to the n-th picture in the order of coding.
    /// @return false when the writer is not writing, has failed, or the samples do not fit; the writer's status and
    ///         error then say why.
    bool appendSampleBuffer(const SampleBufferPtr& samples);
    /// Runs @p block on @p queue whenever the input becomes ready, until it is finished. The block appends while the
    /// input is ready. Call once, after the session has started.
    /// @return false with an error when called before writing started or twice.
    bool requestMediaDataWhenReadyOnQueue(SerialQueuePtr queue, std::function<void()> block,
                                          ZQErrorPtr* error = nullptr);
    /// No more samples will come. Calling it again does nothing.
    void markAsFinished();

    struct Implementation;
    /// For the writer.
    Implementation& implementation() { return *implementation_; }

private:
    AssetWriterInput();
    std::unique_ptr<Implementation> implementation_;
};

using AssetWriterInputPtr = std::shared_ptr<AssetWriterInput>;

}  // namespace zenquor::platform
