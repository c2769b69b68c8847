#pragma once
// What a ZQRAVFoundationWriter knows and holds.

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zenquor/core/Guarded.h"
#include "zenquor/core/SerialQueue.h"
#include "zenquor/platform/AssetWriter.h"
#include "zenquor/platform/AssetWriterInput.h"
#include "zenquor/platform/FormatDescription.h"
#include "zenquor/writers/ZQRAVFQueueIndexController.h"
#include "zenquor/writers/ZQRAVFoundationWriter.h"
#include "zenquor/writers/detail/MovieTimeBase.h"
#include "zenquor/writers/detail/PCMDeinterleaver.h"
#include "zenquor/writers/detail/SampleFeed.h"

namespace zenquor {

struct ZQRAVFoundationWriter::State {
    /// One asset writer with its inputs; timecode and captions may be missing.
    struct Movie {
        platform::AssetWriterPtr assetWriter;
        platform::AssetWriterInputPtr video;
        std::vector<platform::AssetWriterInputPtr> audio;
        platform::AssetWriterInputPtr timecode;
        platform::AssetWriterInputPtr captions;
    };
    /// What other threads ask about.
    struct Published {
        platform::AssetWriterPtr assetWriter;
        ZQRAVFQueueIndexControllerPtr queueIndexController;
        std::optional<ZQCKTimecode> startTimecode;
        std::filesystem::path fileURL;
        std::string fullFilename;
        ZQErrorPtr writeError;
    };

    // Set before the first frame.
    ZQRVideoPropertiesPtr videoProperties;
    ZQRAudioPropertiesPtr audioProperties;
    ZQDictionary writingOptions;
    std::weak_ptr<ZQRMovieWriterProtocolDelegate> delegate;
    std::string movieWriterID;
    std::string fileName;
    std::string reelID;
    std::string separatorString;
    ZQDictionary userMetadata;
    bool useOtherStartTimecode = false;
    std::optional<ZQCKTimecode> otherStartTimecode;

    // The writing thread's own.
    detail::MovieTimeBase timeBase;
    bool didStart = false;
    bool isH264 = false;
    bool writeTimecode = false;
    bool writeClosedCaptions = false;
    std::uint32_t channelsPerTrack = 1;
    platform::MediaTime startTime;
    std::int64_t relativeAudioOffset = 0;  // samples of each audio track
    std::string helperKey;
    std::optional<ZQCKTimecode> startTimecode;
    platform::FormatDescriptionPtr currentVideoFormatDescription;
    platform::FormatDescriptionPtr currentAudioFormatDescription;
    platform::FormatDescriptionPtr currentTimecodeFormatDescription;
    platform::FormatDescriptionPtr currentClosedCaptionFormatDescription;
    std::optional<ZQData> lastCaption;  // as a sample
    Movie movie;
    ZQRAVFQueueIndexControllerPtr queueIndexController;
    SerialQueuePtr videoDiskQueue;
    SerialQueuePtr audioDiskQueue;
    SerialQueuePtr timecodeDiskQueue;
    SerialQueuePtr captionDiskQueue;

    Guarded<Published> published;
    std::vector<std::function<void()>> drains;  // each lets one track's feed run once more on its queue
    std::shared_ptr<detail::FeedProgress> progress = std::make_shared<detail::FeedProgress>();
    std::atomic<std::uint32_t> startTimecodeFrames{0};
    std::atomic<std::int64_t> framesLeftToRecord{0};
    std::atomic<std::int32_t> state{0};
    std::atomic<std::int32_t> countdownToStall{-1};
    std::atomic<std::int32_t> countdownCounter{20};

    std::uint64_t framesRecorded() const { return progress->framesRecorded.load(std::memory_order_relaxed); }
    std::uint64_t audioTrackCount() const {
        return audioProperties ? audioProperties->numberOfChannels() / channelsPerTrack : 0;
    }
    bool assetWriterHasFailed() const {
        return movie.assetWriter->status() == platform::AssetWriterStatus::Failed;
    }
};

}  // namespace zenquor
