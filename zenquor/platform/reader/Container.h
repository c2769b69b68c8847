#pragma once
// A media file opened by libavformat.

#include <cstdint>
#include <filesystem>
#include <memory>

#include "zenquor/core/ZQError.h"
#include "zenquor/platform/detail/Libav.h"
#include "zenquor/platform/reader/FileView.h"
#include "zenquor/platform/reader/MovieTables.h"

struct AVFormatContext;
struct AVIOContext;
struct AVStream;

namespace zenquor::platform::detail {

/// A file with its streams probed, read no further than its view reaches.
///
/// Thread-safety: One thread at a time.
class Container {
public:
    /// Opens the file as it is now, or its first @p limit bytes when @p limit is not 0.
    /// @return null with an error (assetErrorCannotOpen).
    static std::unique_ptr<Container> open(const std::filesystem::path& url, std::uint64_t limit,
                                           ZQErrorPtr* error);
    ~Container();
    Container(const Container&) = delete;
    Container& operator=(const Container&) = delete;

    AVFormatContext& context() { return *context_; }
    const FileViewPtr& file() const { return file_; }
    /// The movie's own tables; null for other containers.
    const std::shared_ptr<const MovieTables>& tables() const { return tables_; }
    bool isMXF() const;
    /// libav's time, in the stream's scale, of the programme's time 0: that of the first sample in containers
    /// whose clocks start anywhere.
    std::int64_t origin(const AVStream& stream) const;

private:
    Container() = default;
    int openStreams(const std::filesystem::path& url);

    FileViewPtr file_;
    std::shared_ptr<const MovieTables> tables_;
    std::int64_t position_ = 0;
    AVIOContext* io_ = nullptr;
    AVFormatContext* context_ = nullptr;

    static int readCallback(void* self, std::uint8_t* bytes, int size);
    static std::int64_t seekCallback(void* self, std::int64_t offset, int whence);
};

}  // namespace zenquor::platform::detail
