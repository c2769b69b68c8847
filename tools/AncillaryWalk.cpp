#include "AncillaryWalk.h"

#include <fmt/format.h>

#include "CaptionErrors.h"
#include "CaptionFile.h"
#include "CaptionSamples.h"
#include "MXFFile.h"
#include "MovieFrames.h"
#include "TimeMapping.h"
#include "zenquor/sidecar/ZQRSCCSidecar.h"
#include "zenquor/vanc/ZQRVANCHelper.h"
#include "zenquor/vanc/ZQRVANCPacketImpl.h"

namespace zenquor::tools {
namespace {

using Visit = AncillaryWalk::Visit;

constexpr int wordsOfEightBits = 1;      // the 291M form of MCC files
constexpr std::int32_t unknownLine = 0;  // caption files do not tell the line
constexpr std::size_t pairSize = 2;

/// A packet of a known kind, or a plain one.
ZQRVANCPacketPtr packetOf(std::uint8_t did, std::uint8_t sdid, const ZQData& data,
                          std::int32_t line = unknownLine) {
    auto packet = ZQRVANCHelper::vancPacketWithLine(line, did, sdid, data);
    if (!packet) packet = ZQRVANCPacketImpl::initWithDID(did, sdid, line, data);
    return packet;
}

std::optional<AncillaryWalk> walkMovie(const std::filesystem::path& path, const Visit& visit,
                                       ZQErrorPtr* error) {
    const auto asset = platform::Asset::assetWithURL(path, error);
    if (!asset) return std::nullopt;
    const MovieFrames frames(asset);
    AncillaryWalk walk;
    const std::uint64_t unreadable = forEachCaptionSample(asset, [&](const CaptionSample& sample) {
        const std::int64_t frame = frames.frameAt(sample.time);
        const auto timecode = frames.timecodeAt(sample.time);
        visit({frame, timecode, timecode.value_or(ZQCKTimecode::timecodeWithFrames(frame, frames.timebase())),
               fourCCString(sample.kind), sample.packet});
        ++walk.packets;
        return true;
    });
    if (unreadable > 0)
        walk.faults.push_back(fmt::format("{} caption samples hold no readable packet.", unreadable));
    return walk;
}

/// Visits what a caption line holds: a pair a frame (SCC), or one packet (MCC).
/// @return how many packets.
std::int64_t visitCaption(const ZQRSidecarCaption& caption, bool isScenarist, const ZQCKTimecode& first,
                          const Visit& visit) {
    const ZQData data = ZQData::copying(caption.data());
    ZQCKTimecode timecode = *caption.timecode();
    std::int64_t count = 0;
    if (!isScenarist) {
        auto stream = ZQRDataStream::initWithData(data);
        ZQRVANCHelper::extractVANCDataPacketFromSMPTE291MStream(
            stream, 0, wordsOfEightBits,
            [&](std::int32_t, std::uint8_t did, std::uint8_t sdid, const ZQData& words) {
                visit(
                    {framesBetween(first, timecode), timecode, timecode, "MCC", packetOf(did, sdid, words)});
                ++count;
            });
        return count;
    }
    for (std::size_t at = 0; at + pairSize <= data.size(); at += pairSize, timecode.addFrames(1), ++count) {
        visit({framesBetween(first, timecode), timecode, timecode, "SCC",
               ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(
                   data.slice(at, pairSize), ZQRVANCClosedCaptionPacket::TypeCEA608, unknownLine)});
    }
    return count;
}

std::optional<AncillaryWalk> walkLines(const std::filesystem::path& path, bool isScenarist,
                                       const Visit& visit, ZQErrorPtr* error) {
    std::shared_ptr<ZQRMCCSidecar> sidecar;
    if (isScenarist) sidecar = ZQRSCCSidecar::initForReadingWithURL(path);
    if (!isScenarist) sidecar = ZQRMCCSidecar::initForReadingWithURL(path);
    if (!sidecar->valid()) {
        failCaption(error,
                    fmt::format("\"{}\" holds no readable caption. \"zenquor captions --check\" says why.",
                                path.string()));
        return std::nullopt;
    }
    AncillaryWalk walk;
    const ZQCKTimecode first = *sidecar->currentCaption()->timecode();
    std::int64_t badLines = 0, badPackets = 0;
    for (ZQRSidecarCaptionPtr caption = sidecar->currentCaption();;) {
        const std::int64_t count = caption ? visitCaption(*caption, isScenarist, first, visit) : 0;
        walk.packets += count;
        badLines += caption ? 0 : 1;
        badPackets += caption && count == 0 ? 1 : 0;
        const auto line = sidecar->inputFile()->readLine();
        if (!line) break;
        caption = sidecar->decodeCaptionForLine(*line);
    }
    if (badLines > 0) walk.faults.push_back(fmt::format("{} lines are no caption lines.", badLines));
    if (badPackets > 0) walk.faults.push_back(fmt::format("{} lines hold no sound packet.", badPackets));
    return walk;
}

}  // namespace

AncillaryWalk AncillaryWalk::ofMXF(const MXFFile& file, const Visit& visit) {
    AncillaryWalk walk;
    file.forEachPacket([&](std::int64_t frame, std::int32_t line, std::uint8_t did, std::uint8_t sdid,
                           const ZQData& data) {
        visit({frame, file.timecodeOf(frame), file.timeOf(frame), "436M", packetOf(did, sdid, data, line)});
        ++walk.packets;
        return true;
    });
    walk.faults = file.report().faults;
    return walk;
}

std::optional<AncillaryWalk> AncillaryWalk::ofFile(const std::filesystem::path& path, const Visit& visit,
                                                   ZQErrorPtr* error) {
    if (!canBeRead(path, error)) return std::nullopt;
    switch (captionFileKind(path)) {
        case CaptionFileKind::Scenarist:
            return walkLines(path, true, visit, error);
        case CaptionFileKind::MacCaption:
            return walkLines(path, false, visit, error);
        case CaptionFileKind::MXF: {
            const auto file = MXFFile::open(path, error);
            return file ? std::optional(ofMXF(*file, visit)) : std::nullopt;
        }
        case CaptionFileKind::Movie:
            return walkMovie(path, visit, error);
        default:
            failCaption(error,
                        fmt::format("\"{}\" holds subtitles, not packets: \"zenquor captions\" makes them.",
                                    path.string()));
            return std::nullopt;
    }
}

}  // namespace zenquor::tools
