#include "CaptionCollector.h"

#include <fmt/format.h>

#include "CaptionErrors.h"
#include "CaptionFile.h"
#include "DigitalCaptions.h"
#include "zenquor/sidecar/ZQRSCCSidecar.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"
#include "zenquor/vanc/ZQRVANCHelper.h"

namespace zenquor::tools {
namespace {

constexpr int rate2398 = 0, rate24 = 1, rate2997 = 3;

/// The rate that the file is written at. MCC files count 23.98 as 24.
ZQCKTimebase timebaseInFile(bool isScenarist, ZQCKTimebase timebase) {
    if (isScenarist) return ZQCKTimebase::timebaseForFramerate(rate2997);
    return timebase.frameRate() == rate2398 ? ZQCKTimebase::timebaseForFramerate(rate24) : timebase;
}

}  // namespace

std::unique_ptr<CaptionCollector> CaptionCollector::create(const std::filesystem::path& path,
                                                           ZQCKTimebase timebase, int field,
                                                           ZQErrorPtr* error) {
    auto collector = std::make_unique<CaptionCollector>();
    collector->path_ = path;
    collector->isScenarist_ = captionFileKindByName(path) == CaptionFileKind::Scenarist;
    collector->field_ = field;
    collector->timebase_ = timebase;
    const auto written = timebaseInFile(collector->isScenarist_, timebase);
    if (collector->isScenarist_) {
        collector->sidecar_ = ZQRSCCSidecar::initForWritingWithURL(path, written);
    } else {
        collector->sidecar_ = ZQRMCCSidecar::initForWritingWithURL(path, written);
    }
    collector->file_ = collector->sidecar_->outputFile();
    if (collector->sidecar_->valid()) return collector;
    failToWrite(path, error);
    return nullptr;
}

/// SCC files know bare pairs of one field: each goes in as a packet of its own, a frame without any as a null pair.
void CaptionCollector::addPairs(const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode) {
    const auto addPair = [&](std::span<const std::uint8_t> pair) {
        sidecar_->addVancPackets({ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(
                                     ZQData::copying(pair), ZQRVANCClosedCaptionPacket::TypeCEA608)},
                                 timecode);
    };
    bool found = false;
    if (const auto packet = ZQRVANCHelper::closedCaptionPacket(packets)) {
        digitalPackets_ += holdsDigitalCaptions(*packet) ? 1 : 0;
        packet->enumerate608Pairs([&](int field, std::span<const std::uint8_t, 2> pair) {
            if (field != field_) {
                pairsOfOtherField_ += ((pair[0] | pair[1]) & 0x7F) != 0 ? 1 : 0;
                return;
            }
            addPair(pair);
            found = true;
        });
    }
    static const ZQRVANCPacketList idle = {ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(
        ZQRVANCClosedCaptionPacket::empty608PacketData(), ZQRVANCClosedCaptionPacket::TypeCEA608)};
    if (!found) sidecar_->addVancPackets(idle, timecode);
}

void CaptionCollector::add(const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode) {
    const ZQCKTimebase written = sidecar_->timebase();
    if (!isScenarist_) return sidecar_->addVancPackets(packets, sameLabel(timecode, written));
    if (!mapping_) mapping_.emplace(timecode, written);
    addPairs(packets, mapping_->map(timecode));
}

bool CaptionCollector::close(ZQErrorPtr* error) {
    sidecar_->close();
    return !file_->hasFailed() || failToWrite(path_, error);
}

std::vector<std::string> CaptionCollector::notes() const {
    std::vector<std::string> notes;
    if (isScenarist_ && timebase_.frameRate() != rate2997)
        notes.push_back(fmt::format(
            "\"{}\" counts 29.97 drop-frame, as SCC files do: the frames at {} are at the same times there.",
            path_.string(), timebase_.description()));
    if (pairsOfOtherField_ > 0)
        notes.push_back(fmt::format(
            "\"{}\" holds field {} only, as SCC files do: {} byte pairs of field {} are not in it.",
            path_.string(), field_, pairsOfOtherField_, 3 - field_));
    if (digitalPackets_ > 0)
        notes.push_back(
            fmt::format("\"{}\" holds no digital captions (CEA-708): those of {} packets are not in it.",
                        path_.string(), digitalPackets_));
    return notes;
}

}  // namespace zenquor::tools
