#include "zenquor/mxf/detail/HeaderMetadata.h"

#include <algorithm>
#include <set>
#include <utility>

#include <fmt/core.h>

#include "zenquor/core/UUIDSource.h"
#include "zenquor/mxf/detail/LocalSet.h"

namespace zenquor::mxf::detail {
namespace {

constexpr UL primerKey = ul(0x060E2B34, 0x02050101, 0x0D010201, 0x01050100);
constexpr std::size_t largestFaultCount = 50;

using TagsOfProperties = std::map<Property, std::uint16_t>;

/// Tags that the sets use; properties without a registered one get theirs from FFFF down.
TagsOfProperties tagsFor(const std::deque<MetadataSet>& sets) {
    std::set<Property> used{Property::InstanceUID};
    for (const MetadataSet& set : sets) {
        for (const auto& [property, value] : set.values()) used.insert(property);
    }
    TagsOfProperties tags;
    std::uint16_t dynamic = 0xFFFF;
    for (const Property property : used)
        tags[property] = rowOf(property).tag != 0 ? rowOf(property).tag : dynamic--;
    return tags;
}

void writePrimer(ByteSink& out, const TagsOfProperties& tags) {
    ByteSink value;
    value.put32(static_cast<std::uint32_t>(tags.size()));
    value.put32(18);
    for (const auto& [property, tag] : tags) {
        value.put16(tag);
        value.putUL(rowOf(property).label);
    }
    out.putKLV(primerKey, value.bytes());
}

void putProperty(ByteSink& out, std::uint16_t tag, std::span<const std::uint8_t> value) {
    out.put16(tag);
    out.put16(static_cast<std::uint16_t>(value.size()));
    out.put(value);
}

void writeSet(ByteSink& out, const MetadataSet& set, const TagsOfProperties& tags) {
    ByteSink value;
    putProperty(value, tags.at(Property::InstanceUID), set.instance());
    for (const auto& [property, bytes] : set.values()) putProperty(value, tags.at(property), bytes);
    out.putKLV(rowOf(set.kind()).key, value.bytes());
}

/// Reads one copy of header metadata; faults of one kind are told once.
class Reader {
public:
    explicit Reader(std::vector<std::string>& faults) : faults_(faults) {}

    void run(std::span<const std::uint8_t> bytes);
    /// In the order of the file.
    std::deque<MetadataSet> takeSets() { return std::move(sets_); }

private:
    void readPrimer(std::span<const std::uint8_t> value);
    void readSet(const KLVHeader& item, std::span<const std::uint8_t> value);
    const PropertyRow* rowForTag(std::uint16_t tag);
    void tell(std::string text);

