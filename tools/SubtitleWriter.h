#pragma once
// Writes what a viewer saw as a SubRip file.

#include <filesystem>

#include "zenquor/core/ZQError.h"
#include "zenquor/sidecar/ZQRScreenBlock.h"

namespace zenquor::tools {

/// Numbers the blocks from 1 and writes them, colours other than white as font tags.
/// @return false with an error when the file cannot be written whole.
bool writeSubRip(const std::filesystem::path& path, const ZQRScreenBlockList& blocks, ZQErrorPtr* error);

}  // namespace zenquor::tools
