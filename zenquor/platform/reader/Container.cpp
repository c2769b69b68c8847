#include "zenquor/platform/reader/Container.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

extern "C" {
#include <libavformat/avformat.h>
}

#include <fmt/format.h>

#include "zenquor/platform/Asset.h"
#include "zenquor/platform/detail/LibavLog.h"

namespace zenquor::platform::detail {
namespace {

constexpr int bufferSize = 1 << 18;
// Enough for any broadcast file; every stream costs memory before its first sample.
constexpr int largestStreamCount = 256;

std::string libavErrorText(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return text;
}

std::unique_ptr<Container> failOpen(ZQErrorPtr* error, const std::filesystem::path& url,
                                    const std::string& reason) {
    fail(error, ZQError::errorWithDomain(assetErrorDomain, assetErrorCannotOpen,
                                         fmt::format("\"{}\" cannot be opened: {}", url.string(), reason)));
    return nullptr;
}

}  // namespace

std::unique_ptr<Container> Container::open(const std::filesystem::path& url, std::uint64_t limit,
                                           ZQErrorPtr* error) {
    routeLibavLogging();
    std::unique_ptr<Container> container(new Container);
    container->file_ = FileView::open(url);
    if (!container->file_) return failOpen(error, url, std::strerror(errno));
    if (limit > 0) container->file_->limitTo(limit);
    if (auto tables = MovieTables::read(*container->file_)) {
        container->file_->limitTo(tables->readableSize);
        container->tables_ = std::make_shared<const MovieTables>(std::move(*tables));
    }
    if (const int status = container->openStreams(url); status < 0) {
        return failOpen(error, url, libavErrorText(status));
    }
    if (container->context_->nb_streams == 0) return failOpen(error, url, "it has no tracks");
    return container;
}

int Container::openStreams(const std::filesystem::path& url) {
    auto* const buffer = static_cast<unsigned char*>(av_malloc(bufferSize));
    io_ = buffer ? avio_alloc_context(buffer, bufferSize, 0, this, readCallback, nullptr, seekCallback)
                 : nullptr;
    context_ = io_ ? avformat_alloc_context() : nullptr;
    if (!context_) {
        if (!io_) av_free(buffer);
        return AVERROR(ENOMEM);
    }
    context_->pb = io_;
    context_->max_streams = largestStreamCount;
    // A play list that names other files or addresses is no recording: nothing but the file itself is read.
    context_->io_open = [](AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
        return AVERROR(EPERM);
    };
    av_opt_set(context_, "protocol_whitelist", "none", 0);
    if (const int status = avformat_open_input(&context_, url.c_str(), nullptr, nullptr); status < 0)
        return status;
    return avformat_find_stream_info(context_, nullptr);
}

Container::~Container() {
    avformat_close_input(&context_);
    if (io_) av_freep(&io_->buffer);
    avio_context_free(&io_);
}

bool Container::isMXF() const {
    return std::strcmp(context_->iformat->name, "mxf") == 0;
}

std::int64_t Container::origin(const AVStream& stream) const {
    if (!(context_->iformat->flags & AVFMT_TS_DISCONT)) return 0;
    const AVStream* first = nullptr;
    for (unsigned i = 0; i < context_->nb_streams; ++i) {
        const AVStream* const each = context_->streams[i];
        if (each->start_time == AV_NOPTS_VALUE) continue;
        if (!first ||
            av_compare_ts(each->start_time, each->time_base, first->start_time, first->time_base) < 0) {
            first = each;
        }
    }
    return first ? av_rescale_q(first->start_time, first->time_base, stream.time_base) : 0;
}

int Container::readCallback(void* self, std::uint8_t* bytes, int size) {
    auto& container = *static_cast<Container*>(self);
    if (size <= 0 || container.position_ < 0) return AVERROR(EINVAL);
    const auto count = container.file_->read(static_cast<std::uint64_t>(container.position_),
                                             {bytes, static_cast<std::size_t>(size)});
    container.position_ += static_cast<std::int64_t>(count);
    return count > 0 ? static_cast<int>(count) : AVERROR_EOF;
}

std::int64_t Container::seekCallback(void* self, std::int64_t offset, int whence) {
    auto& container = *static_cast<Container*>(self);
    const auto size = static_cast<std::int64_t>(container.file_->size());
    switch (whence & ~AVSEEK_FORCE) {
        case AVSEEK_SIZE:
            return size;
        case SEEK_SET:
            break;
        case SEEK_CUR:
            offset += container.position_;
            break;
        case SEEK_END:
            offset += size;
            break;
        default:
            return AVERROR(EINVAL);
    }
    if (offset < 0) return AVERROR(EINVAL);
    return container.position_ = offset;
}

}  // namespace zenquor::platform::detail
