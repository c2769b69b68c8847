#include "zenquor/mxf/detail/ContentPackage.h"

#include <algorithm>
#include <array>

#include "zenquor/mxf/detail/Labels.h"

namespace zenquor::mxf::detail {
namespace {

constexpr UL elementKey = ul(0x060E2B34, 0x01020101, 0x0D010301, 0x00000000);
constexpr std::uint8_t dataItem = 0x17;

constexpr std::uint32_t alignedUp(std::uint64_t bytes) {
    return static_cast<std::uint32_t>((bytes + ContentPackage::grid - 1) / ContentPackage::grid *
                                      ContentPackage::grid);
}

constexpr std::uint32_t systemItemRoom =
    alignedUp(2 * (16 + 4) + SystemItem::packBytes + ByteSink::smallestFill);

/// Room of an element of constant size. A fill item always fits behind it, so that a shorter value (sound at
/// 29.97 frames per second) leaves the next element where it is.
std::uint32_t roomFor(std::uint32_t constantBytes) {
    return constantBytes == 0
               ? 0
               : alignedUp(KLVHeader::largest + std::uint64_t{constantBytes} + KLVHeader::largest);
}

bool hasConstantUnits(std::span<EssenceTrack* const> tracks) {
    return std::ranges::all_of(tracks, [](const EssenceTrack* track) {
        return track->constantBytes() != 0 && !track->isReordered();
    });
}

}  // namespace

std::vector<UL> elementKeys(std::span<EssenceTrack* const> tracks) {
    std::array<std::uint8_t, 256> counts{}, numbers{};
    for (const EssenceTrack* track : tracks) ++counts[track->itemType()];
    numbers[dataItem] = 1;  // pictures and sounds count from 0, data elements from 1
    std::vector<UL> keys;
    for (const EssenceTrack* track : tracks) {
        UL key = elementKey;
        key[12] = track->itemType();
        key[13] = counts[key[12]];
        key[14] = track->elementType();
        key[15] = numbers[key[12]]++;
        keys.push_back(key);
    }
    return keys;
}

ContentPackage::ContentPackage(std::span<EssenceTrack* const> tracks, Rational editRate,
                               const SystemItem& systemItem)
    : systemItem_(systemItem) {
    layout_.editRate = editRate;
    layout_.deltas.push_back({});
    DeltaEntry next{0, 0, systemItemRoom};
    const std::vector<UL> keys = elementKeys(tracks);
    std::uint64_t total = systemItemRoom;
    const bool isConstant = hasConstantUnits(tracks);
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        // Where units have entries anyway, pictures get the room that they take: one that is larger than
        // promised does no harm.
        const bool isPicture = tracks[i]->dataDefinition() == labels::pictureDefinition;
        addElement(*tracks[i], keys[i], isPicture && !isConstant ? 0 : roomFor(tracks[i]->constantBytes()),
                   next);
        total += elements_.back().room;
    }
    layout_.sliceCount = layout_.deltas.back().slice;
    if (isConstant && total <= 0xFFFFFFFF) layout_.editUnitBytes = static_cast<std::uint32_t>(total);
}

void ContentPackage::addElement(const EssenceTrack& track, const UL& key, std::uint32_t room,
                                DeltaEntry& next) {
    Element element;
    element.key = key;
    element.room = room;
    element.startsSlice = next.slice != layout_.deltas.back().slice;
    next.posTableIndex = track.isReordered() ? -1 : 0;
    layout_.deltas.push_back(next);
    elements_.push_back(element);
    if (element.room != 0) {
        next.elementDelta += element.room;
    } else {
        ++next.slice;
        next.elementDelta = 0;
    }
}

std::size_t ContentPackage::firstMisfit(Values values) const {
    constexpr std::uint64_t around = KLVHeader::largest + ByteSink::smallestFill;
    std::size_t i = 0;
    while (i < elements_.size() && (elements_[i].room == 0 || values[i].size() + around <= elements_[i].room))
        ++i;
    return i;
}

bool ContentPackage::write(FileOutput& file, std::int64_t unit, Values values) {
    gathered_.bytes().clear();
    sliceOffsets_.clear();
    flushed_ = 0;
    systemItem_.put(gathered_, unit);
    fillTo(systemItemRoom);
    for (std::size_t i = 0; i < elements_.size(); ++i) {
        if (!putElement(file, elements_[i], values[i])) return false;
    }
    return flush(file);
}

bool ContentPackage::putElement(FileOutput& file, const Element& element,
                                std::span<const std::uint8_t> value) {
    const std::uint64_t start = flushed_ + gathered_.size();
    if (element.startsSlice) sliceOffsets_.push_back(static_cast<std::uint32_t>(start));
    gathered_.putUL(element.key);
    gathered_.putLength(value.size());
    if (value.size() < straightBytes) {
        gathered_.put(value);
    } else {
        if (!flush(file) || !file.append(value)) return false;
        flushed_ += value.size();
    }
    const std::uint64_t end = flushed_ + gathered_.size();
    fillTo(element.room != 0 ? start + element.room : (end + grid - 1) / grid * grid);
    return true;
}

bool ContentPackage::flush(FileOutput& file) {
    const bool written = gathered_.size() == 0 || file.append(gathered_.bytes());
    flushed_ += gathered_.size();
    gathered_.bytes().clear();
    return written;
}

void ContentPackage::fillTo(std::uint64_t position) {
    std::uint64_t gap = position - (flushed_ + gathered_.size());
    if (gap == 0) return;
    while (gap < ByteSink::smallestFill) gap += grid;
    gathered_.putFill(static_cast<std::size_t>(gap));
}

}  // namespace zenquor::mxf::detail
