#include "zenquor/writers/ZQRNabletFile.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <new>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include "zenquor/core/NamedThread.h"
#include "zenquor/core/Unicode.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/platform/BufferCachePolicy.h"
#include "zenquor/writers/detail/CacheBypass.h"
#include "zenquor/writers/detail/FileBlock.h"

namespace zenquor {
namespace {

constexpr auto retryPause = std::chrono::milliseconds(100);
constexpr mode_t fileMode = 0664;
constexpr std::size_t worthAllocating = std::size_t{1} << 20;

std::atomic<std::int64_t>& classWideBlockSize() {
    static std::atomic<std::int64_t> bytes{ZQRNabletFile::defaultBlockSizeBytes};
    return bytes;
}

/// Opens with the shared lock that BSD's O_SHLOCK would take. @return -1 when either is refused.
std::int32_t openShared(const std::string& filename) {
    const int descriptor = ::open(filename.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, fileMode);
    if (descriptor < 0) return -1;
    int locked;
    do {
        locked = ::flock(descriptor, LOCK_SH);
    } while (locked != 0 && errno == EINTR);
    if (locked == 0) return descriptor;
    ::close(descriptor);
    return -1;
}

// ---- The engine's side: a handle is a reference to a file, held on the heap

ZQRNabletFile* fileOf(mxf::FileHandle handle) {
    return handle ? static_cast<ZQRNabletFilePtr*>(handle)->get() : nullptr;
}

std::int32_t openFile(mxf::FileHandle* handle, const char* path, void*) {
    if (!handle) return -1;
    *handle = nullptr;
    if (!path) return -1;
    auto file = ZQRNabletFile::initWithFilename(path);
    if (!file) return -1;
    *handle = new (std::nothrow) ZQRNabletFilePtr(std::move(file));
    return *handle ? 0 : -1;
}

std::int32_t openFileWide(mxf::FileHandle* handle, const char32_t* path, void* context) {
    return openFile(handle, path ? utf8FromUTF32(path).c_str() : nullptr, context);
}

std::int32_t seekFile(mxf::FileHandle handle, std::int64_t offset, void*) {
    auto* const file = fileOf(handle);
    return file ? file->seek(offset) : -1;
}

std::int64_t readFile(mxf::FileHandle handle, std::uint8_t* bytes, std::int64_t count, void*) {
    auto* const file = fileOf(handle);
    if (!file || count < 0 || (!bytes && count > 0)) return -1;
    return file->read({bytes, static_cast<std::size_t>(count)});
}

std::int32_t closeFile(mxf::FileHandle* handle, void*) {
    if (!handle || !*handle) return -1;
    auto* const reference = static_cast<ZQRNabletFilePtr*>(std::exchange(*handle, nullptr));
    const std::int32_t result = (*reference)->close();
    delete reference;
    return result;
}

std::int64_t sizeOfFile(mxf::FileHandle handle, void*) {
    auto* const file = fileOf(handle);
    return file ? file->size() : -1;
}

std::int64_t writeFile(mxf::FileHandle handle, const std::uint8_t* bytes, std::int64_t count, void*) {
    auto* const file = fileOf(handle);
    if (!file || count < 0 || (!bytes && count > 0)) return -1;
    return file->write({bytes, static_cast<std::size_t>(count)});
}

/// Finding the disk blocks of a large write all at once saves a good part of its cost. The file's size stays; where
/// this is not possible or there is no room for it, the write itself tells.
void allocateAhead(std::int32_t descriptor, std::int64_t start, std::size_t count) {
    if (start < 0 || count < worthAllocating) return;
    static_cast<void>(::fallocate(descriptor, FALLOC_FL_KEEP_SIZE, start, static_cast<off_t>(count)) == 0);
}

// ---- What a refused write has left on the disk

bool readAll(std::int32_t descriptor, std::span<std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t got = ::read(descriptor, bytes.data(), bytes.size());
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(got));
    }
    return true;
}

/// Whether the file holds @p expected at @p start; the position is behind it then.
bool readbackMatches(std::int32_t descriptor, std::int64_t start, std::span<const std::uint8_t> expected) {
    const std::unique_ptr<std::uint8_t[]> buffer(new (std::nothrow) std::uint8_t[expected.size()]);
    if (!buffer) {
        ZLGGetHandle().error("ZQRNabletFile could not allocate readback buffer");
        return false;
    }
    if (::lseek(descriptor, start, SEEK_SET) < 0) {
        ZLGGetHandle().error("ZQRNabletFile could not seek before readback");
        return false;
    }
    if (!readAll(descriptor, {buffer.get(), expected.size()})) {
        ZLGGetHandle().error("ZQRNabletFile could not readback data");
        return false;
    }
    if (std::memcmp(buffer.get(), expected.data(), expected.size()) == 0) return true;
    ZLGGetHandle().error("ZQRNabletFile readback data does not match written data");
    return false;
}

}  // namespace

// ---- Opening

void ZQRNabletFile::setConfig(mxf::MuxSettings& settings, std::int64_t blockSizeBytes) {
    settings.usesFileFunctions = 1;
    settings.file = {openFile,  openFileWide, seekFile,  readFile,
                     closeFile, sizeOfFile,   writeFile, /* context */ nullptr};
    classWideBlockSize().store(blockSizeBytes < 1 ? defaultBlockSizeBytes : blockSizeBytes,
                               std::memory_order_relaxed);
}

ZQRNabletFilePtr ZQRNabletFile::initWithFilename(const std::string& filename) {
    const std::int32_t descriptor = openShared(filename);
    if (descriptor < 0) {
        ZLGGetHandle().error("ZQRNabletFile could not create file {}", filename);
        return nullptr;
    }
    const std::int64_t blockSize = classWideBlockSize().load(std::memory_order_relaxed);
    ZQRNabletFilePtr file(new ZQRNabletFile(descriptor, blockSize));
    ZLGGetHandle().log("ZQRNabletFile created at {} with block size {}", filename, blockSize);
    return file;
}

