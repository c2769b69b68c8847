#include "zenquor/core/ZQUserDefaults.h"

namespace zenquor {

ZQUserDefaults& ZQUserDefaults::standardUserDefaults() {
    static ZQUserDefaults defaults;
    return defaults;
}

std::int64_t ZQUserDefaults::integerForKey(std::string_view key) const {
    return values_.with([&](const auto& values) { return values[key].integerValue(); });
}
bool ZQUserDefaults::boolForKey(std::string_view key) const {
    return values_.with([&](const auto& values) { return values[key].boolValue(); });
}
std::string ZQUserDefaults::stringForKey(std::string_view key) const {
    return values_.with([&](const auto& values) { return values[key].stringValue(); });
}
void ZQUserDefaults::setValue(std::string key, ZQValue value) {
    values_.with([&](auto& values) { values.set(std::move(key), std::move(value)); });
}
void ZQUserDefaults::removeValue(std::string_view key) {
    values_.with([&](auto& values) { values.remove(key); });
}

}  // namespace zenquor
