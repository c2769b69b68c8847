// The values of a set's properties, between what programs count in and what lies in the file.

#include <algorithm>
#include <array>
#include <cassert>
#include <chrono>

#include <fmt/core.h>

#include "zenquor/core/ByteOrder.h"
#include "zenquor/core/Unicode.h"
#include "zenquor/mxf/detail/HeaderMetadata.h"

namespace zenquor::mxf::detail {
namespace {

/// A property's length has 16 bits.
constexpr std::size_t largestValue = 65535;
/// Arrays and batches begin with a count and the size of their items.
constexpr std::size_t arrayHeaderBytes = 8;

/// Bytes of one integer of the type, or of an array's item; 0 for what is none.
std::size_t integerBytes(PropertyType type) {
    switch (type) {
        case PropertyType::U8:
        case PropertyType::I8:
        case PropertyType::Bool:
            return 1;
        case PropertyType::U16:
        case PropertyType::I16:
        case PropertyType::U16Array:
            return 2;
        case PropertyType::U32:
        case PropertyType::I32:
        case PropertyType::U32Batch:
        case PropertyType::I32Array:
            return 4;
        case PropertyType::U64:
        case PropertyType::I64:
            return 8;
        default:
            return 0;
    }
}

bool isSigned(PropertyType type) {
    return type == PropertyType::I8 || type == PropertyType::I16 || type == PropertyType::I32 ||
           type == PropertyType::I64 || type == PropertyType::I32Array;
}

bool isArrayOfIntegers(PropertyType type) {
    return type == PropertyType::U16Array || type == PropertyType::U32Batch || type == PropertyType::I32Array;
}

bool isArrayOfReferences(PropertyType type) {
    return type == PropertyType::StrongReferenceArray;
}

bool isOneReference(PropertyType type) {
    return type == PropertyType::StrongReference || type == PropertyType::WeakReference;
}

PropertyType typeOf(Property property) {
    return rowOf(property).type;
}

void putInteger(ByteSink& out, std::int64_t value, std::size_t bytes) {
    for (std::size_t i = bytes; i-- > 0;) out.put8(static_cast<std::uint8_t>(value >> (8 * i)));
}

std::int64_t integerAt(std::span<const std::uint8_t> bytes, bool hasSign) {
    std::uint64_t value = hasSign && (bytes[0] & 0x80) != 0 ? ~std::uint64_t{0} : 0;
    for (const std::uint8_t byte : bytes) value = value << 8 | byte;
    return static_cast<std::int64_t>(value);
}

/// The items of an array or a batch, so far as they are there and hold @p itemBytes at least.
std::vector<std::span<const std::uint8_t>> itemsOf(std::span<const std::uint8_t> value,
                                                   std::size_t itemBytes) {
    ByteSource in(value);
    const std::size_t count = in.get32();
    const std::size_t stride = in.get32();
    std::vector<std::span<const std::uint8_t>> items;
    if (stride < itemBytes || itemBytes == 0) return items;
    for (std::size_t i = 0; i < count && in.left() >= stride; ++i)
        items.push_back(in.get(stride).first(itemBytes));
    return items;
}

/// An array of @p count items, or of as many as a property can hold.
template <typename PutItem>
std::vector<std::uint8_t> arrayOf(std::size_t count, std::size_t itemBytes, PutItem putItem) {
    count = std::min(count, (largestValue - arrayHeaderBytes) / itemBytes);
    ByteSink out;
    out.put32(static_cast<std::uint32_t>(count));
    out.put32(static_cast<std::uint32_t>(itemBytes));
    for (std::size_t i = 0; i < count; ++i) putItem(out, i);
    return std::move(out.bytes());
}

template <std::size_t size>
std::optional<std::array<std::uint8_t, size>> arrayFrom(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < size) return std::nullopt;
    std::array<std::uint8_t, size> array;
    std::copy_n(bytes.begin(), size, array.begin());
    return array;
}

}  // namespace

