#pragma once
// What the inspect command tells about an MXF file.

#include <filesystem>
#include <optional>

#include <nlohmann/json.hpp>

#include "zenquor/core/ZQError.h"

namespace zenquor::tools {

/// Everything that is known of the file, for programs.
/// @return nothing with an error when the file cannot be opened.
std::optional<nlohmann::ordered_json> inspectMXF(const std::filesystem::path& path, ZQErrorPtr* error);

/// The same facts for people.
void printMXF(const nlohmann::ordered_json& facts);

}  // namespace zenquor::tools
