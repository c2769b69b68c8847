#include "zenquor/sidecar/ZQRSubtitleSidecar.h"

#include <utility>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/host/ZHLSidecarProperties.h"
#include "zenquor/sidecar/ZQRSubtitleOutputCEACC.h"
#include "zenquor/sidecar/ZQRSubtitleOutputOP47.h"

namespace zenquor {
namespace {

std::int32_t integer(const ZQDictionary& properties, const char* key) {
    return static_cast<std::int32_t>(properties[key].integerValue());
}

/// Whether @p block, which starts before @p previous has ended, is to go. The texts hold a no-break space.
bool resolveOverlap(ZQRSubtitleBlock& previous, const ZQRSubtitleBlock& block, std::int32_t action) {
    switch (action) {
        case ZQRSubtitleSidecar::OverlapRemove:
            ZLGGetHandle().error("ZQRSubtitleSidecar removing overlapping blocks {}\u00A0and {}", previous,
                                 block);
            return true;
        case ZQRSubtitleSidecar::OverlapMerge:
            ZLGGetHandle().error("ZQRSubtitleSidecar merging overlapping blocks {}\u00A0and {}", previous,
                                 block);
            previous.mergeBlock(block);
            return true;
        case ZQRSubtitleSidecar::OverlapIgnore:
            ZLGGetHandle().error("ZQRSubtitleSidecar ignoring overlapping blocks {}\u00A0and {}", previous,
                                 block);
            return false;
        default:
            return false;
    }
}

/// Whether @p block is to go because of @p previous.
bool isRemovedByOverlap(ZQRSubtitleBlock& previous, const ZQRSubtitleBlock& block, std::int32_t action) {
    const std::uint32_t in = block.timecodeIn().framesSinceMidnight();
    const std::uint32_t out = previous.timecodeOut().framesSinceMidnight();
    if (in > out) return false;
    if (in < out) return resolveOverlap(previous, block, action);
    ZLGGetHandle().debug("ZQRSubtitleSidecar warning: blocks {}\u00A0and {} overlap the final frame",
                         previous.subtitleNumber(), block.subtitleNumber());
    return false;
}

}  // namespace

std::shared_ptr<ZQRSubtitleSidecar> ZQRSubtitleSidecar::initWithProperties(ZQDictionary properties) {
    std::shared_ptr<ZQRSubtitleSidecar> sidecar(new ZQRSubtitleSidecar);
    sidecar->readProperties(std::move(properties));
    return sidecar;
}

void ZQRSubtitleSidecar::readProperties(ZQDictionary properties) {
    properties_ = std::move(properties);
    fillerCharacter_ = static_cast<char16_t>(
        properties_[ZHLSubtitleSidecar_Property_FillerCharacter].integerValue() & 0xFFFF);
    doubleHeightSubtitles_ = properties_[ZHLSubtitleSidecar_Property_DoubleHeightSubtitles].boolValue();
    centeredRoundUp_ = properties_[ZHLSubtitleSidecar_Property_CenteredRoundUp].boolValue();
    if (properties_.contains(ZHLSubtitleSidecar_Property_OverrideLanguage)) {
        languageCode_ = integer(properties_, ZHLSubtitleSidecar_Property_OverrideLanguage);
    }
    timecodeType_ = integer(properties_, ZHLSubtitleSidecar_Property_TimecodeType);
}

void ZQRSubtitleSidecar::validateBlocks(ZQRSubtitleBlockList& blocks, const ZQDictionary& properties) {
    const std::int32_t action = integer(properties, ZHLSubtitleSidecar_Property_OverlappingSubtitleAction);
    ZQRSubtitleBlockList kept;
    kept.reserve(blocks.size());
    ZQRSubtitleBlockPtr previous;
    for (const auto& block : blocks) {
        if (block->displayable()) {
            if (previous && isRemovedByOverlap(*previous, *block, action)) continue;
            previous = block;
        }
        kept.push_back(block);
    }
    const bool needsNumbers = kept.size() != blocks.size();
    blocks = std::move(kept);
    std::int32_t number = 0;
    for (const auto& block : blocks) {
        if (needsNumbers) block->setSubtitleNumber(++number);
    }
    prepareBlocks(blocks, integer(properties, ZHLSubtitleSidecar_Property_RenderingWidth),
                  integer(properties, ZHLSubtitleSidecar_Property_RenderingHeight));
}

void ZQRSubtitleSidecar::prepareBlocks(const ZQRSubtitleBlockList& blocks, std::int32_t width,
                                       std::int32_t height) {
    for (const auto& block : blocks) block->prepareForRenderingWidth(width, height);
}

void ZQRSubtitleSidecar::setupOutput(std::int32_t kind) {
    if (kind == OutputOP47) setOutput(ZQRSubtitleOutputOP47::initWithSidecar(shared_from_this()));
    if (kind == OutputCEACC) setOutput(ZQRSubtitleOutputCEACC::initWithSidecar(shared_from_this()));
}

void ZQRSubtitleSidecar::prepareBlock(const ZQRSubtitleBlockPtr& block) {
    if (block == preparedBlock_) return;
    if (const auto target = output()) target->prepareBlock(*block);
    preparedBlock_ = block;
}

void ZQRSubtitleSidecar::prepareToReadFromFrame(std::int32_t) {
    firstFrame_ = true;
}

ZQRVANCPacketList ZQRSubtitleSidecar::vancPacketsAtTimecode(const ZQCKTimecode& timecode) {
    const auto target = output();
    const std::uint32_t frame = timecode.framesSinceMidnight();
    if (target) target->beginFrameAtTimecode(timecode);
    Step step = Step::Next;
    while (step == Step::Next && static_cast<std::size_t>(readHead_) < subtitleBlocks_.size()) {
        step = stepToBlock(subtitleBlocks_[static_cast<std::size_t>(readHead_)], frame, target.get());
    }
    // Nothing follows any more: the block on screen still has to go in its turn.
    if (step == Step::Next) hideCurrentBlockAfterItsOutFrame(frame, target.get());
    const bool isFirst = std::exchange(firstFrame_, false);
    return target ? target->finishFrame(isFirst) : ZQRVANCPacketList();
}

ZQRSubtitleSidecar::Step ZQRSubtitleSidecar::stepToBlock(const ZQRSubtitleBlockPtr& block,
                                                         std::uint32_t frame, ZQRSubtitleOutput* target) {
    if (!block->displayable()) {
        ++readHead_;
        return Step::Next;
    }
    const std::uint32_t in = block->timecodeIn().framesSinceMidnight();
    const std::uint32_t out = block->timecodeOut().framesSinceMidnight();
    if (frame < in) hideCurrentBlockAfterItsOutFrame(frame, target);
    if (frame >= out) {
        ++readHead_;
        return Step::Next;
    }
    prepareBlock(block);
    if (frame < in) return Step::Stop;
    currentBlock_ = block;
    if (target) target->showBlock(*block);
    ++readHead_;
    return Step::Stop;
}

void ZQRSubtitleSidecar::hideCurrentBlockAfterItsOutFrame(std::uint32_t frame, ZQRSubtitleOutput* target) {
    if (!currentBlock_ || frame != currentBlock_->timecodeOut().framesSinceMidnight() + 1) return;
    if (target) target->hideBlock(*currentBlock_);
    currentBlock_ = nullptr;
}

}  // namespace zenquor
