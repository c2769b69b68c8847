#include "zenquor/sidecar/detail/CaptionCode.h"

#include "zenquor/vanc/ZQRVANCCEA608Packet.h"

namespace zenquor::detail {
namespace {

constexpr std::uint8_t italicStyle = 7;

CaptionCode address(std::uint8_t first, std::uint8_t second, std::uint16_t pair) {
    // First byte 0x10 has one row only; the other half is unassigned.
    if (first == 0x10 && second >= 0x60) return {};
    CaptionCode code{CaptionCode::Address};
    code.row = static_cast<std::uint8_t>(ZQRVANCCEA608Packet::rowFor608Pair(pair, (first & 4) != 0));
    const auto style = static_cast<std::uint8_t>(second >> 1 & 7);
    if ((second & 0x10) != 0) {
        code.column = static_cast<std::uint8_t>(style * 4);
    } else if (style != italicStyle) {
        code.colour = static_cast<CaptionColour>(style);
    }
    return code;
}

CaptionCode tabOrAttribute(std::uint8_t second) {
    switch (second) {
        case 0x21:
        case 0x22:
        case 0x23:
            return {CaptionCode::Tab, 0, 0, 0, static_cast<std::uint8_t>(second & 3)};
        case 0x24:  // standard character set, normal size
        case 0x25:  // double size
        case 0x2D:  // no background
            return {CaptionCode::Background};
        case 0x2E:
        case 0x2F:
            return {CaptionCode::BlackText};
        default:
            return {};
    }
}

}  // namespace

CaptionCode CaptionCode::codeOf(std::uint16_t pair) {
    const auto first = static_cast<std::uint8_t>(pair >> 8);
    const auto second = static_cast<std::uint8_t>(pair & 0xFF);
    if (first >= 0x20 || first == 0) {
        if (second != 0 && second < 0x20) return {};
        return {Characters, first, second};
    }
    if (first < 0x10) return {ExtendedData, first, second};
    if (second < 0x20) return {};
    const auto group = static_cast<std::uint8_t>(first & 0x17);  // without the channel bit
    if (second >= 0x40) return address(group, second, pair);
    const auto low = static_cast<std::uint8_t>(second & 0x0F);
    const bool isUpper = second >= 0x30;
    switch (group) {
        case 0x10:
            return {isUpper ? Unknown : Background};
        case 0x11:
            return isUpper ? CaptionCode{Special, low}
                           : CaptionCode{MidRow, static_cast<std::uint8_t>(low >> 1)};
        case 0x12:
            return {West, static_cast<std::uint8_t>(second & 0x1F)};
        case 0x13:
            return {East, static_cast<std::uint8_t>(second & 0x1F)};
        case 0x14:
        case 0x15:
            return isUpper ? CaptionCode{} : CaptionCode{Control, low};
        case 0x17:
            return tabOrAttribute(second);
        default:
            return {};
    }
}

}  // namespace zenquor::detail
