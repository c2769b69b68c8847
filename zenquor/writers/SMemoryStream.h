#pragma once
// The buffer through which samples go into the MXF engine.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "zenquor/mxf/MemoryStream.h"

namespace zenquor {

/// Collects the bytes of one sample and hands them to the muxer with their memory, so that a sample is copied once.
///
/// Lifecycle:     streamWithCapacity(); per sample Write() in any number of pieces, or writePosition() and
///                ConfirmData(), then Control(). The buffer grows with the largest sample.
/// Thread-safety: One thread at a time.
/// Ownership:     owns its memory until takeSample() gives it away; the listener is not owned.
class SMemoryStream final : public mxf::InputStream {
public:
    /// Bytes kept behind the capacity, so that a parser may look past the end of a sample.
    static constexpr std::size_t slackBytes = 16;
    /// The buffer stays below this size.
    static constexpr std::size_t maximumBytes = 0x2000000;
    static constexpr std::int32_t statusOutOfRange = -5;

    /// @return null when @p capacity is negative, not below maximumBytes, or there is no memory.
    static std::unique_ptr<SMemoryStream> streamWithCapacity(std::int64_t capacity);

    /// Grows as needed. @return bytes copied: fewer than given when the buffer may not grow as far.
    std::int32_t Write(std::span<const std::uint8_t> bytes) override;
    /// Tells the listener of the pending sample; what the listener does not take is forgotten.
    /// @return the listener's status; StatusBadArgument without one and for another command.
    std::int32_t Control(std::int32_t command, const mxf::SampleRecord::Bytes& record) override;
    void setListener(mxf::SampleListener* listener) override { listener_ = listener; }
    mxf::SampleMemory takeSample(mxf::SampleMemory spare) override;

    /// Gives the buffer @p capacity bytes and the slack; the pending sample moves to its front.
    /// @return false, with nothing changed, at maximumBytes or above, below the pending sample, or without memory.
    bool Realloc(std::size_t capacity);
    /// Says that @p count bytes were put at writePosition(); below 1 it does nothing.
    /// @return 0, or statusOutOfRange when they cannot have fitted.
    std::int32_t ConfirmData(std::int64_t count);
    /// Forgets the pending sample and starts again at the front.
    void Reset();

    /// Where the next bytes go; capacity() less the pending bytes are free there. Null while memory is given away.
    std::uint8_t* writePosition() const { return buffer_.get() + writeOffset_; }
    std::span<const std::uint8_t> pendingSample() const {
        return {buffer_.get() + sampleOffset_, pendingBytes_};
    }
    std::size_t capacity() const { return capacity_; }
    /// Bytes confirmed since creation.
    std::uint64_t confirmedBytes() const { return confirmedBytes_; }

private:
    SMemoryStream() = default;

    std::unique_ptr<std::uint8_t[]> buffer_;  // capacity_ and the slack
    std::size_t writeOffset_ = 0;
    std::size_t sampleOffset_ = 0;
    std::size_t pendingBytes_ = 0;
    std::size_t capacity_ = 0;
    std::uint64_t confirmedBytes_ = 0;
    mxf::SampleListener* listener_ = nullptr;
};

}  // namespace zenquor
