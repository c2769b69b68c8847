#pragma once
// Header metadata in memory: sets of properties that refer to each other, read from and written to a partition.

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "zenquor/mxf/FileReport.h"
#include "zenquor/mxf/detail/DataModel.h"
#include "zenquor/mxf/detail/KLV.h"

namespace zenquor::mxf::detail {

/// One set. Setters replace; texts and lists are cut to what a property can hold (65,535 bytes). The type of a value
/// is checked against the data model by assertion, a value read from a file by its length. Getters give nothing for a
/// property that is absent or too short.
class MetadataSet {
public:
    MetadataSet(SetKind kind, const UUID& instance) : kind_(kind), instance_(instance) {}

    SetKind kind() const { return kind_; }
    const UUID& instance() const { return instance_; }
    /// For a reader, which comes upon the identifier among the properties.
    void setInstance(const UUID& instance) { instance_ = instance; }
    bool has(Property property) const { return values_.contains(property); }
    void remove(Property property) { values_.erase(property); }

    /// Integers of every width, booleans; cut to the property's width.
    MetadataSet& set(Property property, std::int64_t value);
    MetadataSet& set(Property property, Rational value);
    MetadataSet& set(Property property, const UL& value);
    MetadataSet& setUUID(Property property, const UUID& value);
    MetadataSet& set(Property property, const UMID& value);
    /// UTF-8, written as UTF-16BE and cut to what a set can hold.
    MetadataSet& setText(Property property, std::string_view value);
    /// A timestamp: milliseconds since 1970 UTC.
    MetadataSet& setTime(Property property, std::int64_t milliseconds);
    MetadataSet& setVersion(Property property, std::uint16_t major, std::uint16_t minor,
                            std::uint16_t patch = 0);
    MetadataSet& set(Property property, const MetadataSet& referred);
    MetadataSet& set(Property property, std::span<const MetadataSet* const> referred);
    MetadataSet& set(Property property, std::span<const UL> labels);
    MetadataSet& setIntegers(Property property, std::span<const std::int32_t> values);
    /// Raw bytes as they lie in the file; more than 65,535 cannot be a property and leave it absent.
    MetadataSet& setBytes(Property property, std::span<const std::uint8_t> value);

    std::optional<std::int64_t> integer(Property property) const;
    std::optional<Rational> rational(Property property) const;
    std::optional<UL> label(Property property) const;
    std::optional<UUID> uuid(Property property) const;
    std::optional<UMID> umid(Property property) const;
    std::optional<std::string> text(Property property) const;  // UTF-8
    std::optional<std::string> time(
        Property property) const;                           // "2026-11-21 10:15:00.000"; nothing when unknown
    std::vector<UUID> references(Property property) const;  // one or several
    std::vector<UL> labels(Property property) const;
    std::vector<std::int64_t> integers(Property property) const;
    std::span<const std::uint8_t> bytes(Property property) const;

    /// The values by property, as they lie in the file.
    const std::map<Property, std::vector<std::uint8_t>>& values() const { return values_; }

private:
    SetKind kind_;
    UUID instance_;
    std::map<Property, std::vector<std::uint8_t>> values_;
};

/// The sets of one copy of header metadata, the Preface first.
class HeaderMetadata {
public:
    /// A new set with an instance UID of its own; the reference stays good.
    MetadataSet& add(SetKind kind);
    /// The UIDs that the next sets added get, before new ones are made: what is described again keeps its identity.
    void reuseInstances(std::vector<UUID> instances);
    /// Takes @p set over; one with the same instance UID is replaced. Null UIDs are no identity.
    MetadataSet& adopt(MetadataSet set);
    /// In the order of adding or reading.
    const std::deque<MetadataSet>& sets() const { return sets_; }
    std::deque<MetadataSet>& sets() { return sets_; }
    const MetadataSet* find(const UUID& instance) const;
    MetadataSet* find(const UUID& instance);
    /// The first of its kind or a kind that extends it; null when there is none.
    const MetadataSet* first(SetKind kind) const;
    MetadataSet* first(SetKind kind);
    /// What a property refers to, dangling references left out.
    std::vector<const MetadataSet*> resolve(const MetadataSet& set, Property property) const;

    /// Primer and sets as they stand behind a partition pack, without fill. Dynamic tags count down from FFFF. Sets
    /// are written with 2-byte tags and lengths.
    void write(ByteSink& out) const;
    /// Reads primer and sets from @p bytes (the header metadata of a partition, fill anywhere). Tags are resolved
    /// through the primer; one that it forgets means what it is registered for. Sets and properties that are not
    /// known are passed over; what is broken is told.
    static HeaderMetadata read(std::span<const std::uint8_t> bytes, std::vector<std::string>& faults);

private:
    std::deque<MetadataSet> sets_;
    std::map<UUID, std::size_t> places_;
    std::deque<UUID> reused_;
};

}  // namespace zenquor::mxf::detail
