#include "zenquor/sidecar/detail/TeletextPage.h"

#include <algorithm>

#include "zenquor/sidecar/detail/TeletextRow.h"
#include "zenquor/vanc/ZQRDataStream.h"

namespace zenquor::detail {
namespace {

bool isDamaged(std::uint8_t code) {
    return code == teletextDamaged;
}

}  // namespace

void TeletextPage::setHeader(const ZQRVANCTeletextPacket& header) {
    if (header.controlErasePage()) rows_.fill(Row{});
    ++transmission_;
    characterSet_ = header.characterSet();
    boxesOnly_ = header.controlSubtitle() || header.controlNewsflash();
    inhibited_ = header.controlInhibitDisplay();
}

TeletextPage::RowResult TeletextPage::setRow(int row, std::span<const std::uint8_t> payload) {
    Row& kept = at(row);
    RowResult result;
    for (std::size_t i = 0; i < kept.codes.size(); ++i) {
        const std::uint8_t byte = i < payload.size() ? payload[i] : std::uint8_t{0x20};
        const bool good = ZQRDataStream::isOddParityByte(byte, 8);
        const std::uint8_t code = good ? byte & 0x7F : teletextDamaged;
        result.parityErrors += !good;
        result.changed = result.changed || (good && code != kept.codes[i]);
        kept.codes[i] = code;
    }
    if (result.changed && kept.enhancedIn != transmission_) kept.enhancements.fill(0);
    return result;
}

void TeletextPage::setEnhancement(int row, int column, char16_t character) {
    Row& kept = at(row);
    if (kept.enhancedIn != transmission_) kept.enhancements.fill(0);
    kept.enhancedIn = transmission_;
    kept.enhancements[static_cast<std::size_t>(column)] = character;
}

bool TeletextPage::attributesEqual(const TeletextPage& other) const {
    return characterSet_ == other.characterSet_ && boxesOnly_ == other.boxesOnly_ &&
           inhibited_ == other.inhibited_;
}

bool TeletextPage::fits(const TeletextPage& other) const {
    if (!attributesEqual(other)) return false;
    int alike = 0;
    int damaged = 0;
    for (std::size_t row = 0; row < rows_.size(); ++row) {
        const Row& a = rows_[row];
        const Row& b = other.rows_[row];
        if (a.enhancements != b.enhancements) return false;
        for (std::size_t i = 0; i < a.codes.size(); ++i) {
            if (isDamaged(a.codes[i]) != isDamaged(b.codes[i])) {
                ++damaged;
            } else if (a.codes[i] != b.codes[i]) {
                return false;
            } else {
                alike += a.codes[i] != 0x20 && !isDamaged(a.codes[i]);
            }
        }
    }
    return damaged <= alike;
}

bool TeletextPage::repairFrom(const TeletextPage& other) {
    bool repaired = false;
    for (std::size_t row = 0; row < rows_.size(); ++row) {
        for (std::size_t i = 0; i < rows_[row].codes.size(); ++i) {
            std::uint8_t& code = rows_[row].codes[i];
            if (!isDamaged(code) || isDamaged(other.rows_[row].codes[i])) continue;
            code = other.rows_[row].codes[i];
            repaired = true;
        }
    }
    return repaired;
}

TeletextPicture TeletextPage::picture(std::uint32_t characterSet) const {
    TeletextPicture picture;
    if (inhibited_) return picture;
    for (int row = 1; row <= rowCount; ++row) {
        const TeletextRow shown(at(row).codes, at(row).enhancements, boxesOnly_, characterSet);
        if (shown.isBlank()) continue;
        picture.rows.push_back(shown.text(row));
        if (shown.isDoubleHeight()) ++row;  // the row below lies under the lower halves
    }
    return picture;
}

bool TeletextPage::hasTextOutsideBoxes() const {
    return boxesOnly_ && std::any_of(rows_.begin(), rows_.end(), [&](const Row& row) {
               return TeletextRow(row.codes, row.enhancements, true, 0).hasTextOutsideBoxes();
           });
}

}  // namespace zenquor::detail
