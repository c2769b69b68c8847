#include "zenquor/platform/reader/FileView.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace zenquor::platform::detail {

FileViewPtr FileView::open(const std::filesystem::path& url) {
    const int descriptor = ::open(url.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) return nullptr;
    struct stat status {};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        const int reason = S_ISDIR(status.st_mode) ? EISDIR : errno ? errno : EINVAL;
        ::close(descriptor);
        errno = reason;
        return nullptr;
    }
    return FileViewPtr(new FileView(descriptor, static_cast<std::uint64_t>(status.st_size)));
}

FileViewPtr FileView::wrapping(ZQData bytes) {
    FileViewPtr view(new FileView(-1, bytes.size()));
    view->memory_ = std::move(bytes);
    return view;
}

FileView::~FileView() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

void FileView::limitTo(std::uint64_t size) {
    size_ = std::min(size_, size);
}

std::size_t FileView::read(std::uint64_t offset, std::span<std::uint8_t> bytes) const {
    if (offset >= size_) return 0;
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), size_ - offset));
    if (descriptor_ < 0) {
        std::memcpy(bytes.data(), memory_.data() + offset, wanted);
        return wanted;
    }
    std::size_t done = 0;
    while (done < wanted) {
        const auto count =
            ::pread(descriptor_, bytes.data() + done, wanted - done, static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR) continue;
        int none = 0;
        if (count < 0) failure_.compare_exchange_strong(none, errno, std::memory_order_relaxed);
        if (count <= 0) break;
        done += static_cast<std::size_t>(count);
    }
    return done;
}

ZQData FileView::data(std::uint64_t offset, std::size_t size) const {
    if (offset > size_ || size > size_ - offset) return {};
    std::size_t done = 0;
    auto bytes = ZQData::filling(size, [&](std::span<std::uint8_t> to) { done = read(offset, to); });
    return done == size ? bytes : ZQData();
}

}  // namespace zenquor::platform::detail
