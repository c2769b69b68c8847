#pragma once
// Makes the system's write, read and lseek misbehave for one file, underneath the code that calls them.
//
// The linker sends this binary's calls of the three to FileFaults.cpp (--wrap), which asks the plan first.

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace zenquor::test {

/// The plan for one file, found by its path, while it lives. Each hook sees a call before the system does; what it
/// returns is the call's result, nothing lets the call through. A hook sets errno itself.
///
/// Thread-safety: calls come from any thread, one after the other.
class FileFaults {
public:
    using WriteHook = std::function<std::optional<ssize_t>(int fd, const void* bytes, std::size_t count)>;
    using ReadHook = std::function<std::optional<ssize_t>(int fd, void* bytes, std::size_t count)>;
    using SeekHook = std::function<std::optional<off_t>(int fd, off_t offset, int whence)>;
    /// A write as it was asked for.
    struct Write {
        off_t offset;
        std::size_t count;
        friend bool operator==(const Write&, const Write&) = default;
    };

    explicit FileFaults(std::string path);
    ~FileFaults();

    WriteHook onWrite;
    ReadHook onRead;
    SeekHook onSeek;
    std::vector<Write> writes() const;
    /// Seeks to an absolute offset.
    int seeks() const;

    // The real ones, for hooks that do part of the work.
    static ssize_t write(int fd, const void* bytes, std::size_t count);
    static ssize_t read(int fd, void* bytes, std::size_t count);
    static off_t seek(int fd, off_t offset, int whence);

    // Called by the wrappers.
    bool concerns(int fd) const;
    ssize_t wrapWrite(int fd, const void* bytes, std::size_t count);
    ssize_t wrapRead(int fd, void* bytes, std::size_t count);
    off_t wrapSeek(int fd, off_t offset, int whence);

private:
    const std::string path_;
    mutable std::mutex mutex_;
    std::vector<Write> writes_;
    int seeks_ = 0;
};

}  // namespace zenquor::test
