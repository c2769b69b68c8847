#pragma once
// Where a demuxer's samples of ancillary data arrive.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <utility>

#include "zenquor/mxf/MemoryStream.h"

namespace zenquor::detail {

/// A small buffer that grows, with somebody who hears when a sample in it is complete.
///
/// Thread-safety: One thread at a time.
class SampleSink final : public mxf::MemoryStream {
public:
    /// @param kind    the command, 1 for a complete sample.
    /// @param sample  all bytes that are pending; good until they are released.
    using Notification = std::function<void(std::int32_t kind, std::span<const std::uint8_t> sample)>;

    /// @return null when there is no memory.
    static std::unique_ptr<SampleSink> sinkWithCapacity(std::size_t capacity, Notification notification);

    std::int32_t Write(std::span<const std::uint8_t> bytes) override;
    std::int32_t Control(std::int32_t command, const mxf::SampleRecord::Bytes& record) override;
    /// Lets go of bytes at the front.
    void release(std::size_t count);
    std::size_t pendingCount() const { return count_; }

private:
    /// No ancillary data of one frame come near.
    static constexpr std::size_t largestSample = 64u << 20;

    SampleSink(std::unique_ptr<std::uint8_t[]> bytes, std::size_t capacity, Notification notification)
        : bytes_(std::move(bytes)), capacity_(capacity), notification_(std::move(notification)) {}
    bool makeRoom(std::size_t count);

    std::unique_ptr<std::uint8_t[]> bytes_;
    std::size_t capacity_ = 0;
    std::size_t count_ = 0;
    Notification notification_;
};

}  // namespace zenquor::detail
