#pragma once
// The asset writer's errors.

#include <filesystem>
#include <string>

#include "zenquor/core/ZQError.h"

namespace zenquor::platform::quicktime {

/// Why a file could not be made, from the errno.
ZQErrorPtr creationError(const std::filesystem::path& path, int number);
/// Why a file could not be written on, from the errno; tells a full disk from a broken one.
ZQErrorPtr writingError(const std::filesystem::path& path, int number);
/// Samples that do not fit their track.
ZQErrorPtr sampleError(const std::string& track, const std::string& problem);

}  // namespace zenquor::platform::quicktime