ZQRNabletFile::ZQRNabletFile(std::int32_t descriptor, std::int64_t blockSize)
    : descriptor_(descriptor),
      blockSize_(blockSize),
      queue_(fmt::format("{}.nabletfile", identifierPrefix)),
      pool_(std::make_unique<detail::BlockPool>(static_cast<std::size_t>(blockSize))),
      bypass_(std::make_unique<detail::CacheBypass>()) {}

ZQRNabletFile::~ZQRNabletFile() {
    close();
    sync();
}

std::int32_t ZQRNabletFile::close() {
    if (descriptor_ < 0) return 0;
    sync();
    if (const int failure = bypass_->finish(descriptor_)) noteFailure(failure);
    platform::BufferCachePolicy::forgetDescriptor(descriptor_);
    const int closed = ::close(std::exchange(descriptor_, -1));
    return closed == 0 && lastError() == 0 ? 0 : -1;
}

// ---- The engine's thread

std::int64_t ZQRNabletFile::write(std::span<const std::uint8_t> bytes) {
    if (lastError() >= 1) {
        ZLGGetHandle().error("ZQRNabletFile write returning error {}", lastError());
        return 0;
    }
    const auto count = static_cast<std::int64_t>(bytes.size());
    while (!bytes.empty()) {
        if (!pending_ && !(pending_ = pool_->take(position_))) {
            noteFailure(ENOMEM);
            return 0;
        }
        const std::size_t before = bytes.size();
        bytes = pending_->append(bytes);
        position_ += static_cast<std::int64_t>(before - bytes.size());
        if (pending_->isFull()) queuePending();
    }
    return count;
}

void ZQRNabletFile::queuePending() {
    // A queued function can be copied, a block cannot.
    queue_.async([this, block = std::make_shared<std::unique_ptr<detail::FileBlock>>(std::move(pending_))] {
        writeBlock((*block)->bytes());
        pool_->giveBack(std::move(*block));
    });
}

void ZQRNabletFile::sync() {
    queue_.sync([this] {
        if (!pending_) return;
        writeBlock(pending_->bytes());
        pool_->giveBack(std::move(pending_));
    });
}

std::int32_t ZQRNabletFile::seek(std::int64_t offset) {
    sync();
    const off_t reached = ::lseek(descriptor_, offset, SEEK_SET);
    if (reached < 0) return -1;
    position_ = reached;
    return 0;
}

std::int64_t ZQRNabletFile::read(std::span<std::uint8_t> bytes) {
    sync();
    ssize_t got;
    do {
        got = ::read(descriptor_, bytes.data(), bytes.size());
    } while (got < 0 && errno == EINTR);
    if (got > 0) position_ += got;
    return got;
}

std::int64_t ZQRNabletFile::size() {
    sync();
    const off_t position = ::lseek(descriptor_, 0, SEEK_CUR);
    const off_t end = position < 0 ? -1 : ::lseek(descriptor_, 0, SEEK_END);
    if (end < 0 || ::lseek(descriptor_, position, SEEK_SET) < 0) return -1;
    return end;
}

// ---- The queue

void ZQRNabletFile::noteFailure(std::int32_t number) {
    ZLGGetHandle().error("ZQRNabletFile async write returned error {}", number);
    lastError_.store(number, std::memory_order_release);
}

void ZQRNabletFile::writeBlock(std::span<const std::uint8_t> block) {
    const std::int64_t begin = ::lseek(descriptor_, 0, SEEK_CUR);
    std::int64_t start = begin;
    const auto advance = [&](std::int64_t count) {
        start += count;
        block = block.subspan(static_cast<std::size_t>(count));
    };
    bypass_->begin(descriptor_);
    allocateAhead(descriptor_, begin, block.size());
    while (!block.empty()) {
        const std::size_t count = bypass_->prepare(start, block);
        const ssize_t written = ::write(descriptor_, block.data(), count);
        if (written > 0) {
            advance(written);
            continue;
        }
        const int number = written < 0 ? errno : ENOSPC;
        if (number == EINTR || bypass_->refused(number)) continue;
        if (number != EACCES) {
            noteFailure(number);
            break;
        }
        ZLGGetHandle().error(
            "ZQRNabletFile async write received access error, file possibly locked for reading. Will retry.");
        bypass_->release();
        advance(bytesAfterRefusal(start, block));
        std::this_thread::sleep_for(retryPause);
    }
    if (const int failure = bypass_->end(begin, start)) noteFailure(failure);
}

/// Finds out how much of @p block a refused write has put into the file all the same, and places the file at what is
/// left of it. @return bytes.
std::int64_t ZQRNabletFile::bytesAfterRefusal(std::int64_t start, std::span<const std::uint8_t> block) {
    const std::int64_t moved = ::lseek(descriptor_, 0, SEEK_CUR) - start;
    if (moved == 0) return 0;
    ZLGGetHandle().log("ZQRNabletFile async write seemed to write {}.", moved);
    const bool isWithin = moved > 0 && moved <= static_cast<std::int64_t>(block.size());
    if (isWithin && readbackMatches(descriptor_, start, block.first(static_cast<std::size_t>(moved)))) {
        return moved;
    }
    ZLGGetHandle().log("ZQRNabletFile will re-write last block");
    if (::lseek(descriptor_, start, SEEK_SET) < 0) {
        const int number = errno;
        ZLGGetHandle().error("ZQRNabletFile could not seek before re-write");
        lastError_.store(number, std::memory_order_release);
    }
    return 0;
}

}  // namespace zenquor
