#include "OutputWriter.h"

#include "zenquor/writers/ZQRAVFoundationWriter.h"
#include "zenquor/writers/ZQRNabletMXFWriter.h"

namespace zenquor::tools {
namespace {

ZQDictionary commonOptions(const RecordOptions& options, const ZQRVideoPropertiesPtr& video) {
    ZQDictionary dictionary;
    dictionary.set(ZQRMovieWriterOptionCacheMask, options.keepCache ? 1 : 0);
    dictionary.set(ZQRMovieWriterOptionCapturePreset, video->capturePreset());
    return dictionary;
}

OutputWriter movieWriter(bool isMPEG4, ZQDictionary dictionary, const ZQRVideoPropertiesPtr& video,
                         const ZQRAudioPropertiesPtr& audio) {
    dictionary.set(ZQRMovieWriterOptionContainer, isMPEG4 ? ZQRAVFoundationWriter::ContainerMPEG4
                                                          : ZQRAVFoundationWriter::ContainerQuickTime);
    if (video->h264Preferences()) dictionary.set(ZQRMovieWriterOptionH264Prefs, video->h264Preferences());
    const auto writer = ZQRAVFoundationWriter::initWithVideoProperties(video, audio, dictionary);
    return {writer, [writer] { return writer->framesRecorded(); },
            [writer] { return writer->assetWriterError(); }, [writer] { return writer->fullFilename(); }};
}

OutputWriter mxfWriter(std::uint64_t blockSize, ZQDictionary dictionary, const ZQRVideoPropertiesPtr& video,
                       const ZQRAudioPropertiesPtr& audio) {
    dictionary.set(ZQRMovieWriterOptionMXFBlockSize, static_cast<std::int64_t>(blockSize));
    const auto writer = ZQRNabletMXFWriter::initWithVideoProperties(video, audio, dictionary);
    return {writer, [writer] { return writer->framesWritten(); }, [writer] { return writer->writeError(); },
            [writer] { return writer->finalFilename(); }};
}

}  // namespace

OutputWriter OutputWriter::create(const std::filesystem::path& path, const RecordOptions& options,
                                  const ZQRVideoPropertiesPtr& video, const ZQRAudioPropertiesPtr& audio) {
    ZQDictionary dictionary = commonOptions(options, video);
    if (path.extension() == ".mxf") return mxfWriter(options.blockSize, std::move(dictionary), video, audio);
    return movieWriter(path.extension() == ".mp4", std::move(dictionary), video, audio);
}

}  // namespace zenquor::tools
