#pragma once
// What a ZQRNabletMXFWriter knows and holds.

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zenquor/audio/ZQRAudioConverter.h"
#include "zenquor/core/Guarded.h"
#include "zenquor/mxf/Mux.h"
#include "zenquor/writers/ZQRNabletMXFWriter.h"
#include "zenquor/writers/detail/MXFCodecTable.h"

namespace zenquor {

struct ZQRNabletMXFWriter::State {
    /// What other threads ask about.
    struct Published {
        std::int64_t length = 0;
        std::string filename;
        std::string reelID;
        std::string finalFilename;
        std::optional<ZQCKTimecode> startTimecode;
        ZQErrorPtr writeError;
    };
    struct FreeMuxer {
        void operator()(mxf::Muxer* freed) const { mxfMuxFree(freed); }
    };

    // Set before the first frame.
    ZQRVideoPropertiesPtr videoProperties;
    ZQRAudioPropertiesPtr audioProperties;
    ZHLIngestCapturePresetPtr capturePreset;
    ZQDictionary writingOptions;
    std::int64_t blockSize = 0;
    std::weak_ptr<ZQRMovieWriterProtocolDelegate> delegate;
    std::string movieWriterID;
    std::string separatorString;
    bool useOtherStartTimecode = false;
    std::optional<ZQCKTimecode> otherStartTimecode;

    // The writing thread's own. The muxer goes before the streams that it listens to.
    mxf::MuxSettings settings;
    detail::MXFCodec codec;
    bool isIMX = false;
    std::string startTimecodeText;
    std::string helperKey;
    ZQRNabletMXFMemoryStreamPtr videoStream;
    ZQRNabletMXFMemoryStreamPtr captionsStream;
    std::vector<ZQRNabletMXFMemoryStreamPtr> audioStreams;
    std::shared_ptr<ZQRAudioConverter> audioConverter;
    ZQRMXFLoggerPtr mxfLogger;
    std::unique_ptr<mxf::Muxer, FreeMuxer> muxer;
    bool isFinished = false;
    std::vector<std::uint8_t> patchedPicture;  // of the frame being written; so is the next
    platform::AudioBufferList audioInput;

    Guarded<Published> published;
    std::atomic<std::uint64_t> framesWritten{0};
};

}  // namespace zenquor