MetadataSet& MetadataSet::set(Property property, std::int64_t value) {
    const std::size_t bytes = integerBytes(typeOf(property));
    assert(bytes != 0 && !isArrayOfIntegers(typeOf(property)));
    ByteSink out;
    putInteger(out, value, bytes);
    return setBytes(property, out.bytes());
}

MetadataSet& MetadataSet::set(Property property, Rational value) {
    assert(typeOf(property) == PropertyType::Ratio);
    ByteSink out;
    out.put32(static_cast<std::uint32_t>(value.numerator));
    out.put32(static_cast<std::uint32_t>(value.denominator));
    return setBytes(property, out.bytes());
}

MetadataSet& MetadataSet::set(Property property, const UL& value) {
    assert(typeOf(property) == PropertyType::Label);
    return setBytes(property, value.bytes);
}

MetadataSet& MetadataSet::setUUID(Property property, const UUID& value) {
    assert(typeOf(property) == PropertyType::Identifier || isOneReference(typeOf(property)));
    return setBytes(property, value);
}

MetadataSet& MetadataSet::set(Property property, const UMID& value) {
    assert(typeOf(property) == PropertyType::PackageIdentifier);
    return setBytes(property, value);
}

MetadataSet& MetadataSet::setText(Property property, std::string_view value) {
    assert(typeOf(property) == PropertyType::String);
    std::u16string units = utf16FromUTF8(value);
    constexpr std::size_t largestCount = largestValue / 2;
    if (units.size() > largestCount) {
        units.resize(largestCount);
        if ((units.back() & 0xFC00) == 0xD800) units.pop_back();
    }
    ByteSink out;
    for (const char16_t unit : units) out.put16(unit);
    return setBytes(property, out.bytes());
}

MetadataSet& MetadataSet::setTime(Property property, std::int64_t milliseconds) {
    assert(typeOf(property) == PropertyType::Timestamp);
    using namespace std::chrono;
    const sys_time<std::chrono::milliseconds> moment{std::chrono::milliseconds(milliseconds)};
    const auto day = floor<days>(moment);
    const year_month_day date{day};
    const hh_mm_ss time{moment - day};
    ByteSink out;
    out.put16(static_cast<std::uint16_t>(static_cast<int>(date.year())));
    out.put8(static_cast<std::uint8_t>(static_cast<unsigned>(date.month())));
    out.put8(static_cast<std::uint8_t>(static_cast<unsigned>(date.day())));
    out.put8(static_cast<std::uint8_t>(time.hours().count()));
    out.put8(static_cast<std::uint8_t>(time.minutes().count()));
    out.put8(static_cast<std::uint8_t>(time.seconds().count()));
    out.put8(static_cast<std::uint8_t>(time.subseconds().count() / 4));
    return setBytes(property, out.bytes());
}

MetadataSet& MetadataSet::setVersion(Property property, std::uint16_t major, std::uint16_t minor,
                                     std::uint16_t patch) {
    assert(typeOf(property) == PropertyType::ProductVersion);
    constexpr std::uint16_t build = 0, released = 1;
    ByteSink out;
    for (const std::uint16_t part : {major, minor, patch, build, released}) out.put16(part);
    return setBytes(property, out.bytes());
}

MetadataSet& MetadataSet::set(Property property, const MetadataSet& referred) {
    assert(isOneReference(typeOf(property)));
    return setBytes(property, referred.instance());
}

MetadataSet& MetadataSet::set(Property property, std::span<const MetadataSet* const> referred) {
    assert(isArrayOfReferences(typeOf(property)));
    return setBytes(property, arrayOf(referred.size(), 16, [&](ByteSink& out, std::size_t i) {
                        out.put(referred[i]->instance());
                    }));
}

MetadataSet& MetadataSet::set(Property property, std::span<const UL> labels) {
    assert(typeOf(property) == PropertyType::LabelBatch);
    return setBytes(property,
                    arrayOf(labels.size(), 16, [&](ByteSink& out, std::size_t i) { out.putUL(labels[i]); }));
}

