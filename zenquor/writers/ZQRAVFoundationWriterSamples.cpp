// Every frame: the samples of its tracks.

#include <algorithm>
#include <array>
#include <utility>

#include "zenquor/core/ByteOrder.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/writers/ZQRAVFoundationWriter.h"
#include "zenquor/writers/detail/AVFoundationWriterState.h"
#include "zenquor/writers/detail/CaptionSample.h"

namespace zenquor {
namespace {

using platform::BlockBuffer;
using platform::BlockBufferPtr;
using platform::noErr;
using platform::SampleBuffer;
using platform::SampleBufferPtr;

constexpr const char* noAssetWriterError =
    "The asset writer didn't throw an error. Indicates performance problems";

/// How the bytes of a frame without a sample buffer depend on others.
platform::SampleAttachments attachmentsForFrameType(std::uint32_t frameType, bool isFirst) {
    platform::SampleAttachments attachments;
    switch (frameType) {
        case ZQRFrameTypePartialSync:
            // Nothing stands before the first picture, so decoding can start there.
            if (!isFirst) attachments.notSync = attachments.partialSync = true;
            break;
        case ZQRFrameTypeReference:
            attachments.notSync = true;
            attachments.isDependedOnByOthers = true;
            break;
        case ZQRFrameTypeDisposable:
            attachments.notSync = true;
            attachments.isDependedOnByOthers = false;
            break;
        default:
            break;
    }
    return attachments;
}

platform::MediaTime decodeTime(const platform::SampleTiming& time) {
    return time.decodeTimeStamp.isValid() ? time.decodeTimeStamp : time.presentationTimeStamp;
}

}  // namespace

bool ZQRAVFoundationWriter::writeEssencesAtTime(const platform::SampleTiming& time, const ZQRFramePtr& frame,
                                                const Helper& helper, ZQErrorPtr* error) {
    using Builder =
        bool (ZQRAVFoundationWriter::*)(const platform::SampleTiming&, const ZQRFramePtr&, const Helper&);
    struct Essence {
        Builder write;
        const char* failure;
        const char* asset;
    };
    static constexpr Essence essences[] = {
        {&ZQRAVFoundationWriter::writeVideoSampleAtTime,
         "Couldn't write video track. This may indicate overall system/storage performance issues.", "video"},
        {&ZQRAVFoundationWriter::writeAudioSamplesAtTime,
         "Couldn't write audio track. This may indicate overall system/storage performance issues.", "audio"},
        {&ZQRAVFoundationWriter::writeTimecodeSampleAtTime,
         "Couldn't write timecode track. This may indicate overall system/storage performance.", "timecode"},
        {&ZQRAVFoundationWriter::writeClosedCaptionsAtTime,
         "Couldn't write closed caption track. This may indicate overall system/storage performance.",
         "closed caption"},
    };
    bool allWritten = true;
    for (const auto& essence : essences) {
        if ((this->*essence.write)(time, frame, helper)) continue;
        if (allWritten)
            failWrite(error, errorWithDescription(essence.failure, essence.asset, noAssetWriterError));
        allWritten = false;
    }
    return allWritten;
}

ZQErrorPtr ZQRAVFoundationWriter::errorWithDescription(const char* description, const char* asset,
                                                       const char* log) const {
    const auto cause = state_->movie.assetWriter->error();
    ZLGGetHandle().error("ZQRAVFoundationWriter couldn't append {} samples with error {}", asset,
                         cause ? cause->description() : log);
    if (!cause) {
        return ZQError::errorWithDomain(ZQRMovieWriterErrorDomain, ZQRMovieWriterErrorPerformance,
                                        description, ZQError::writeError());
    }
    return ZQError::errorWithDomain(cause->domain(), cause->code(), cause->localizedDescription(),
                                    description);
}

// ---- Video

bool ZQRAVFoundationWriter::writeVideoSampleAtTime(const platform::SampleTiming& time,
                                                   const ZQRFramePtr& frame, const Helper& helper) {
    auto& s = *state_;
    if (s.assetWriterHasFailed()) return false;
    const auto& queue = s.queueIndexController->videoQueueIndex()->queue();
    if (const auto& sample = helper->cmSampleBuffer()) return queue->addSampleBuffer(sample);
    SampleBufferPtr sample;
    if (s.isH264) {
        const auto status = SampleBuffer::createForImageBuffer(frame->videoPixelBuffer(),
                                                               s.currentVideoFormatDescription, time, sample);
        if (status != noErr) {
            ZLGGetHandle().error("ZQRAVFoundationWriter: Couldn't create sample buffer for image buffer: {}",
                                 status);
            return false;
        }
        return queue->addSampleBuffer(std::move(sample));
    }
    const ZQData& data = *helper->rawData();
    BlockBufferPtr block;
    if (const auto status = BlockBuffer::createWithLength(data.size(), block); status != noErr) {
        ZLGGetHandle().error("ZQAVFoundationWriter: Could not create block buffer for video sample! {}",
                             status);
        return false;
    }
    if (block->replaceDataBytes(data, 0) != noErr) {
        ZLGGetHandle().error("ZQAVFoundationWriter: Could not write into video block buffer.");
        return false;
    }
    const auto attachments = attachmentsForFrameType(helper->frameType(), s.framesRecorded() == 0);
    if (SampleBuffer::create(std::move(block), s.currentVideoFormatDescription, 1, time, data.size(),
                             attachments, sample) != noErr) {
        ZLGGetHandle().error("ZQAVFoundationWriter: Could not create video sample buffer");
        return false;
    }
    return queue->addSampleBuffer(std::move(sample));
}

// ---- Audio

bool ZQRAVFoundationWriter::writeAudioSamplesAtTime(const platform::SampleTiming&, const ZQRFramePtr& frame,
                                                    const Helper& helper) {
    auto& s = *state_;
    if (s.movie.audio.empty()) return true;
    if (s.assetWriterHasFailed()) return false;
    const auto& audio = helper->audioData();
    const std::uint32_t channels = frame->audioChannels();
    if (!audio || channels == 0) {
        ZLGGetHandle().error("ZQRAVFoundationWriter: No frame data available, need to bail out.");
        return false;
    }
    const detail::PCMShape shape{channels, frame->audioBytesPerFrame() / channels, s.channelsPerTrack,
                                 static_cast<std::uint32_t>(s.audioProperties->writeBytes()),
                                 s.audioProperties->audioFormatFlagIsBigEndian()};
    const std::size_t sampleCount = shape.sourceFrameBytes() ? audio->size() / shape.sourceFrameBytes() : 0;
    if (sampleCount * shape.trackFrameBytes() == 0) {
        ZLGGetHandle().error("ZQRAVFoundationWriter: No frame length available, need to bail out.");
        return false;
    }
    for (std::uint64_t track = 0; track < s.movie.audio.size(); ++track) {
        auto sample = audioSample(*audio, shape, sampleCount, track);
        if (!sample) return false;
        if (!s.queueIndexController->audioQueueIndexForAudioTrack(track)->queue()->addSampleBuffer(
                std::move(sample))) {
            ZLGGetHandle().error("ZQAVFoundationWriter: Could not append audio sample buffer!");
            return false;
        }
    }
    s.relativeAudioOffset += static_cast<std::int64_t>(sampleCount);
    return true;
}

SampleBufferPtr ZQRAVFoundationWriter::audioSample(const ZQData& audio, const detail::PCMShape& shape,
                                                   std::size_t sampleCount, std::uint64_t track) const {
    const auto& s = *state_;
    const std::size_t length = sampleCount * shape.trackFrameBytes();
    BlockBufferPtr block;
    if (const auto status = BlockBuffer::createWithLength(length, block); status != noErr) {
        ZLGGetHandle().error(
            "ZQAVFoundationWriter: Could not create block buffer for audio sample with error: {}", status);
        return nullptr;
    }
    bool filled = false;
    const auto firstChannel = static_cast<std::uint32_t>(track * shape.trackChannels);
    const auto bytes = ZQData::filling(length, [&](std::span<std::uint8_t> buffer) {
        filled = detail::deinterleaveSamples(audio, shape, firstChannel, sampleCount, buffer);
    });
    const auto copied = filled ? block->replaceDataBytes(bytes, 0) : platform::parameterErr;
    if (copied != noErr) {
        ZLGGetHandle().error("ZQAVFoundationWriter: Could not write into audio block buffer with error: {}",
                             copied);
        return nullptr;
    }
    const auto scale = static_cast<std::int32_t>(s.audioProperties->scale());
    const platform::MediaTime start = s.startTime.converted(scale);
    const platform::SampleTiming timing{{1, scale}, {start.value + s.relativeAudioOffset, scale}, {}};
    SampleBufferPtr sample;
    const auto created = SampleBuffer::create(std::move(block), s.currentAudioFormatDescription, sampleCount,
                                              timing, shape.trackFrameBytes(), {}, sample);
    if (created != noErr) {
        ZLGGetHandle().error("ZQAVFoundationWriter: Could not create audio sample buffer with error: {}",
                             created);
    }
    return sample;
}

// ---- Timecode

bool ZQRAVFoundationWriter::writeTimecodeSampleAtTime(const platform::SampleTiming& time, const ZQRFramePtr&,
                                                      const Helper& helper) {
    auto& s = *state_;
    if (!s.writeTimecode) return true;
    if (s.assetWriterHasFailed()) return false;
    // A frame without a timecode of its own counts on from the start, as all do after an overridden start.
    const bool counts = s.useOtherStartTimecode || !helper->timecode();
    const auto start = s.startTimecode.value_or(
        ZQCKTimecode::zeroTimeWithTimebase(ZQCKTimebase::timebaseForHundredths(s.timeBase.framerate)));
    const ZQCKTimecode timecode =
        counts ? start.addingFrames(static_cast<std::int64_t>(s.framesRecorded())) : *helper->timecode();
    std::array<std::uint8_t, 4> number;
    writeBE32(number.data(), timecode.framesSinceMidnight());
    BlockBufferPtr block;
    if (BlockBuffer::createWithLength(number.size(), block) != noErr) {
        ZLGGetHandle().error("ZQAVFoundationWriter: Could not create block buffer for timecode sample!");
        return false;
    }
    if (block->replaceDataBytes(ZQData::copying(number), 0) != noErr) {
        ZLGGetHandle().error("ZQAVFoundationWriter: Could not write into timecode block buffer.");
        return false;
    }
    SampleBufferPtr sample;
    if (SampleBuffer::create(std::move(block), s.currentTimecodeFormatDescription, 1,
                             {s.timeBase.frameDuration(), decodeTime(time), {}}, number.size(), {},
                             sample) != noErr) {
        ZLGGetHandle().error("ZQAVFoundationWriter:  Could not create timecode sample buffer");
        return false;
    }
    return s.queueIndexController->timecodeQueueIndex()->queue()->addSampleBuffer(std::move(sample));
}

// ---- Captions

bool ZQRAVFoundationWriter::writeClosedCaptionsAtTime(const platform::SampleTiming& time, const ZQRFramePtr&,
                                                      const Helper& helper) {
    auto& s = *state_;
    if (!s.writeClosedCaptions) return true;
    if (s.assetWriterHasFailed()) return false;
    const FourCC kind = s.currentClosedCaptionFormatDescription->mediaSubType();
    if (auto caption = detail::captionSample(helper->closedCaptionData().get(), kind)) {
        s.lastCaption = std::move(caption);
    } else if (!s.lastCaption) {
        ZLGGetHandle().error("ZQAVFoundationWriter: No caption and no previous caption!");
        s.lastCaption = detail::emptyCaptionSample(kind);
    }
    BlockBufferPtr block;
    if (BlockBuffer::createWithLength(s.lastCaption->size(), block) != noErr) {
        ZLGGetHandle().error(
            "ZQAVFoundationWriter: Could not create block buffer for closed caption sample!");
        return false;
    }
    if (block->replaceDataBytes(*s.lastCaption, 0) != noErr) {
        ZLGGetHandle().error("ZQAVFoundationWriter: Could not write into closed caption block buffer.");
        return false;
    }
    SampleBufferPtr sample;
    if (SampleBuffer::create(std::move(block), s.currentClosedCaptionFormatDescription, 1,
                             {s.timeBase.frameDuration(), decodeTime(time), {}}, s.lastCaption->size(), {},
                             sample) != noErr) {
        ZLGGetHandle().error("ZQAVFoundationWriter:  Could not create closed caption sample buffer");
        return false;
    }
    return s.queueIndexController->closedCaptionQueueIndex()->queue()->addSampleBuffer(std::move(sample));
}

}  // namespace zenquor
