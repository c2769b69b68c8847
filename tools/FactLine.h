#pragma once
// Facts of a report on one line.

#include <initializer_list>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace zenquor::tools {

/// "key value" pairs of an object; the report for people shows the same facts as that for programs.
/// @param without  keys that are told elsewhere.
std::string factLine(const nlohmann::ordered_json& object, std::initializer_list<std::string_view> without);

}  // namespace zenquor::tools
