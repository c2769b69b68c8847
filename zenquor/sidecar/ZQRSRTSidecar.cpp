#include "zenquor/sidecar/ZQRSRTSidecar.h"

#include <fmt/format.h>

#include "zenquor/core/Unicode.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/host/ZHLSidecarProperties.h"
#include "zenquor/sidecar/detail/IntegerText.h"
#include "zenquor/sidecar/detail/SRTMarkup.h"

namespace zenquor {
namespace {

/// The texts on both sides of the separator; nothing without one.
std::optional<std::pair<std::string_view, std::string_view>> splitTimeLine(std::string_view line) {
    for (const std::string_view separator :
         {ZQRSRTSidecar_TimecodeSeparator, ZQRSRTSidecar_TimecodeSeparator2}) {
        const std::size_t at = line.find(separator);
        if (at != std::string_view::npos)
            return std::pair(line.substr(0, at), line.substr(at + separator.size()));
    }
    return std::nullopt;
}

ZQRSubtitleLineList readTextLines(ZQRSidecarInputFile& file) {
    ZQRSubtitleLineList lines;
    for (auto text = file.readLine(); text && !text->empty(); text = file.readLine()) {
        lines.push_back(ZQRSubtitleLine::initWithString(utf16FromUTF8(*text)));
    }
    return lines;
}

}  // namespace

std::shared_ptr<ZQRSRTSidecar> ZQRSRTSidecar::initForReadingWithURL(const std::filesystem::path& url,
                                                                    ZQDictionary properties) {
    std::shared_ptr<ZQRSRTSidecar> sidecar(new ZQRSRTSidecar);
    sidecar->readFile(url, std::move(properties));
    return sidecar;
}

std::shared_ptr<ZQRSRTSidecar> ZQRSRTSidecar::initForWritingWithURL(const std::filesystem::path& url) {
    std::shared_ptr<ZQRSRTSidecar> sidecar(new ZQRSRTSidecar);
    sidecar->outputFile_ = ZQRSidecarOutputFile::initWithURL(url);
    sidecar->setValid(sidecar->outputFile_->isOpen());
    return sidecar;
}

void ZQRSRTSidecar::readFile(const std::filesystem::path& url, ZQDictionary sidecarProperties) {
    readProperties(std::move(sidecarProperties));
    inputFile_ = ZQRSidecarInputFile::initWithURL(url);
    if (!inputFile_->isOpen()) return;
    inputFile_->setSkipEmptyLines(false);
    const auto integer = [&](const char* key) {
        return static_cast<std::int32_t>(properties()[key].integerValue());
    };
    timebase_ = ZQCKTimebase::timebaseForFramerate(integer(ZHLSRTSidecar_Property_Timebase));
    justify_ = integer(ZHLSRTSidecar_Property_Justification);
    setValid(true);

    ZQRSubtitleBlockList blocks;
    while (auto block = readBlock()) {
        blocks.push_back(block);
        if (static_cast<std::size_t>(block->subtitleNumber()) != blocks.size()) {
            ZLGGetHandle().error("ZQRSRTSidecar got block {}, expected {}", block->subtitleNumber(),
                                 blocks.size());
        }
    }
    // An output may look at the lines when it is made.
    setSubtitleBlocks(blocks);
    setupOutput(integer(ZHLSRTSidecar_Property_Output));
    validateBlocks(blocks, properties());
    setSubtitleBlocks(std::move(blocks));
    inputFile_->close();
}

ZQRSubtitleBlockPtr ZQRSRTSidecar::readBlock() {
    if (!inputFile_) return nullptr;
    const auto numberLine = inputFile_->readLine();
    if (!numberLine) return nullptr;
    const auto timeLine = inputFile_->readLine();
    if (!timeLine) {
        ZLGGetHandle().error("ZQRSRTSidecar could not read timecode line");
        return nullptr;
    }
    const auto times = splitTimeLine(*timeLine);
    if (!times) {
        ZLGGetHandle().error("ZQRSRTSidecar timecode line {} index {} does not contain a valid separator",
                             *timeLine, *numberLine);
        return nullptr;
    }
    const auto in = timecodeFromString(times->first);
    if (!in) {
        ZLGGetHandle().error("ZQRSRTSidecar timecode line {} index {} does not contain a valid timecode in",
                             *timeLine, *numberLine);
        return nullptr;
    }
    const auto out = timecodeFromString(times->second);
    if (!out) {
        ZLGGetHandle().error("ZQRSRTSidecar timecode line {} index {} does not contain a valid timecode out",
                             *timeLine, *numberLine);
        return nullptr;
    }
    ZQRSubtitleLineList lines = readTextLines(*inputFile_);
    if (lines.empty()) {
        ZLGGetHandle().error("ZQRSRTSidecar {} index {} does not contain any lines", *timeLine, *numberLine);
        return nullptr;
    }
    auto block = ZQRSubtitleBlock::subtitleBlock();
    block->setSubtitleNumber(detail::integerValue(std::string_view(*numberLine)));
    block->setTimecodeIn(*in);
    block->setTimecodeOut(*out);
    block->setLines(std::move(lines));
    block->setJustification(justify_);
    return block;
}

void ZQRSRTSidecar::validateBlocks(ZQRSubtitleBlockList& blocks, const ZQDictionary& sidecarProperties) {
    const auto target = output();
    const std::int64_t lastRow = target ? target->maximumVerticalPosition() : 0;
    for (const auto& block : blocks) {
        block->setVerticalPosition(detail::saturated(lastRow - block->numberOfLines()));
    }
    ZQRSubtitleSidecar::validateBlocks(blocks, sidecarProperties);
}

void ZQRSRTSidecar::prepareBlocks(const ZQRSubtitleBlockList& blocks, std::int32_t width,
                                  std::int32_t height) {
    for (const auto& block : blocks) detail::SRTMarkup(*block, doubleHeightSubtitles() ? 2 : 1).apply();
    ZQRSubtitleSidecar::prepareBlocks(blocks, width, height);
}

bool ZQRSRTSidecar::writeLine(std::string_view text, int newlines) {
    return outputFile_ && outputFile_->writeLine(text, newline_, newlines);
}

bool ZQRSRTSidecar::writeBlock(const ZQRSubtitleBlock& block) {
    if (!writeLine(std::to_string(block.subtitleNumber()), 1)) {
        ZLGGetHandle().error("ZQRSRTSidecar could not write block number line");
        return false;
    }
    const std::string times = timecodeToString(block.timecodeIn()).append(ZQRSRTSidecar_TimecodeSeparator) +
                              timecodeToString(block.timecodeOut());
    if (!writeLine(times, 1)) {
        ZLGGetHandle().error("ZQRSRTSidecar could not write block timecode line");
        return false;
    }
    const ZQRSubtitleLineList lines = block.lines();
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const auto text = ZQRSubtitleLine::stringStrippingControlCharacters(lines[i]->string());
        if (!writeLine(utf8FromUTF16(text), i + 1 == lines.size() ? 2 : 1)) {
            // The same text as for the times, also for a text line: hosts know it so.
            ZLGGetHandle().error("ZQRSRTSidecar could not write block timecode line");
            return false;
        }
    }
    return true;
}

std::string ZQRSRTSidecar::timecodeToString(const ZQCKTimecode& timecode) {
    return fmt::format("{:02}:{:02}:{:02},{:03}", timecode.hours(), timecode.minutes(), timecode.seconds(),
                       timecode.millisecondsSinceMidnight() % 1000);
}

std::optional<ZQCKTimecode> ZQRSRTSidecar::timecodeFromString(std::string_view text) const {
    constexpr std::size_t timeLength = 12;
    if (text.size() != timeLength) return std::nullopt;
    return ZQCKTimecode::timecodeWithString(text, timebase_);
}

std::optional<std::u16string> ZQRSRTSidecar::variableFromString(std::u16string_view tag,
                                                                std::u16string_view name) {
    return detail::attributeOfTag(tag, name);
}

}  // namespace zenquor
