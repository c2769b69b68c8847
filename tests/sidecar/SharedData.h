#pragma once
// Caption files of other makers, which are not part of this tree: tests that need them run where they lie.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace zenquor::test {

/// The folder named by ZENQUOR_SHARED, or "shared" beside the source tree; its subfolder data holds the files.
inline std::filesystem::path sharedData(const std::string& name) {
    const char* const folder = std::getenv("ZENQUOR_SHARED");
    const auto tree = std::filesystem::path(__FILE__).parent_path().parent_path().parent_path();
    return (folder ? std::filesystem::path(folder) : tree.parent_path() / "shared") / "data" / name;
}

inline std::string readSharedData(const std::string& name) {
    std::ifstream file(sharedData(name), std::ios::binary);
    EXPECT_TRUE(file) << "no " << name;
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace zenquor::test

/// For the start of a test: passes over it where the files are absent.
#define ZENQUOR_NEEDS_SHARED_DATA()                                       \
    if (!std::filesystem::exists(zenquor::test::sharedData("INDEX.tsv"))) \
    GTEST_SKIP() << "no caption files of other makers here; set ZENQUOR_SHARED"
