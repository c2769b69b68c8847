#include "CaptionReader.h"

namespace zenquor::tools {

CaptionReader::CaptionReader(CaptionSettings::Output output)
    : output_(output),
      captions_([this](const ZQRScreenBlockPtr& block) { keep(block); }),
      teletext_({}, [this](const ZQRScreenBlockPtr& block) { keep(block); }) {}

void CaptionReader::keep(const ZQRScreenBlockPtr& block) {
    if (block->mode() != ZQRScreenBlock::Mode::Text) blocks_[block->service()].push_back(block);
}

void CaptionReader::add(const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode) {
    if (output_ == CaptionSettings::Output::CEA608) captions_.addVancPackets(packets, timecode);
    if (output_ == CaptionSettings::Output::OP47) teletext_.addVancPackets(packets, timecode);
}

void CaptionReader::finish(const ZQCKTimecode& timecode) {
    captions_.finish(timecode);
    teletext_.finish(timecode);
}

std::int32_t CaptionReader::busiest() const {
    std::int32_t service = 0;
    std::size_t most = 0;
    for (const auto& [number, blocks] : blocks_) {
        if (blocks.size() > most) {
            most = blocks.size();
            service = number;
        }
    }
    return service;
}

const ZQRScreenBlockList& CaptionReader::blocks(std::int32_t channel) const {
    static const ZQRScreenBlockList none;
    const auto found = blocks_.find(output_ == CaptionSettings::Output::OP47 ? busiest() : channel);
    return found == blocks_.end() ? none : found->second;
}

}  // namespace zenquor::tools
