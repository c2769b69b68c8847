#include "FactLine.h"

#include <algorithm>

#include <fmt/format.h>

namespace zenquor::tools {

std::string factLine(const nlohmann::ordered_json& object, std::initializer_list<std::string_view> without) {
    std::string line;
    for (const auto& [key, value] : object.items()) {
        if (value.is_null() || std::ranges::find(without, std::string_view(key)) != without.end()) continue;
        const bool text = value.is_string();
        line += fmt::format("  {} {}", key, text ? value.get<std::string>() : value.dump());
    }
    return line;
}

}  // namespace zenquor::tools
