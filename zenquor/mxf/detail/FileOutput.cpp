#include "zenquor/mxf/detail/FileOutput.h"

namespace zenquor::mxf::detail {

Status FileOutput::open(const FileFunctions& functions, const char* utf8Path) {
    if (utf8Path == nullptr || !functions.open || !functions.seek || !functions.write || !functions.close)
        return StatusBadArgument;
    functions_ = functions;
    open_ = functions_.open(&file_, utf8Path, functions_.context) == 0;
    if (!open_) return StatusCannotOpen;
    // What an older file holds behind our last byte would hide the random index pack.
    if (functions_.size && functions_.size(file_, functions_.context) != 0) {
        close();
        return StatusCannotOpen;
    }
    return StatusOK;
}

bool FileOutput::append(std::span<const std::uint8_t> bytes) {
    if (failed_ || !isOpen()) return false;
    if (!atEnd_ && !seek(size_)) return false;
    atEnd_ = true;
    if (!write(bytes)) return false;
    size_ += bytes.size();
    return true;
}

bool FileOutput::overwrite(std::uint64_t offset, std::span<const std::uint8_t> bytes) {
    if (failed_ || !isOpen()) return false;
    atEnd_ = false;
    return seek(offset) && write(bytes);
}

bool FileOutput::settle() {
    if (failed_ || !isOpen()) return false;
    if (functions_.size && functions_.size(file_, functions_.context) < 0) failed_ = true;
    return !failed_;
}

bool FileOutput::close() {
    if (!isOpen()) return true;
    open_ = false;
    return functions_.close(&file_, functions_.context) == 0;
}

bool FileOutput::seek(std::uint64_t offset) {
    if (functions_.seek(file_, static_cast<std::int64_t>(offset), functions_.context) != 0) failed_ = true;
    return !failed_;
}

bool FileOutput::write(std::span<const std::uint8_t> bytes) {
    const auto count = static_cast<std::int64_t>(bytes.size());
    if (functions_.write(file_, bytes.data(), count, functions_.context) != count) failed_ = true;
    return !failed_;
}

}  // namespace zenquor::mxf::detail