    std::vector<std::string>& faults_;
    bool hasPrimer_ = false;
    std::map<std::uint16_t, const PropertyRow*> rows_;  // null: listed, but not known here
    std::deque<MetadataSet> sets_;
};

void Reader::tell(std::string text) {
    if (faults_.size() < largestFaultCount &&
        std::find(faults_.begin(), faults_.end(), text) == faults_.end())
        faults_.push_back(std::move(text));
}

void Reader::readPrimer(std::span<const std::uint8_t> value) {
    ByteSource in(value);
    const std::size_t count = in.get32();
    const std::size_t itemBytes = in.get32();
    if (count != 0 && itemBytes != 18) {
        tell("The header metadata's table of tags has entries of an unknown size.");
        return;
    }
    if (count > in.left() / 18) tell("The header metadata's table of tags is cut off.");
    hasPrimer_ = true;
    rows_.clear();
    for (std::size_t i = 0; i < count && in.left() >= 18; ++i) {
        const std::uint16_t tag = in.get16();
        rows_[tag] = propertyWithLabel(in.getUL());
    }
}

/// The primer decides. A registered tag that it forgets still means what it is registered for.
const PropertyRow* Reader::rowForTag(std::uint16_t tag) {
    const auto listed = rows_.find(tag);
    if (listed != rows_.end()) return listed->second;
    tell(
        fmt::format("The header metadata use the tag {:04X}, which their table of tags does not list.", tag));
    static const auto registered = [] {
        std::map<std::uint16_t, const PropertyRow*> rows;
        for (const PropertyRow& row : propertyRows()) {
            if (row.tag != 0) rows.emplace(row.tag, &row);
        }
        return rows;
    }();
    const auto known = registered.find(tag);
    return rows_[tag] = known == registered.end() ? nullptr : known->second;
}

void Reader::readSet(const KLVHeader& item, std::span<const std::uint8_t> value) {
    const SetKind kind = setWithKey(item.key);
    if (kind == SetKind::Unknown) return;
    if (!LocalSetReader::canRead(item.key[5])) {
        tell(
            fmt::format("A set {} has tags of a size that header metadata must not have.", rowOf(kind).name));
        return;
    }
    LocalSetReader in(value, item.key[5]);
    MetadataSet& set = sets_.emplace_back(kind, UUID{});
    while (const auto property = in.next()) {
        const PropertyRow* row = rowForTag(property->tag);
        if (!row) continue;
        if (row->property != Property::InstanceUID) {
            set.setBytes(row->property, property->value);
        } else if (property->value.size() >= 16) {
            set.setInstance(UL::read(property->value.data()).bytes);
        }
    }
    if (in.isBroken()) tell(fmt::format("A property runs past the end of its set {}.", rowOf(kind).name));
    if (set.instance() == UUID{})
        tell(fmt::format("A set {} has no identifier; nothing can refer to it.", rowOf(kind).name));
}

void Reader::run(std::span<const std::uint8_t> bytes) {
    std::size_t position = 0;
    while (position < bytes.size()) {
        const auto rest = bytes.subspan(position);
        const auto item = KLVHeader::read(rest);
        if (!item) {
            tell("The header metadata hold bytes that are no item.");
            return;
        }
        if (item->length > rest.size() - item->headerBytes) {
            tell("The header metadata are cut off.");
            return;
        }
        const auto value = rest.subspan(item->headerBytes, static_cast<std::size_t>(item->length));
        if (item->key == primerKey) {
            readPrimer(value);
        } else if (!item->isFill()) {
            if (!hasPrimer_) tell("The header metadata have no table of tags in front of their sets.");
            readSet(*item, value);
        }
        position += static_cast<std::size_t>(item->totalBytes());
    }
}

}  // namespace

MetadataSet& HeaderMetadata::add(SetKind kind) {
    if (reused_.empty()) return adopt(MetadataSet(kind, UUIDSource::next()));
    const UUID instance = reused_.front();
    reused_.pop_front();
    return adopt(MetadataSet(kind, instance));
}

void HeaderMetadata::reuseInstances(std::vector<UUID> instances) {
    reused_.assign(instances.begin(), instances.end());
}

MetadataSet& HeaderMetadata::adopt(MetadataSet set) {
    if (set.instance() == UUID{}) return sets_.emplace_back(std::move(set));
    const auto [place, isNew] = places_.try_emplace(set.instance(), sets_.size());
    if (isNew) return sets_.emplace_back(std::move(set));
    return sets_[place->second] = std::move(set);
}

const MetadataSet* HeaderMetadata::find(const UUID& instance) const {
    const auto place = places_.find(instance);
    return place == places_.end() ? nullptr : &sets_[place->second];
}

MetadataSet* HeaderMetadata::find(const UUID& instance) {
    return const_cast<MetadataSet*>(std::as_const(*this).find(instance));
}

const MetadataSet* HeaderMetadata::first(SetKind kind) const {
    const auto at = std::find_if(sets_.begin(), sets_.end(),
                                 [&](const MetadataSet& set) { return isKindOf(set.kind(), kind); });
    return at == sets_.end() ? nullptr : &*at;
}

MetadataSet* HeaderMetadata::first(SetKind kind) {
    return const_cast<MetadataSet*>(std::as_const(*this).first(kind));
}

std::vector<const MetadataSet*> HeaderMetadata::resolve(const MetadataSet& set, Property property) const {
    std::vector<const MetadataSet*> found;
    for (const UUID& instance : set.references(property)) {
        if (const MetadataSet* referred = find(instance)) found.push_back(referred);
    }
    return found;
}

void HeaderMetadata::write(ByteSink& out) const {
    const TagsOfProperties tags = tagsFor(sets_);
    writePrimer(out, tags);
    const MetadataSet* preface = first(SetKind::Preface);
    if (preface) writeSet(out, *preface, tags);
    for (const MetadataSet& set : sets_) {
        if (&set != preface) writeSet(out, set, tags);
    }
}

HeaderMetadata HeaderMetadata::read(std::span<const std::uint8_t> bytes, std::vector<std::string>& faults) {
    Reader reader(faults);
    reader.run(bytes);
    HeaderMetadata metadata;
    for (MetadataSet& set : reader.takeSets()) metadata.adopt(std::move(set));
    return metadata;
}

}  // namespace zenquor::mxf::detail
