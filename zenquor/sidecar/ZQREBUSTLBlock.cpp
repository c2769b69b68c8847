#include "zenquor/sidecar/ZQREBUSTLBlock.h"

#include <utility>

#include <fmt/format.h>

#include "zenquor/core/ZLGHandle.h"

namespace zenquor {
namespace {

// Where the fields of a block stand. Numbers of more than one byte start with the least significant.
constexpr std::size_t groupNumberOffset = 0;
constexpr std::size_t subtitleNumberOffset = 1;
constexpr std::size_t extensionBlockOffset = 3;
constexpr std::size_t cumulativeStatusOffset = 4;
constexpr std::size_t timecodeInOffset = 5;
constexpr std::size_t timecodeOutOffset = 9;
constexpr std::size_t verticalPositionOffset = 13;
constexpr std::size_t justificationOffset = 14;
constexpr std::size_t commentOffset = 15;
constexpr std::size_t textOffset = 16;

/// Hours, minutes, seconds and frames, a byte each.
ZQCKTimecode timecodeAt(const std::uint8_t* bytes, ZQCKTimebase timebase) {
    return ZQCKTimecode::timecodeWithHours(bytes[0], bytes[1], bytes[2], bytes[3], timebase);
}

enum class Code { Text, NewLine, Ignored, Reserved };

Code codeOfByte(std::uint8_t byte) {
    if (byte < 0x80 || byte > 0x9F) return Code::Text;
    if (byte == 0x8A) return Code::NewLine;
    // Italics, underline and boxing of open subtitles, and unused space.
    return byte <= 0x85 || byte == 0x8F ? Code::Ignored : Code::Reserved;
}

}  // namespace

ZQREBUSTLBlockPtr ZQREBUSTLBlock::initWithTTIBlock(std::span<const std::uint8_t, size> bytes,
                                                   ZQCKTimebase timebase,
                                                   const ZQREBUSTLAlphabetPtr& alphabet,
                                                   bool removeEmptyLines) {
    ZQREBUSTLBlockPtr block(new ZQREBUSTLBlock);
    block->subtitleGroupNumber_ = bytes[groupNumberOffset];
    block->setSubtitleNumber(bytes[subtitleNumberOffset] | bytes[subtitleNumberOffset + 1] << 8);
    block->extensionBlockNumber_ = bytes[extensionBlockOffset];
    block->cumulativeStatus_ = bytes[cumulativeStatusOffset];
    block->setTimecodeIn(timecodeAt(&bytes[timecodeInOffset], timebase));
    block->setTimecodeOut(timecodeAt(&bytes[timecodeOutOffset], timebase));
    block->setVerticalPosition(bytes[verticalPositionOffset]);
    if (bytes[justificationOffset] <= Right) block->setJustification(bytes[justificationOffset]);
    block->comment_ = bytes[commentOffset] != 0;
    if (block->displayable() && alphabet) {
        block->readText(bytes.subspan<textOffset>(), *alphabet, removeEmptyLines);
    }
    return block;
}

void ZQREBUSTLBlock::readText(std::span<const std::uint8_t> bytes, ZQREBUSTLAlphabet& alphabet,
                              bool removeEmptyLines) {
    ZQRSubtitleLineList found;
    std::u16string text;
    alphabet.setOutputCharacter([&text](char16_t character) { text.push_back(character); });
    for (const std::uint8_t byte : bytes) {
        switch (codeOfByte(byte)) {
            case Code::Text:
                alphabet.encodeCharacter(byte);
                break;
            case Code::NewLine:
                if (!text.empty() || !removeEmptyLines)
                    found.push_back(ZQRSubtitleLine::initWithString(text));
                text.clear();
                break;
            case Code::Reserved:
                ZLGGetHandle().error("ZQREBUSTLSidecar found reserved control character {}", byte);
                break;
            case Code::Ignored:
                break;
        }
    }
    alphabet.setOutputCharacter(nullptr);
    if (!text.empty()) found.push_back(ZQRSubtitleLine::initWithString(std::move(text)));
    setLines(std::move(found));
}

bool ZQREBUSTLBlock::displayable() const {
    const bool hasText =
        extensionBlockNumber_ < firstReservedExtensionBlock || extensionBlockNumber_ == lastExtensionBlock;
    return hasText && !comment_;
}

std::string ZQREBUSTLBlock::debugDescriptionHeader() const {
    std::string text = ZQRSubtitleBlock::debugDescriptionHeader();
    if (comment_) text += " comment";
    if (extensionBlockNumber_ < firstReservedExtensionBlock) {
        text += fmt::format(" ext: {}", extensionBlockNumber_);
    } else if (extensionBlockNumber_ < userDataExtensionBlock) {
        text += fmt::format(" resv: {:02x}", extensionBlockNumber_);
    } else {
        text += extensionBlockNumber_ == userDataExtensionBlock ? " user" : " last";
    }
    return text + fmt::format(" cumulative: {}", cumulativeStrings()[cumulativeStatus_ & 3]);
}

const std::array<std::string_view, 4>& ZQREBUSTLBlock::cumulativeStrings() {
    static constexpr std::array<std::string_view, 4> names = {"single", "first", "intermediate", "last"};
    return names;
}

}  // namespace zenquor
