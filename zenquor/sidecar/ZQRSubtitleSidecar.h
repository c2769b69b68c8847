#pragma once
// The common part of the subtitle readers: which block is on screen at which frame.

#include <cstdint>
#include <memory>

#include "zenquor/core/Guarded.h"
#include "zenquor/core/ZQValue.h"
#include "zenquor/sidecar/ZQRSidecar.h"
#include "zenquor/sidecar/ZQRSubtitleBlock.h"
#include "zenquor/sidecar/ZQRSubtitleOutput.h"

namespace zenquor {

/// A list of subtitle blocks, played through an output.
///
/// A block is on screen from its in frame through its out frame and leaves on the frame after, unless the
/// next one replaces it. Loading into the output starts on the frame after the block before is shown.
///
/// Lifecycle:     a reader fills subtitleBlocks(), calls setupOutput() and validateBlocks(); then one pass
///                over the timeline. A second pass needs a new sidecar.
/// Thread-safety: One thread at a time; output() may be read by others.
class ZQRSubtitleSidecar : public ZQRSidecar, public std::enable_shared_from_this<ZQRSubtitleSidecar> {
public:
    /// Kinds of output: OP-47 teletext subtitles, CEA-608 captions.
    enum OutputKind : std::int32_t { OutputOP47 = 0, OutputCEACC = 1 };
    /// What validateBlocks() does about blocks that start before the one before has ended.
    enum OverlappingSubtitleAction : std::int32_t { OverlapIgnore = 0, OverlapMerge = 1, OverlapRemove = 2 };

    /// A sidecar without blocks. Keys: ZHLSidecarProperties.h; an absent key reads as 0 or false.
    static std::shared_ptr<ZQRSubtitleSidecar> initWithProperties(ZQDictionary properties);

    /// Resolves overlaps as the properties say, renumbers from 1 when blocks went, and prepares the blocks.
    virtual void validateBlocks(ZQRSubtitleBlockList& blocks, const ZQDictionary& properties);
    /// Fits every block to a raster; 0 means no limit.
    virtual void prepareBlocks(const ZQRSubtitleBlockList& blocks, std::int32_t width, std::int32_t height);
    /// Makes the output of an OutputKind; any other number leaves the output as it is.
    void setupOutput(std::int32_t kind);
    /// Hands the block to the output unless it was the last one handed.
    void prepareBlock(const ZQRSubtitleBlockPtr& block);

    /// The next frame is a first frame; the number is not used.
    void prepareToReadFromFrame(std::int32_t frame) override;
    ZQRVANCPacketList vancPacketsAtTimecode(const ZQCKTimecode& timecode) override;
    /// Subtitle sidecars are not written from packets.
    void addVancPackets(const ZQRVANCPacketList&, const ZQCKTimecode&) override {}
    void close() override {}

    /// What the sidecar was opened with.
    const ZQDictionary& properties() const { return properties_; }
    /// For outputs that read them later; what was read at opening stays.
    void setProperties(ZQDictionary properties) { properties_ = std::move(properties); }
    /// In file order.
    const ZQRSubtitleBlockList& subtitleBlocks() const { return subtitleBlocks_; }
    void setSubtitleBlocks(ZQRSubtitleBlockList blocks) { subtitleBlocks_ = std::move(blocks); }
    /// An EBU language code.
    std::int32_t languageCode() const { return languageCode_; }
    void setLanguageCode(std::int32_t code) { languageCode_ = code; }
    char16_t fillerCharacter() const { return fillerCharacter_; }
    void setFillerCharacter(char16_t character) { fillerCharacter_ = character; }
    bool doubleHeightSubtitles() const { return doubleHeightSubtitles_; }
    void setDoubleHeightSubtitles(bool doubleHeight) { doubleHeightSubtitles_ = doubleHeight; }
    /// Whether a centred line that cannot stand in the middle stands to the right of it.
    bool centeredRoundUp() const { return centeredRoundUp_; }
    void setCenteredRoundUp(bool roundUp) { centeredRoundUp_ = roundUp; }
    /// Whether outputs keep every line on the raster.
    bool validateVerticalPosition() const { return validateVerticalPosition_; }
    void setValidateVerticalPosition(bool validate) { validateVerticalPosition_ = validate; }
    bool valid() const override { return valid_; }
    void setValid(bool valid) { valid_ = valid; }
    std::int32_t timecodeType() const override { return timecodeType_; }
    void setTimecodeType(std::int32_t type) { timecodeType_ = type; }
    /// Null before setupOutput().
    ZQRSubtitleOutputPtr output() const { return output_.load(); }
    void setOutput(ZQRSubtitleOutputPtr output) { output_.store(std::move(output)); }

protected:
    ZQRSubtitleSidecar() = default;
    void readProperties(ZQDictionary properties);

private:
    enum class Step { Next, Stop };

    Step stepToBlock(const ZQRSubtitleBlockPtr& block, std::uint32_t frame, ZQRSubtitleOutput* output);
    void hideCurrentBlockAfterItsOutFrame(std::uint32_t frame, ZQRSubtitleOutput* output);

    std::int32_t readHead_ = 0;
    bool firstFrame_ = false;
    ZQRSubtitleBlockPtr currentBlock_;
    ZQRSubtitleBlockPtr preparedBlock_;
    bool doubleHeightSubtitles_ = false;
    bool centeredRoundUp_ = false;
    bool validateVerticalPosition_ = false;
    bool valid_ = false;
    char16_t fillerCharacter_ = 0;
    std::int32_t languageCode_ = 0;
    std::int32_t timecodeType_ = 0;
    ZQDictionary properties_;
    ZQRSubtitleBlockList subtitleBlocks_;
    Guarded<ZQRSubtitleOutputPtr> output_;
};

}  // namespace zenquor
