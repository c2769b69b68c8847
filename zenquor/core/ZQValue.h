#pragma once
// Property values and the dictionaries that carry them: options, preferences, diagnostics, metadata.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "zenquor/core/ZQData.h"
#include "zenquor/core/ZQObject.h"

namespace zenquor {

/// One property value. Reading it as another kind gives 0, false, an empty text or no object, never an error.
class ZQValue {
public:
    ZQValue() = default;
    ZQValue(bool v) : value_(v) {}
    ZQValue(int v) : value_(static_cast<std::int64_t>(v)) {}
    ZQValue(unsigned v) : value_(static_cast<std::int64_t>(v)) {}
    ZQValue(long v) : value_(static_cast<std::int64_t>(v)) {}
    ZQValue(unsigned long v) : value_(static_cast<std::int64_t>(v)) {}
    ZQValue(long long v) : value_(static_cast<std::int64_t>(v)) {}
    ZQValue(unsigned long long v) : value_(static_cast<std::int64_t>(v)) {}
    ZQValue(float v) : value_(static_cast<double>(v)) {}
    ZQValue(double v) : value_(v) {}
    ZQValue(const char* v) : value_(std::string(v)) {}
    ZQValue(std::string v) : value_(std::move(v)) {}
    ZQValue(std::string_view v) : value_(std::string(v)) {}
    template <typename T, typename = std::enable_if_t<std::is_base_of_v<ZQObject, T>>>
    ZQValue(std::shared_ptr<T> v) : value_(ZQObjectPtr(std::move(v))) {}

    bool isNull() const { return std::holds_alternative<std::monostate>(value_); }
    bool isText() const { return std::holds_alternative<std::string>(value_); }
    /// Whole numbers and booleans as they are, fractions truncated, anything else 0.
    std::int64_t integerValue() const;
    double doubleValue() const;
    bool boolValue() const;
    /// The text, or empty.
    const std::string& stringValue() const;
    template <typename T = ZQObject>
    std::shared_ptr<T> objectValue() const {
        const auto* object = std::get_if<ZQObjectPtr>(&value_);
        return object ? std::dynamic_pointer_cast<T>(*object) : nullptr;
    }
    /// The value as text for logs, "(null)" for none.
    std::string description() const;

    friend bool operator==(const ZQValue&, const ZQValue&) = default;

private:
    std::variant<std::monostate, bool, std::int64_t, double, std::string, ZQObjectPtr> value_;
};

/// Values by key. An absent key reads as 0, false, an empty text or no object.
class ZQDictionary {
public:
    using Storage = std::map<std::string, ZQValue, std::less<>>;

    ZQDictionary() = default;
    ZQDictionary(std::initializer_list<Storage::value_type> entries) : values_(entries) {}

    /// The value under @p key, or a null value.
    const ZQValue& operator[](std::string_view key) const;
    bool contains(std::string_view key) const { return values_.find(key) != values_.end(); }
    void set(std::string key, ZQValue value) { values_.insert_or_assign(std::move(key), std::move(value)); }
    void remove(std::string_view key);
    bool empty() const { return values_.empty(); }
    std::size_t size() const { return values_.size(); }
    Storage::const_iterator begin() const { return values_.begin(); }
    Storage::const_iterator end() const { return values_.end(); }
    /// "{key = value; …}" in key order.
    std::string description() const;

    friend bool operator==(const ZQDictionary&, const ZQDictionary&) = default;

private:
    Storage values_;
};

using ZQDictionaryList = std::vector<ZQDictionary>;

}  // namespace zenquor
