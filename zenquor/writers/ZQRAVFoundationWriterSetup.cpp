// The first frame: formats, the file with its tracks, and the queues in front of it.

#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "zenquor/core/NamedThread.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/host/ZHLH264Preferences.h"
#include "zenquor/host/ZHLIngestNamingHelper.h"
#include "zenquor/media/ZQRAVFoundationDefaults.h"
#include "zenquor/media/ZQRAVFoundationMediaFormatDescriptionHelper.h"
#include "zenquor/vanc/ZQRVANCHelper.h"
#include "zenquor/writers/ZQRAVFoundationWriter.h"
#include "zenquor/writers/ZQUBCController.h"
#include "zenquor/writers/detail/AVFoundationWriterState.h"
#include "zenquor/writers/detail/RecordingPath.h"

namespace zenquor {
namespace {

using FormatHelper = ZQRAVFoundationMediaFormatDescriptionHelper;
using platform::AssetWriterInput;
using platform::AssetWriterInputPtr;
using platform::AssetWriterStatus;

struct ContainerKind {
    platform::FileType type;
    std::string_view extension;
    bool writesTimecode;
};

ContainerKind containerForOption(std::int64_t option) {
    if (option == ZQRAVFoundationWriter::ContainerMPEG4) return {platform::FileType::MPEG4, ".mp4", false};
    return {platform::FileType::QuickTimeMovie, ".mov", true};
}

/// What a picture says of itself.
platform::FormatDescriptionPtr formatDescriptionForPicture(const platform::PixelBuffer& picture) {
    const auto& attachments = picture.attachments();
    platform::VideoFormat format;
    format.width = picture.width();
    format.height = picture.height();
    format.cleanAperture = attachments.cleanAperture;
    format.pixelAspectRatio = attachments.pixelAspectRatio;
    format.colorPrimaries = attachments.colorPrimaries;
    format.transferFunction = attachments.transferFunction;
    format.yCbCrMatrix = attachments.yCbCrMatrix;
    return platform::FormatDescription::video(picture.pixelFormat(), std::move(format));
}

AssetWriterInputPtr makeInput(FourCC mediaType, const AssetWriterInput::OutputSettings& settings,
                              const platform::FormatDescriptionPtr& hint) {
    ZQErrorPtr error;
    auto input = AssetWriterInput::initWithMediaType(mediaType, settings, hint, &error);
    if (!input) ZLGGetHandle().error("ZQRAVFoundationWriter: Caught exception {}", error);
    return input;
}

}  // namespace

bool ZQRAVFoundationWriter::setupWithFrame(const ZQRFramePtr& frame, const Helper& helper,
                                           const platform::SampleTiming& timing, ZQErrorPtr* error) {
    auto& s = *state_;
    if (!setupFormatDescriptions(frame, helper, error)) return false;
    s.startTimecode = s.useOtherStartTimecode ? s.otherStartTimecode : frame->frameTimecode();
    s.published.with([&](auto& published) { published.startTimecode = s.startTimecode; });
    if (!startWriting(error)) return false;
    s.startTime = timing.presentationTimeStamp;
    s.movie.assetWriter->startSessionAtSourceTime(s.startTime);
    if (!setupQueues(error) || !setupBufferCache(error)) return false;
    s.didStart = true;
    s.startTimecodeFrames.store(s.startTimecode ? s.startTimecode->framesSinceMidnight() : 0,
                                std::memory_order_relaxed);
    if (const auto delegate = s.delegate.lock()) delegate->didFinishSetupWithOptions(shared_from_this(), {});
    return scheduleInputs(error);
}

// ---- What the tracks hold

bool ZQRAVFoundationWriter::setupFormatDescriptions(const ZQRFramePtr& frame, const Helper& helper,
                                                    ZQErrorPtr* error) {
    auto& s = *state_;
    if (!setupVideoFormatDescription(frame, helper, error)) return false;
    s.currentAudioFormatDescription =
        FormatHelper::createAudioFormatDescriptionWithAudioProperties(s.audioProperties, s.channelsPerTrack);
    s.currentTimecodeFormatDescription = FormatHelper::createTimecodeFormatDescriptionWithReelID(
        s.reelID, s.timeBase.durationNumerator, s.timeBase.timeScale, s.timeBase.frameQuanta,
        s.timeBase.timecodeFlags);
    s.writeClosedCaptions = false;
    const auto packet =
        frame->writeCaptions() ? ZQRVANCHelper::closedCaptionPacket(frame->vancPackets()) : nullptr;
    if (packet) {
        // What the packet was made as: another writer may have turned it into a CDP meanwhile.
        const bool isPairs = packet->originalType() == ZQRVANCClosedCaptionPacket::TypeCEA608;
        s.currentClosedCaptionFormatDescription = FormatHelper::createClosedCaptionFormatDescriptionWithType(
            isPairs ? fourCC("c608") : fourCC("c708"));
        s.writeClosedCaptions = true;
    }
    return true;
}

bool ZQRAVFoundationWriter::setupVideoFormatDescription(const ZQRFramePtr& frame, const Helper& helper,
                                                        ZQErrorPtr* error) {
    auto& s = *state_;
    const auto component = s.videoProperties ? s.videoProperties->ZQcomponent() : nullptr;
    s.isH264 = component && component->componentString() == fourCC("avc1");
    s.channelsPerTrack = s.isH264 || (s.audioProperties && s.audioProperties->audioAlignment() == 1) ? 2 : 1;
    if (const auto& sample = helper->cmSampleBuffer()) {
        s.currentVideoFormatDescription = sample->formatDescription();
    } else if (const auto picture = s.isH264 ? frame->videoPixelBuffer() : nullptr) {
        s.currentVideoFormatDescription = formatDescriptionForPicture(*picture);
    } else if (s.isH264) {
        s.currentVideoFormatDescription = nullptr;
        ZLGGetHandle().error("ZQRAVFoundationWriter: Error while creating video format description: {}",
                             platform::parameterErr);
    } else {
        s.currentVideoFormatDescription =
            FormatHelper::createVideoFormatDescriptionWithVideoProperties(s.videoProperties);
    }
    if (s.currentVideoFormatDescription) return true;
    return failWrite(error, ZQRMovieWriterErrorCannotStart,
                     "Couldn't start recording: The picture's format is not known.",
                     ZQError::encodingError());
}

// ---- The file

bool ZQRAVFoundationWriter::startWriting(ZQErrorPtr* error) {
    auto& s = *state_;
    for (auto url = fileURL();;) {
        if (!assetWriterWithURL(url)) {
            return failWrite(error, ZQRMovieWriterErrorCannotStart,
                             "Couldn't start recording: H264 Settings are not valid.",
                             ZQError::encodingError());
        }
        s.movie.assetWriter->setMetadata(s.userMetadata);
        if (s.movie.assetWriter->startWriting()) return true;
        const auto failure = s.movie.assetWriter->error();
        if (s.assetWriterHasFailed()) {
            ZLGGetHandle().error("ZQRAVFoundationWriter: Asset writer failed with error {}", failure);
        }
        if (!failure || failure->code() != platform::assetWriterErrorFileAlreadyExists) {
            return failWrite(error, ZQRMovieWriterErrorCannotStart,
                             failure ? failure->localizedDescription() : ZQError::writeError(),
                             ZQError::writeError());
        }
        url = ZHLIngestNamingHelper::nextFreeURL(fileURL(), s.separatorString);
        s.published.with([&](auto& published) { published.fileURL = url; });
        ZLGGetHandle().log("ZQRAVFoundationWriter: Will try again with {}", url.string());
    }
}

bool ZQRAVFoundationWriter::assetWriterWithURL(const std::filesystem::path& url) {
    auto& s = *state_;
    const auto container = containerForOption(s.writingOptions[ZQRMovieWriterOptionContainer].integerValue());
    s.writeTimecode = container.writesTimecode && s.currentTimecodeFormatDescription;
    const auto timebase = ZQCKTimebase::timebaseForHundredths(s.timeBase.framerate);
    const auto path = detail::recordingPath(
        url, container.extension,
        s.startTimecode.value_or(ZQCKTimecode::zeroTimeWithTimebase(timebase)).descriptionWithSeparator("-"));
    ZQErrorPtr error;
    s.movie = {};
    s.movie.assetWriter = platform::AssetWriter::assetWriterWithURL(path, container.type, &error);
    s.published.with([&](auto& published) {
        published.assetWriter = s.movie.assetWriter;
        published.fileURL = path;
        published.fullFilename = path.string();
    });
    if (!s.movie.assetWriter) {
        ZLGGetHandle().error("ZQRAVFoundationWriter: Couldn't create asset writer: {}", error);
        return false;
    }
    s.movie.assetWriter->setMovieFragmentInterval({movieFragmentSeconds, 1});
    s.movie.assetWriter->setShouldOptimizeForNetworkUse(false);
    if (!addAudioInputs() || !addVideoInput()) return false;
    if (s.writeTimecode) addTimecodeInput();
    if (s.writeClosedCaptions) addClosedCaptionInput();
    if (s.timeBase.timeScale > 0) s.movie.assetWriter->setMovieTimeScale(s.timeBase.timeScale);
    return true;
}

bool ZQRAVFoundationWriter::addInput(const AssetWriterInputPtr& input) {
    if (!input) return false;
    if (!state_->movie.assetWriter->canAddInput(input)) {
        ZLGGetHandle().error("ZQRAVFoundationWriter: Can't add input into asset writer!");
        return false;
    }
    state_->movie.assetWriter->addInput(input);
    return true;
}

bool ZQRAVFoundationWriter::addAudioInputs() {
    auto& s = *state_;
    AssetWriterInput::OutputSettings settings;
    if (s.isH264) {
        if (s.audioProperties) s.audioProperties->setNumberOfChannels(2);
        s.channelsPerTrack = 2;
        settings = ZQRAVFoundationDefaults::aacCompressionDefaults();
    }
    for (std::uint64_t track = 0; track < s.audioTrackCount(); ++track) {
        auto input = makeInput(platform::mediaTypeAudio, settings, s.currentAudioFormatDescription);
        if (!addInput(input)) return false;
        s.movie.audio.push_back(std::move(input));
    }
    return true;
}

bool ZQRAVFoundationWriter::addVideoInput() {
    auto& s = *state_;
    AssetWriterInput::OutputSettings settings;
    if (s.isH264) {
        const auto chosen = s.writingOptions[ZQRMovieWriterOptionH264Prefs].objectValue<ZHLH264Preferences>();
        const auto h264 =
            chosen ? chosen->avAssetWriterVideoOptions() : ZQRAVFoundationDefaults::h264CompressionDefaults();
        if (chosen && ZLGGetHandle().isEnabled(ZLGLevel::Debug)) {
            ZLGGetHandle().debug("ZQRAVFoundationWriter: Output settings {}", h264.description());
        }
        settings = h264;
    }
    s.movie.video = makeInput(platform::mediaTypeVideo, settings, s.currentVideoFormatDescription);
    return addInput(s.movie.video);
}

void ZQRAVFoundationWriter::addTimecodeInput() {
    auto& s = *state_;
    s.movie.timecode = makeInput(platform::mediaTypeTimecode, {}, s.currentTimecodeFormatDescription);
    if (!addInput(s.movie.timecode)) {
        s.movie.timecode = nullptr;
        s.writeTimecode = false;
        return;
    }
    constexpr FourCC association = fourCC("tmcd");
    if (!s.movie.video->canAddTrackAssociation(s.movie.timecode, association)) {
        ZLGGetHandle().error("ZQRAVFoundationWriter: Can't add track association for timecode track");
        return;
    }
    ZLGGetHandle().debug("ZQRAVFoundationWriter: Can add track association for timecode track");
    s.movie.video->addTrackAssociation(s.movie.timecode, association);
    // Editors that show sound apart from its picture look for the timecode on every audio track.
    for (const auto& audio : s.movie.audio) {
        if (audio->canAddTrackAssociation(s.movie.timecode, association)) {
            audio->addTrackAssociation(s.movie.timecode, association);
        }
    }
}

void ZQRAVFoundationWriter::addClosedCaptionInput() {
    auto& s = *state_;
    s.movie.captions =
        makeInput(platform::mediaTypeClosedCaption, {}, s.currentClosedCaptionFormatDescription);
    if (s.movie.captions) s.movie.captions->setLanguageCode("eng");
    if (addInput(s.movie.captions)) return;
    // A container without caption tracks: samples that nobody takes would keep the end waiting.
    s.movie.captions = nullptr;
    s.writeClosedCaptions = false;
}

// ---- The queues in front of it

bool ZQRAVFoundationWriter::setupQueues(ZQErrorPtr* error) {
    auto& s = *state_;
    s.queueIndexController = ZQRAVFQueueIndexController::initWithFifoCapacity(
        sampleQueueCapacity, s.movie.audio.size(), s.writeTimecode, s.writeClosedCaptions,
        fmt::format("ZQRMovieWriterController {}", s.movieWriterID));
    if (!s.queueIndexController) {
        return failWrite(error, ZQRMovieWriterErrorCannotStart, ZQError::writeError(), ZQError::writeError());
    }
    s.published.with([&](auto& published) { published.queueIndexController = s.queueIndexController; });
    const auto makeQueue = [](std::string_view track) {
        return std::make_shared<SerialQueue>(
            fmt::format("{}.avfoundationwriter.{}", identifierPrefix, track));
    };
    s.videoDiskQueue = makeQueue("video");
    s.audioDiskQueue = makeQueue("audio");
    s.timecodeDiskQueue = makeQueue("timecode");
    s.captionDiskQueue = makeQueue("captions");
    return true;
}

bool ZQRAVFoundationWriter::setupBufferCache(ZQErrorPtr* error) {
    if (state_->writingOptions[ZQRMovieWriterOptionCacheMask].integerValue() != 0) {
        ZLGGetHandle().log(
            "ZQRAVFoundationWriter: Will NOT disable UBC. May have negative effects on fallbacks, in case "
            "something "
            "goes wrong");
        return true;
    }
    ZQErrorPtr failure;
    if (ZQUBCController::disableUBCForFileURL(fileURL(), &failure)) return true;
    ZLGGetHandle().error("ZQRAVFoundationWriter: {}", failure);
    return failWrite(error, failure);
}

bool ZQRAVFoundationWriter::scheduleInputs(ZQErrorPtr* error) {
    auto& s = *state_;
    bool scheduled = true;
    const auto schedule = [&](const AssetWriterInputPtr& input, const ZQRAVFQueueIndexPtr& queueIndex,
                              const SerialQueuePtr& dispatchQueue, const char* name) {
        const auto feed =
            std::make_shared<detail::SampleFeed>(s.movie.assetWriter, input, queueIndex, s.progress, name);
        s.drains.push_back([dispatchQueue, feed] { dispatchQueue->async([feed] { feed->pull(); }); });
        scheduled = detail::SampleFeed::scheduleInput(input, dispatchQueue, feed) && scheduled;
    };
    schedule(s.movie.video, s.queueIndexController->videoQueueIndex(), s.videoDiskQueue, "Video");
    for (std::size_t track = 0; track < s.movie.audio.size(); ++track) {
        schedule(s.movie.audio[track], s.queueIndexController->audioQueueIndexForAudioTrack(track),
                 s.audioDiskQueue, "Audio");
    }
    if (s.movie.timecode) {
        schedule(s.movie.timecode, s.queueIndexController->timecodeQueueIndex(), s.timecodeDiskQueue,
                 "Timecode");
    }
    if (s.movie.captions) {
        schedule(s.movie.captions, s.queueIndexController->closedCaptionQueueIndex(), s.captionDiskQueue,
                 "Captions");
    }
    return scheduled ||
           failWrite(error, ZQRMovieWriterErrorCannotStart, ZQError::writeError(), ZQError::writeError());
}

}  // namespace zenquor
