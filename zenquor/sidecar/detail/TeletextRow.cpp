#include "zenquor/sidecar/detail/TeletextRow.h"

#include <algorithm>

#include "zenquor/vanc/ZQRVANCTeletextPacket.h"

namespace zenquor::detail {
namespace {

enum Code : std::uint8_t {
    AlphaBlack = 0x00,
    AlphaWhite = 0x07,
    EndBox = 0x0A,
    StartBox = 0x0B,
    NormalSize = 0x0C,
    DoubleHeight = 0x0D,
    DoubleWidth = 0x0E,
    DoubleSize = 0x0F,
    MosaicsBlack = 0x10,
    MosaicsWhite = 0x17,
    Conceal = 0x18,
    FirstCharacter = 0x20,
};

/// Capital letters stand also between mosaics.
bool isMosaic(std::uint8_t code) {
    return code < 0x40 || code >= 0x60;
}

}  // namespace

TeletextRow::TeletextRow(const Codes& codes, const Characters& enhancements, bool boxesOnly,
                         std::uint32_t characterSet) {
    shown_.fill(u' ');
    Codes readable = codes;
    std::replace(readable.begin(), readable.end(), teletextDamaged, std::uint8_t{FirstCharacter});
    const std::u16string characters = ZQRVANCTeletextPacket::decodedData(readable, characterSet);
    Attributes attributes;
    bool wide = false;  // the character before is
    for (std::size_t i = 0; i < readable.size(); ++i) {
        const std::uint8_t code = readable[i];
        isControl_[i] = code < FirstCharacter;
        if (isControl_[i]) applyAtCode(code, attributes);
        char16_t character = characters[i];
        if (isControl_[i] || (attributes.mosaics && isMosaic(code))) character = u' ';
        if (enhancements[i] != 0) character = enhancements[i];
        isCovered_[i] = wide && !isControl_[i];
        if (!isCovered_[i]) show(i, character, attributes, boxesOnly);
        wide = attributes.doubleWidth && !isCovered_[i] && !isControl_[i];
        if (isControl_[i]) applyAfterCode(code, attributes);
    }
}

void TeletextRow::applyAtCode(std::uint8_t code, Attributes& attributes) {
    if (code == NormalSize) attributes.doubleHeight = attributes.doubleWidth = false;
    if (code == Conceal) attributes.concealed = true;
}

void TeletextRow::applyAfterCode(std::uint8_t code, Attributes& attributes) {
    const bool alpha = code <= AlphaWhite;
    if (alpha || (code >= MosaicsBlack && code <= MosaicsWhite)) {
        attributes.colour = code & 7;
        attributes.mosaics = !alpha;
        attributes.concealed = false;
    } else if (code == StartBox || code == EndBox) {
        attributes.boxed = code == StartBox;
    } else if (code >= DoubleHeight && code <= DoubleSize) {
        attributes.doubleHeight = code != DoubleWidth;
        attributes.doubleWidth = code != DoubleHeight;
    }
}

void TeletextRow::show(std::size_t column, char16_t character, const Attributes& attributes, bool boxesOnly) {
    if (character == u' ') return;
    if (boxesOnly && !attributes.boxed) {
        textOutsideBoxes_ = true;
        return;
    }
    if (attributes.concealed) return;
    shown_[column] = character;
    colours_[column] = attributes.colour;
    doubleHeight_ = doubleHeight_ || attributes.doubleHeight;
}

bool TeletextRow::isBlank() const {
    return std::all_of(shown_.begin(), shown_.end(), [](char16_t c) { return c == u' '; });
}

TeletextPicture::Row TeletextRow::text(int row) const {
    TeletextPicture::Row result;
    std::size_t spaces = 0;
    bool control = false;
    for (std::size_t i = 0; i < shown_.size(); ++i) {
        if (isCovered_[i]) continue;
        if (shown_[i] == u' ') {
            ++spaces;
            control = control || isControl_[i];
            continue;
        }
        if (result.text.empty()) {
            result.place = {row, static_cast<std::int32_t>(i), doubleHeight_};
        } else if (spaces > 0) {
            // The gap takes part in the colour only when both its sides do.
            const std::uint8_t before = result.colours.back();
            result.text.append(control ? 1 : spaces, u' ');
            result.colours.resize(result.text.size(),
                                  before == colours_[i] ? before : std::uint8_t{AlphaWhite});
        }
        result.text.push_back(shown_[i]);
        result.colours.push_back(colours_[i]);
        spaces = 0;
        control = false;
    }
    return result;
}

}  // namespace zenquor::detail
