#include "zenquor/sidecar/ZQRSubtitleOutputOP47.h"

#include <algorithm>
#include <string>
#include <utility>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/sidecar/ZQRSubtitleSidecar.h"

namespace zenquor {
namespace {

constexpr char16_t endBox = 0x0A;
constexpr char16_t startBox = 0x0B;
constexpr char16_t doubleHeight = 0x0D;
/// Boxes are switched on and off by a pair of codes, so that one damaged byte does not open a box.
constexpr int boxCodes = 2;
constexpr char16_t headerColour = 7;
constexpr std::size_t rowLength = ZQRVANCTeletextPacket::maximumPayloadLength;

/// Whitespace for every indent: the first n of them.
constexpr std::u16string_view whitespace = u"                               ";
static_assert(whitespace.size() == ZQRSubtitleOutputOP47::maximumIndent);

struct LanguageSet {
    std::int32_t language;  // EBU Tech 3264
    std::uint8_t characterSet;
};
constexpr LanguageSet languageSets[] = {{0, 0},  {9, 0}, {2, 1}, {15, 1}, {27, 2}, {39, 2}, {40, 2}, {6, 3},
                                        {37, 3}, {8, 4}, {3, 5}, {10, 5}, {13, 5}, {33, 5}, {21, 6}};

/// In the order of the teletext colour codes.
constexpr std::string_view colours[] = {"000000", "FF0000", "00FF00", "FFFF00",
                                        "0000FF", "FF00FF", "00FFFF", "FFFFFF"};

char upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

std::uint8_t characterSetForLanguage(std::int32_t language) {
    for (const auto& entry : languageSets) {
        if (entry.language == language) return entry.characterSet;
    }
    ZLGGetHandle().error(
        "ZQREBUSTLSidecar defines unsupported language code {}, defaulting to primary/English", language);
    return 0;
}

void box(ZQRSubtitleLine& line) {
    std::u16string text = line.string();
    if (!line.containsCharacter(startBox)) {
        text = ZQRSubtitleLine::prependControlCharacter(startBox, boxCodes, text);
    }
    if (!line.containsCharacter(endBox)) {
        text = ZQRSubtitleLine::appendControlCharacter(endBox, boxCodes, text);
    }
    line.setString(std::move(text));
}

/// How many spaces go in front of a line of @p length printable characters.
std::size_t indentOfLine(std::size_t length, std::int32_t justification, bool roundUp) {
    const std::int64_t room = ZQRSubtitleOutputOP47::columns - static_cast<std::int64_t>(length);
    std::int64_t indent = 0;
    if (justification == ZQRSubtitleBlock::Right) indent = room;
    if (justification == ZQRSubtitleBlock::Centered) {
        indent = room / 2 + (roundUp && length % 2 != 0 ? 1 : 0);
    }
    return static_cast<std::size_t>(
        std::clamp<std::int64_t>(indent, 0, ZQRSubtitleOutputOP47::maximumIndent));
}

/// The part of a line that a row can hold, with the colour codes of its runs. Codes from beyond it are left out:
/// every code moves the text further away.
std::u16string colouredText(const ZQRSubtitleBlock& block, const ZQRSubtitleLinePtr& line) {
    std::u16string text = line->string().substr(0, rowLength);
    block.enumerateFormattingForLine(line, [&](const ZQRSubtitleFormatting& formatting, std::size_t index,
                                               std::size_t offset) {
        // Runs inside others are reported at every character; the code belongs where the run starts.
        const bool isStart = offset == 0 || index == 0;
        if (formatting.type() != ZQRSubtitleFormatting::typeColour || !isStart) return;
        const std::int32_t code = ZQRSubtitleOutputOP47::colourControlFromString(formatting.colour());
        if (code >= ZQRSubtitleOutputOP47::unknownColour) {
            ZLGGetHandle().error("ZQRSubtitleOutputOP47 received unknown formatting colour {} at position {}",
                                 formatting.colour(), index);
        } else if (index < rowLength) {
            // The index does not count the codes inserted before, so a later run's code stands left of its
            // start, by design.
            text.insert(index, 1, static_cast<char16_t>(code));
        }
    });
    return text;
}

bool hasVisibleCharacter(std::u16string_view text) {
    return std::any_of(text.begin(), text.end(), [](char16_t c) { return c > u' '; });
}

}  // namespace

std::shared_ptr<ZQRSubtitleOutputOP47> ZQRSubtitleOutputOP47::initWithSidecar(
    const std::shared_ptr<ZQRSubtitleSidecar>& sidecar) {
    std::shared_ptr<ZQRSubtitleOutputOP47> output(new ZQRSubtitleOutputOP47);
    output->sidecar_ = sidecar;
    if (!sidecar) return output;
    output->teletextCharacterSet_ = characterSetForLanguage(sidecar->languageCode());
    for (const auto& block : sidecar->subtitleBlocks()) {
        for (const auto& line : block->lines()) box(*line);
    }
    return output;
}

void ZQRSubtitleOutputOP47::beginFrameAtTimecode(const ZQCKTimecode&) {
    packet1_ = ZQRVANCOP47Packet::beginOP47PacketWithLine(ZQRVANCOP47Packet::oddFieldLine);
    packet2_ = ZQRVANCOP47Packet::beginOP47PacketWithLine(ZQRVANCOP47Packet::evenFieldLine);
    clear_ = false;
}

char16_t ZQRSubtitleOutputOP47::fillerCharacter() const {
    const auto sidecar = sidecar_.lock();
    return sidecar ? sidecar->fillerCharacter() : u'\0';
}

bool ZQRSubtitleOutputOP47::append(const ZQRVANCTeletextPacket& packet) {
    return packet1_ && packet1_->appendPacket(packet);
}

void ZQRSubtitleOutputOP47::clear() {
    if (clear_) return;
    append(ZQRVANCTeletextPacket::initSubtitleHeaderWithColour(headerColour, fillerCharacter(),
                                                               teletextCharacterSet_));
}

void ZQRSubtitleOutputOP47::showBlock(const ZQRSubtitleBlock& block) {
    clear();
    const auto sidecar = sidecar_.lock();
    const bool rendersDouble = sidecar && sidecar->doubleHeightSubtitles();
    const bool isDouble = block.doubleHeight();
    const bool forceDouble = rendersDouble && !isDouble;
    const std::int64_t step = rendersDouble || isDouble ? 2 : 1;
    const ZQRSubtitleLineList lines = block.lines();
    const auto count = static_cast<std::int64_t>(lines.size());
    std::int64_t row = block.verticalPosition() - (forceDouble ? count : 0);
    if (sidecar && sidecar->validateVerticalPosition()) {
        row = std::max<std::int64_t>(std::min(row, rows - count * step), 1);
    }
    std::uint64_t dropped = 0;
    for (const auto& line : lines) {
        if (!showLine(block, line, row, forceDouble)) ++dropped;
        row += step;
    }
    if (dropped == 0) return;
    droppedRows_ += dropped;
    ZLGGetHandle().error(
        "ZQRSubtitleOutputOP47 {}: {} of {} rows of {} are lost: a packet holds {} below its "
        "header, a page rows 1 to {}",
        *this, dropped, count, block, ZQRVANCOP47Packet::maximumAppendedPackets - 1, rows);
}

bool ZQRSubtitleOutputOP47::showLine(const ZQRSubtitleBlock& block, const ZQRSubtitleLinePtr& line,
                                     std::int64_t row, bool forceDouble) {
    const bool hasRoom = packet1_ && packet1_->packets().size() < ZQRVANCOP47Packet::maximumAppendedPackets;
    if (!hasRoom || row < 1 || row > rows) return false;
    const auto sidecar = sidecar_.lock();
    std::u16string text = colouredText(block, line);
    if (forceDouble) text = ZQRSubtitleLine::prependControlCharacter(doubleHeight, 1, text);
    text.insert(0, whitespace.substr(0, indentOfLine(line->length(), block.justification(),
                                                     sidecar && sidecar->centeredRoundUp())));
    const auto beyond = [](std::u16string_view string) {
        return string.size() > rowLength && hasVisibleCharacter(string.substr(rowLength));
    };
    if (beyond(text) || beyond(line->string())) {
        ZLGGetHandle().error("ZQRSubtitleOutputOP47 {}: row {} is cut to {} characters, codes included: {}",
                             *this, row, rowLength, line);
    }
    return append(ZQRVANCTeletextPacket::initSubtitleWithLine(
        static_cast<std::int32_t>(row), fillerCharacter(), teletextCharacterSet_, text));
}

void ZQRSubtitleOutputOP47::hideBlock(const ZQRSubtitleBlock&) {
    clear();
}

ZQRVANCPacketList ZQRSubtitleOutputOP47::finishFrame(bool firstFrame) {
    if (!packet1_) return {};
    if (firstFrame && !clear_ && packet1_->packets().empty()) clear();
    return {ZQRVANCOP47Packet::finishOP47Packet(std::move(packet1_)),
            ZQRVANCOP47Packet::finishOP47Packet(std::move(packet2_))};
}

std::int32_t ZQRSubtitleOutputOP47::colourControlFromString(std::string_view colour) {
    for (std::int32_t code = 0; const std::string_view name : colours) {
        const bool isSame = std::equal(name.begin(), name.end(), colour.begin(), colour.end(),
                                       [](char a, char b) { return a == upper(b); });
        if (isSame) return code;
        ++code;
    }
    return unknownColour;
}

}  // namespace zenquor
