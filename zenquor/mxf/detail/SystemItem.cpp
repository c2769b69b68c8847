#include "zenquor/mxf/detail/SystemItem.h"

#include <array>

#include "zenquor/mxf/detail/EditRate.h"
#include "zenquor/mxf/detail/TimecodeLabel.h"

namespace zenquor::mxf::detail {
namespace {

enum Bit : std::uint8_t { BitLabel = 0x40, BitUserStamp = 0x10, BitPicture = 8, BitSound = 4, BitData = 2 };

constexpr std::uint8_t timecodeStamp = 0x81;  // the user stamp is a timecode of SMPTE ST 12-1
constexpr std::size_t stampBytes = 17;

/// The code of a content package rate: the rate's place in the table shifted up, bit 0 for a rate over 1.001.
std::uint8_t codeOfRate(Rational editRate, std::uint16_t base) {
    static constexpr std::uint16_t rates[] = {0, 24, 25, 30, 48, 50, 60, 72, 75, 90, 96, 100, 120};
    for (std::uint8_t i = 1; i < std::size(rates); ++i) {
        if (rates[i] == base) return static_cast<std::uint8_t>(i << 1 | (editRate.denominator == 1001));
    }
    return 0;
}

std::uint8_t bitmapOf(const SystemItem::Items& items) {
    return static_cast<std::uint8_t>(BitLabel | BitUserStamp | (items.picture ? BitPicture : 0) |
                                     (items.sound ? BitSound : 0) | (items.data ? BitData : 0));
}

}  // namespace

SystemItem::SystemItem(Rational editRate, const Timecode& timecode, const Items& items, const UL& container)
    : timecode_(timecode),
      container_(container),
      base_(timecodeBase(editRate)),
      bitmap_(bitmapOf(items)),
      rateCode_(codeOfRate(editRate, base_)) {}

void SystemItem::put(ByteSink& out, std::int64_t unit) const {
    out.putUL(packKey);
    out.putLength(packBytes);
    out.put8(bitmap_);
    out.put8(rateCode_);
    out.put8(0);   // content package type: default
    out.put16(0);  // channel handle
    out.put16(static_cast<std::uint16_t>(unit));
    out.putUL(container_);
    static constexpr std::array<std::uint8_t, stampBytes> none{};
    out.put(none);  // creation stamp
    const auto label = TimecodeLabel::of(timecode_.startFrames + unit, base_, timecode_.dropsFrames);
    out.put8(timecodeStamp);
    out.put(label.packed(base_, timecode_.dropsFrames));
    out.put(std::span(none).first(stampBytes - 5));  // binary groups and what is reserved
    out.putKLV(metadataKey, {});
}

}  // namespace zenquor::mxf::detail
