#include "MXFCaptions.h"

#include <fmt/format.h>

#include "CaptionErrors.h"
#include "MXFFile.h"
#include "TimeMapping.h"

namespace zenquor::tools {

std::shared_ptr<MXFCaptions> MXFCaptions::open(const std::filesystem::path& path, ZQErrorPtr* error) {
    const auto file = MXFFile::open(path, error);
    if (!file) return nullptr;
    auto captions = std::make_shared<MXFCaptions>();
    captions->sidecar_ = ZQRMXFVANCSidecar::initWithURL(path);
    if (!captions->valid()) {
        failCaption(error, fmt::format("\"{}\" holds no ancillary data.", path.string()));
        return nullptr;
    }
    captions->first_ = file->timeOf(0);
    captions->frames_ = file->info().duration;
    captions->notes_ = file->report().faults;
    return captions;
}

bool MXFCaptions::carries(const std::filesystem::path& path, ZQRVANCFlags kind) {
    const auto file = MXFFile::open(path, nullptr);
    bool isFound = false;
    if (!file) return isFound;
    file->forEachPacket(
        [&](std::int64_t, std::int32_t line, std::uint8_t did, std::uint8_t sdid, const ZQData& data) {
            const auto packet = ZQRVANCHelper::vancPacketWithLine(line, did, sdid, data);
            isFound = (ZQRVANCHelper::vancFlagsFromPacket(packet) & kind) != 0;
            return !isFound;
        });
    return isFound;
}

ZQRVANCPacketList MXFCaptions::vancPacketsAtTimecode(const ZQCKTimecode& timecode) {
    const std::int64_t frame = framesBetween(first_, timecode);
    if (frame < 0 || frame >= frames_) return {};
    if (frame != next_) sidecar_->prepareToReadFromFrame(static_cast<std::int32_t>(frame));
    next_ = frame + 1;
    return sidecar_->vancPacketsAtTimecode(timecode);
}

}  // namespace zenquor::tools