MetadataSet& MetadataSet::setIntegers(Property property, std::span<const std::int32_t> values) {
    assert(isArrayOfIntegers(typeOf(property)));
    const std::size_t itemBytes = integerBytes(typeOf(property));
    return setBytes(property, arrayOf(values.size(), itemBytes, [&](ByteSink& out, std::size_t i) {
                        putInteger(out, values[i], itemBytes);
                    }));
}

MetadataSet& MetadataSet::setBytes(Property property, std::span<const std::uint8_t> value) {
    if (value.size() <= largestValue)
        values_[property].assign(value.begin(), value.end());
    else
        values_.erase(property);
    return *this;
}

std::span<const std::uint8_t> MetadataSet::bytes(Property property) const {
    const auto at = values_.find(property);
    return at == values_.end() ? std::span<const std::uint8_t>{} : at->second;
}

std::optional<std::int64_t> MetadataSet::integer(Property property) const {
    const PropertyType type = typeOf(property);
    const std::size_t count = isArrayOfIntegers(type) ? 0 : integerBytes(type);
    const auto value = bytes(property);
    if (count == 0 || value.size() < count) return std::nullopt;
    return integerAt(value.first(count), isSigned(type));
}

std::optional<Rational> MetadataSet::rational(Property property) const {
    const auto value = bytes(property);
    if (value.size() < 8) return std::nullopt;
    return Rational{static_cast<std::int32_t>(readBE32(value.data())),
                    static_cast<std::int32_t>(readBE32(value.data() + 4))};
}

std::optional<UL> MetadataSet::label(Property property) const {
    const auto value = bytes(property);
    if (value.size() < 16) return std::nullopt;
    return UL::read(value.data());
}

std::optional<UUID> MetadataSet::uuid(Property property) const {
    if (property == Property::InstanceUID) return instance_;
    return arrayFrom<16>(bytes(property));
}

std::optional<UMID> MetadataSet::umid(Property property) const {
    return arrayFrom<32>(bytes(property));
}

std::optional<std::string> MetadataSet::text(Property property) const {
    if (!has(property)) return std::nullopt;
    ByteSource in(bytes(property));
    std::u16string units;
    while (in.left() >= 2) {
        const char16_t unit = in.get16();
        if (unit == 0) break;
        units.push_back(unit);
    }
    return utf8FromUTF16(units);
}

std::optional<std::string> MetadataSet::time(Property property) const {
    const auto value = bytes(property);
    if (value.size() < 8 ||
        std::all_of(value.begin(), value.begin() + 8, [](std::uint8_t b) { return b == 0; }))
        return std::nullopt;
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}.{:03}", readBE16(value.data()), value[2],
                       value[3], value[4], value[5], value[6], value[7] * 4);
}

std::vector<UUID> MetadataSet::references(Property property) const {
    std::vector<UUID> found;
    if (isOneReference(typeOf(property))) {
        if (const auto one = uuid(property)) found.push_back(*one);
    }
    if (!isArrayOfReferences(typeOf(property))) return found;
    for (const auto item : itemsOf(bytes(property), 16)) found.push_back(UL::read(item.data()).bytes);
    return found;
}

std::vector<UL> MetadataSet::labels(Property property) const {
    std::vector<UL> found;
    for (const auto item : itemsOf(bytes(property), 16)) found.push_back(UL::read(item.data()));
    return found;
}

std::vector<std::int64_t> MetadataSet::integers(Property property) const {
    const PropertyType type = typeOf(property);
    std::vector<std::int64_t> found;
    if (!isArrayOfIntegers(type)) return found;
    for (const auto item : itemsOf(bytes(property), integerBytes(type)))
        found.push_back(integerAt(item, isSigned(type)));
    return found;
}

}  // namespace zenquor::mxf::detail
