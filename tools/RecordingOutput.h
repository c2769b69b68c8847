#pragma once
// One output file of a recording with the controller that feeds it.

#include <filesystem>
#include <memory>
#include <string>

#include "OutputWriter.h"
#include "RecordOptions.h"
#include "zenquor/audio/ZQRAudioProperties.h"
#include "zenquor/core/Guarded.h"
#include "zenquor/media/ZQRVideoProperties.h"
#include "zenquor/writers/ZQRMovieWriterController.h"

namespace zenquor::tools {

/// Hears from its writer controller and knows in the end what became of the file.
///
/// Thread-safety: addRawFrame() by the source's thread, addEncodedFrame() by the encoder's; the rest by the
/// host's.
class RecordingOutput final : public ZQRMovieWriterControllerDelegate,
                              public std::enable_shared_from_this<RecordingOutput> {
public:
    /// @param writerID  the encoder controller's character and a number.
    static std::shared_ptr<RecordingOutput> create(const std::filesystem::path& path,
                                                   const std::string& writerID, const RecordOptions& options,
                                                   const ZQRVideoPropertiesPtr& video,
                                                   const ZQRAudioPropertiesPtr& audio,
                                                   std::uint64_t fifoCapacity);

    void start() { controller_->start(); }
    void addRawFrame(const ZQRFramePtr& frame);
    void addEncodedFrame(const ZQRFramePtr& frame);
    /// The run is over, well or badly; one that failed may still have its file open until close().
    bool hasEnded() const {
        return result_.with([](const Result& r) { return r.ended || r.error != nullptr; });
    }
    /// Ends the controller's thread, closes the file if it is still open, and looks at what became of it.
    void close();

    bool succeeded() const {
        return result_.with([](const Result& r) { return r.ended && !r.error; });
    }
    /// What went wrong, in a sentence for the operator.
    std::string failure() const;
    std::filesystem::path path() const;
    std::uint64_t framesWritten() const { return writer_.framesWritten(); }
    /// Elements of the fullest queue.
    void gatherQueueDiagnostics(ZQDictionaryList& diagnostics) const {
        controller_->gatherQueueDiagnostics(diagnostics);
    }

private:
    struct Result {
        bool ended = false;
        ZQErrorPtr error;
    };

    RecordingOutput() = default;
    void didSetupMovieWriter(const ZQRMovieWriterControllerPtr&, const ZQDictionary&) override {}
    void didFinishSuccessfully(const ZQRMovieWriterControllerPtr& controller, bool success,
                               const ZQErrorPtr& error) override;
    void fail(const ZQErrorPtr& error);

    std::filesystem::path wanted_;
    OutputWriter writer_;
    ZQRMovieWriterControllerPtr controller_;
    Guarded<Result> result_;
};

using RecordingOutputPtr = std::shared_ptr<RecordingOutput>;

}  // namespace zenquor::tools
