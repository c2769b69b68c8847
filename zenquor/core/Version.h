#pragma once
// The library's version. CMake reads it from here.

#define ZENQUOR_VERSION_MAJOR 0
#define ZENQUOR_VERSION_MINOR 1
#define ZENQUOR_VERSION_PATCH 0

namespace zenquor {

/// The version of the library that a program runs with, which may differ from the header it was compiled
/// with.
const char* versionString();

}  // namespace zenquor
