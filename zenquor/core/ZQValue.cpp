#include "zenquor/core/ZQValue.h"

#include <cmath>
#include <limits>

#include <fmt/format.h>

namespace zenquor {
namespace {

template <class... F>
struct Overloaded : F... {
    using F::operator()...;
};
template <class... F>
Overloaded(F...) -> Overloaded<F...>;

std::int64_t truncated(double v) {
    constexpr double limit = 9223372036854775807.0;
    if (std::isnan(v)) return 0;
    if (v >= limit) return std::numeric_limits<std::int64_t>::max();
    if (v <= -limit) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(v);
}

}  // namespace

std::int64_t ZQValue::integerValue() const {
    return std::visit(
        Overloaded{[](bool v) -> std::int64_t { return v; }, [](std::int64_t v) { return v; },
                   [](double v) { return truncated(v); }, [](const auto&) -> std::int64_t { return 0; }},
        value_);
}

double ZQValue::doubleValue() const {
    return std::visit(Overloaded{[](bool v) { return v ? 1.0 : 0.0; },
                                 [](std::int64_t v) { return static_cast<double>(v); },
                                 [](double v) { return v; }, [](const auto&) { return 0.0; }},
                      value_);
}

bool ZQValue::boolValue() const {
    return std::visit(Overloaded{[](bool v) { return v; }, [](std::int64_t v) { return v != 0; },
                                 [](double v) { return v != 0; }, [](const auto&) { return false; }},
                      value_);
}

const std::string& ZQValue::stringValue() const {
    static const std::string empty;
    const auto* text = std::get_if<std::string>(&value_);
    return text ? *text : empty;
}

std::string ZQValue::description() const {
    return std::visit(
        Overloaded{[](std::monostate) -> std::string { return "(null)"; },
                   [](bool v) -> std::string { return v ? "1" : "0"; },
                   [](std::int64_t v) { return std::to_string(v); },
                   [](double v) { return fmt::format("{}", v); }, [](const std::string& v) { return v; },
                   [](const ZQObjectPtr& v) { return describe(v.get()); }},
        value_);
}

const ZQValue& ZQDictionary::operator[](std::string_view key) const {
    static const ZQValue null;
    const auto found = values_.find(key);
    return found == values_.end() ? null : found->second;
}

void ZQDictionary::remove(std::string_view key) {
    if (const auto found = values_.find(key); found != values_.end()) values_.erase(found);
}

std::string ZQDictionary::description() const {
    std::string text = "{";
    for (const auto& [key, value] : values_) text += fmt::format("{} = {}; ", key, value.description());
    if (!values_.empty()) text.pop_back();
    return text + "}";
}

}  // namespace zenquor
