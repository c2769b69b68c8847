#include "zenquor/mxf/detail/FileView.h"

#include <algorithm>
#include <cstring>

namespace zenquor::mxf::detail {
namespace {

constexpr std::uint64_t nowhere = ~std::uint64_t{0};

}  // namespace

FileView::~FileView() {
    if (handle_) functions_.close(&handle_, functions_.context);
}

bool FileView::open(const char* utf8Path) {
    if (functions_.open(&handle_, utf8Path, functions_.context) != 0 || !handle_) return false;
    filePosition_ = nowhere;
    update();
    return true;
}

void FileView::update() {
    const std::int64_t size = functions_.size(handle_, functions_.context);
    failed_ = size < 0;
    fileSize_ = size < 0 ? 0 : static_cast<std::uint64_t>(size);
    buffered_ = 0;
}

std::size_t FileView::readThrough(std::uint64_t fileOffset, std::span<std::uint8_t> bytes) {
    if (filePosition_ != fileOffset &&
        functions_.seek(handle_, static_cast<std::int64_t>(fileOffset), functions_.context) != 0) {
        failed_ = true;
        filePosition_ = nowhere;
        return 0;
    }
    filePosition_ = fileOffset;
    std::size_t done = 0;
    while (done < bytes.size()) {
        const std::int64_t now = functions_.read(
            handle_, bytes.data() + done, static_cast<std::int64_t>(bytes.size() - done), functions_.context);
        if (now <= 0) {
            failed_ |= now < 0;
            filePosition_ = nowhere;
            return done;
        }
        done += std::min(static_cast<std::size_t>(now), bytes.size() - done);
        filePosition_ = fileOffset + done;
    }
    return done;
}

std::size_t FileView::read(std::uint64_t position, std::span<std::uint8_t> bytes) {
    if (bytes.empty() || position >= size()) return 0;
    const std::uint64_t offset = origin_ + position;
    bytes = bytes.first(static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), fileSize_ - offset)));
    if (bytes.size() >= bufferBytes) return readThrough(offset, bytes);

    const bool isBuffered = offset >= bufferOffset_ && offset - bufferOffset_ <= buffered_ &&
                            bytes.size() <= buffered_ - (offset - bufferOffset_);
    if (!isBuffered) {
        bufferOffset_ = offset;
        buffered_ = readThrough(offset, std::span(buffer_).first(static_cast<std::size_t>(
                                            std::min<std::uint64_t>(bufferBytes, fileSize_ - offset))));
    }
    const std::size_t start = static_cast<std::size_t>(offset - bufferOffset_);
    const std::size_t count = std::min(bytes.size(), buffered_ - start);
    std::memcpy(bytes.data(), buffer_.data() + start, count);
    return count;
}

std::vector<std::uint8_t> FileView::bytes(std::uint64_t position, std::uint64_t count) {
    if (position >= size()) return {};
    std::vector<std::uint8_t> result(static_cast<std::size_t>(std::min(count, size() - position)));
    result.resize(read(position, result));
    return result;
}

std::optional<PlacedItem> FileView::item(std::uint64_t position) {
    std::array<std::uint8_t, KLVHeader::largest> raw;
    const std::size_t count = read(position, raw);
    const auto header = KLVHeader::read(std::span(raw).first(count));
    if (!header) return std::nullopt;
    return PlacedItem{position, *header};
}

}  // namespace zenquor::mxf::detail
