#include "zenquor/mxf/detail/ClipMap.h"

#include <algorithm>

#include "zenquor/mxf/detail/ItemKeys.h"

namespace zenquor::mxf::detail {
namespace {

/// Far above every real rate; keeps the products below within 64 bits.
constexpr std::uint64_t largestRateTerm = std::uint64_t{1} << 31;

bool isPositive(Rational rate) {
    return rate.numerator > 0 && rate.denominator > 0;
}

}  // namespace

bool SoundSize::isKnown() const {
    if (blockBytes == 0 || !isPositive(sampleRate) || !isPositive(editRate)) return false;
    return samples() >= units() && samples() < largestRateTerm && units() < largestRateTerm;
}

void ClipMap::update(const std::vector<EssenceExtent>& extents, std::uint32_t trackNumber,
                     const std::vector<const IndexSegment*>& segments, const SoundSize& sound) {
    clips_.clear();
    clipEnds_.clear();
    totalBytes_ = 0;
    sound_ = sound;
    std::uint64_t headerBytes = 0;
    if (!extents.empty()) {
        ElementWalk walk(file_, faults_, extents, extents.front().start);
        while (const auto element = walk.next()) {
            if (!isElementKey(element->key) || trackNumberOf(element->key) != trackNumber) continue;
            if (clips_.empty()) headerBytes = element->valuePosition - element->position;
            clips_.push_back({element->valuePosition, element->length});
            clipEnds_.push_back(totalBytes_ += element->length);
        }
    }
    table_ = sound.isKnown() ? IndexTable{} : IndexTable(segments, totalBytes_, faults_);
    // Offsets count from the clip's first byte with most writers, from its key with others.
    firstHeaderBytes_ = table_.offsetOf(0).value_or(0) == headerBytes ? headerBytes : 0;
    if (sound.isKnown()) {
        countSound();
        return;
    }
    while (!table_.isEmpty() && startOf(table_.end() - 1) >= totalBytes_) table_.endAt(table_.end() - 1);
    count_ = table_.holes().empty() ? table_.end() : table_.holes().front().first;
}

/// The last edit unit may be shorter than the others.
void ClipMap::countSound() {
    const std::uint64_t whole = totalBytes_ - totalBytes_ % sound_.blockBytes;
    count_ = static_cast<std::int64_t>(static_cast<long double>(whole / sound_.blockBytes) * sound_.units() /
                                       sound_.samples());
    while (soundOffset(count_) < whole) ++count_;
    while (count_ > 0 && soundOffset(count_ - 1) >= whole) --count_;
}

/// Where an edit unit of sound begins, to the nearest sample: at 30000/1001 the sizes are 1602, 1601, 1602, 1601, 1602.
std::uint64_t ClipMap::soundOffset(std::int64_t unit) const {
    const std::uint64_t samples = sound_.samples(), units = sound_.units();
    const auto n = static_cast<std::uint64_t>(unit);
    return (n / units * samples + (n % units * samples + units / 2) / units) * sound_.blockBytes;
}

std::uint64_t ClipMap::startOf(std::int64_t unit) const {
    if (sound_.isKnown()) return std::min(soundOffset(unit), totalBytes_);
    const std::uint64_t offset = table_.offsetOf(unit).value_or(totalBytes_ + firstHeaderBytes_);
    return offset < firstHeaderBytes_ ? 0 : std::min(offset - firstHeaderBytes_, totalBytes_);
}

std::vector<FileRange> ClipMap::rangesOf(std::int64_t unit) const {
    std::vector<FileRange> ranges;
    if (unit < 0 || unit >= count_) return ranges;
    std::uint64_t start = startOf(unit);
    const std::uint64_t end = std::max(start, startOf(unit + 1));
    auto at = std::upper_bound(clipEnds_.begin(), clipEnds_.end(), start) - clipEnds_.begin();
    for (; start < end && at < static_cast<std::ptrdiff_t>(clips_.size()); ++at) {
        const auto i = static_cast<std::size_t>(at);
        const std::uint64_t clipStart = clipEnds_[i] - clips_[i].length;
        const std::uint64_t length = std::min(end, clipEnds_[i]) - start;
        ranges.push_back({clips_[i].position + (start - clipStart), length});
        start += length;
    }
    return ranges;
}

}  // namespace zenquor::mxf::detail
