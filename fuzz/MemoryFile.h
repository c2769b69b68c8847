#pragma once
// A file that lives in memory, for readers and writers that want a path.

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <span>
#include <string>

#include "Check.h"

/// Open, and under its path, until it goes.
class MemoryFile {
public:
    explicit MemoryFile(std::span<const std::uint8_t> content = {})
        : descriptor_(memfd_create("fuzz", MFD_CLOEXEC)) {
        FUZZ_CHECK(write(descriptor_, content.data(), content.size()) ==
                   static_cast<ssize_t>(content.size()));
    }
    ~MemoryFile() { close(descriptor_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

private:
    int descriptor_;
};
