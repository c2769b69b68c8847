#include "AncillaryFile.h"

#include <fmt/format.h>

#include "CaptionErrors.h"
#include "TimeMapping.h"
#include "zenquor/vanc/ZQRVANCHelper.h"

namespace zenquor::tools {
namespace {

constexpr int wordsOfEightBits = 1;  // the 291M form of MCC files
constexpr int rate2398 = 0, rate24 = 1;

}  // namespace

std::unique_ptr<AncillaryFile> AncillaryFile::create(const std::filesystem::path& path, ZQCKTimebase timebase,
                                                     ZQErrorPtr* error) {
    auto file = std::make_unique<AncillaryFile>();
    file->path_ = path;
    // MCC files count 23.98 as 24.
    file->sidecar_ = ZQRMCCSidecar::initForWritingWithURL(
        path, timebase.frameRate() == rate2398 ? ZQCKTimebase::timebaseForFramerate(rate24) : timebase);
    file->file_ = file->sidecar_->outputFile();
    if (file->sidecar_->valid()) return file;
    failToWrite(path, error);
    return nullptr;
}

void AncillaryFile::add(const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode) {
    const ZQCKTimecode label = sameLabel(timecode, sidecar_->timebase());
    for (const auto& packet : packets) {
        line_->replaceData(
            ZQRVANCHelper::packVANCDataPacketInSMPTE291MStream(packet, wordsOfEightBits, true));
        text_ = label.description() + "\t";
        line_->encodeData(text_, true);
        file_->writeLine(text_, ZQRESidecarFile_LF, 1);
    }
}

bool AncillaryFile::close(ZQErrorPtr* error) {
    sidecar_->close();
    return !file_->hasFailed() || failToWrite(path_, error);
}

}  // namespace zenquor::tools
