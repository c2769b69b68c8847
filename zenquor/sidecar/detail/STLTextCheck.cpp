#include "zenquor/sidecar/detail/STLTextCheck.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "zenquor/sidecar/ZQREBUSTLLatinAlphabet.h"

namespace zenquor::detail {
namespace {

using Kind = ZQRCaptionRemark::Kind;

constexpr Finding reservedControl{Kind::Code, 3};
constexpr Finding openControl{Kind::Code};
constexpr Finding teletextControl{Kind::Code};
constexpr Finding unmatchedMark{Kind::Code, 5};
constexpr Finding textBehindFill{Kind::Format};
constexpr Finding manyRows{Kind::Length, 5};
constexpr Finding longRow{Kind::Length, 5};

constexpr int teletextColumns = 40;
constexpr int boxCodes = 2;      // of each kind, added where a row has none
constexpr int rowsOfPacket = 3;  // besides the page's header
constexpr std::uint8_t doubleHeight = 0x0D;
constexpr std::uint8_t startBox = 0x0B;
constexpr std::uint8_t endBox = 0x0A;
constexpr std::uint8_t newRow = 0x8A;
constexpr std::uint8_t unusedSpace = 0x8F;

bool isReservedControl(std::uint8_t code) {
    return (code >= 0x86 && code <= 0x89) || (code >= 0x8B && code <= 0x8E) || (code >= 0x90 && code <= 0x9F);
}

}  // namespace

STLTextCheck::Height STLTextCheck::check(Bytes text) {
    Row row;
    int rows = 0;
    int codes = 0;
    std::uint8_t mark = 0;
    bool filled = false;
    for (const std::uint8_t byte : text) {
        if (byte == unusedSpace) {
            filled = true;
            continue;
        }
        if (filled) {
            filled = false;
            remarks_.add(textBehindFill, place_,
                         [] { return "Text stands behind the unused space of the block."; });
        }
        if (mark != 0 && general_.isLatin) checkMark(mark, byte);
        const bool isMark = byte >= 0xC0 && byte <= 0xCF && general_.isLatin;
        mark = isMark ? byte : std::uint8_t{0};
        if (isMark) continue;
        if (byte == newRow) {
            finishRow(std::exchange(row, Row{}), rows);
            codes = 0;
            continue;
        }
        if (byte < 0x20 || (byte >= 0x80 && byte <= 0x9F)) checkControl(byte);
        if (byte >= 0x80 && byte <= 0x9F) continue;
        ++codes;
        if (byte == ' ') continue;
        row.columns = codes;
        row.hasStartBox |= byte == startBox;
        row.hasEndBox |= byte == endBox;
        row.characters += byte >= 0x20 ? 1 : 0;
    }
    if (mark != 0) checkMark(mark, 0);
    finishRow(row, rows);
    if (rows > rowsOfPacket) {
        remarks_.add(manyRows, place_, [&] {
            return fmt::format(
                "The block has {} rows of text, and an OP-47 packet holds {}: the last ones are lost.", rows,
                rowsOfPacket);
        });
    }
    const bool isDouble = std::find(text.begin(), text.end(), doubleHeight) != text.end();
    return {rows, isDouble};
}

void STLTextCheck::finishRow(const Row& row, int& rows) {
    if (row.characters > 0) ++rows;
    const int columns = row.columns + (row.hasStartBox ? 0 : boxCodes) + (row.hasEndBox ? 0 : boxCodes);
    if (row.characters == 0 || columns <= teletextColumns) return;
    remarks_.add(longRow, place_, [&] {
        return fmt::format("A row of text takes {} columns with its box and colour codes; teletext has {}.",
                           columns, teletextColumns);
    });
}

void STLTextCheck::checkControl(std::uint8_t code) {
    if (isReservedControl(code)) {
        remarks_.add(reservedControl, place_, [&] {
            return fmt::format("The control code {:02X} is reserved and is left out.", code);
        });
    } else if (code >= 0x80 && general_.isTeletext()) {
        remarks_.add(openControl, place_, [&] {
            return fmt::format(
                "The control code {:02X} (italics, underline, box) is for open subtitles; teletext "
                "leaves it out.",
                code);
        });
    } else if (code < 0x20 && general_.displayStandard == '0') {
        remarks_.add(teletextControl, place_, [&] {
            return fmt::format("The teletext code {:02X} stands in a file of open subtitles.", code);
        });
    }
}

void STLTextCheck::checkMark(std::uint8_t mark, std::uint8_t letter) {
    if (ZQREBUSTLLatinAlphabet::combinedCharacter(mark, letter)) return;
    remarks_.add(unmatchedMark, place_, [&] {
        const bool isPlain = letter > 0x20 && letter < 0x7F;
        return isPlain ? fmt::format("The accent {:02X} cannot stand on \"{}\": both are left out.", mark,
                                     static_cast<char>(letter))
                       : fmt::format("The accent {:02X} has no letter behind it and is left out.", mark);
    });
}

}  // namespace zenquor::detail
