#pragma once
// The file that the MXF engine writes to: large blocks, written behind the engine's back.

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "zenquor/core/SerialQueue.h"
#include "zenquor/core/ZQObject.h"
#include "zenquor/mxf/Mux.h"

namespace zenquor {

namespace detail {
class BlockPool;
class CacheBypass;
struct FileBlock;
}  // namespace detail

class ZQRNabletFile;
using ZQRNabletFilePtr = std::shared_ptr<ZQRNabletFile>;

/// Gathers many small writes into blocks and writes each block on a serial queue of its own. A block whose writing is
/// refused because another process has the file locked is tried again until it is written: what may have reached the
/// disk is read back and compared first.
///
/// write() never waits for the disk and has no bound: while the disk is slower than the recording, the blocks that wait
/// stay in memory. Everything else first waits until all that was written before is in the file.
///
/// A file whose buffer cache was switched off (ZQUBCController, at any time) is written past it where that is possible,
/// and its pages are dropped otherwise.
///
/// Lifecycle:     initWithFilename(), or through the functions that setConfig() installs; close(), or let go.
/// Thread-safety: One thread at a time; lastError() from any thread.
class ZQRNabletFile final : public ZQObject {
public:
    /// 64 MiB.
    static constexpr std::int64_t defaultBlockSizeBytes = 0x4000000;

    /// Makes the engine use files of this class, opened through @p settings' file functions.
    /// @param blockSizeBytes  of every file that is opened afterwards, by whomever; below 1 the default.
    static void setConfig(mxf::MuxSettings& settings, std::int64_t blockSizeBytes);

    /// Opens for reading and writing, creates when absent, keeps what is there, and holds a shared lock while open.
    /// @param filename  UTF-8.
    /// @return null, with an error in the log, when the file cannot be opened or locked.
    static ZQRNabletFilePtr initWithFilename(const std::string& filename);
    ~ZQRNabletFile() override;

    /// Queues the bytes at the current position. @return their count; 0 once a block could not be written.
    std::int64_t write(std::span<const std::uint8_t> bytes);
    /// Waits until everything is in the file.
    void sync();
    /// @param offset  from the file's start. @return 0 or -1.
    std::int32_t seek(std::int64_t offset);
    /// Reads at the current position. @return bytes read, 0 at the end, -1 on a failure.
    std::int64_t read(std::span<std::uint8_t> bytes);
    /// @return bytes in the file, -1 on a failure. The position stays.
    std::int64_t size();
    /// Does nothing when closed. @return -1 when something could not be written or the file not be closed.
    std::int32_t close();

    /// The errno of the latest write that failed for good; 0 while healthy.
    std::int32_t lastError() const { return lastError_.load(std::memory_order_acquire); }
    std::int64_t blockSize() const { return blockSize_; }

private:
    ZQRNabletFile(std::int32_t descriptor, std::int64_t blockSize);
    void queuePending();
    void writeBlock(std::span<const std::uint8_t> block);
    std::int64_t bytesAfterRefusal(std::int64_t start, std::span<const std::uint8_t> block);
    void noteFailure(std::int32_t number);

    std::int32_t descriptor_;
    const std::int64_t blockSize_;
    SerialQueue queue_;
    std::unique_ptr<detail::FileBlock> pending_;  // null until the first write
    std::atomic<std::int32_t> lastError_{0};
    std::unique_ptr<detail::BlockPool> pool_;
    std::int64_t position_ = 0;                    // of the next byte from or to the engine
    std::unique_ptr<detail::CacheBypass> bypass_;  // of the queue
};

}  // namespace zenquor
