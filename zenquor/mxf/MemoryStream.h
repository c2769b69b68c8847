#pragma once
// The way that samples take into and out of the engine.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "zenquor/mxf/SampleRecord.h"

namespace zenquor::mxf {

/// A stream of samples: bytes are written, then a command says that they are a sample.
///
/// Thread-safety: One thread at a time.
class MemoryStream {
public:
    /// The command that says: what was written since the last one is a whole sample.
    static constexpr std::int32_t commandSampleReady = 1;

    virtual ~MemoryStream() = default;
    /// Appends to the pending sample.
    /// @return the bytes copied, fewer than given when there is no room for more; negative on a failure.
    virtual std::int32_t Write(std::span<const std::uint8_t> bytes) = 0;
    /// @return 0 on success, negative otherwise.
    virtual std::int32_t Control(std::int32_t command, const SampleRecord::Bytes& record) = 0;
};

/// Memory that holds one sample, handed from stream to muxer and back, so that nothing is copied on the way.
struct SampleMemory {
    std::unique_ptr<std::uint8_t[]> memory;
    std::size_t capacity = 0;
    std::size_t offset = 0;  // of the sample
    std::size_t count = 0;   // of its bytes

    std::span<const std::uint8_t> bytes() const { return {memory.get() + offset, count}; }
};

class InputStream;

/// Hears of samples: the muxer.
class SampleListener {
public:
    virtual ~SampleListener() = default;
    /// @return 0, or a negative status that Control() hands on to the host.
    virtual std::int32_t onSample(InputStream& stream, const SampleRecord& record) = 0;
};

/// A stream that a muxer can take samples from. The host writes; Control() with commandSampleReady calls the listener.
class InputStream : public MemoryStream {
public:
    /// @param listener  null detaches; Control() then fails.
    virtual void setListener(SampleListener* listener) = 0;
    /// Hands over the pending sample and leaves the stream empty.
    /// @param spare  memory of an earlier sample, which the stream goes on with; may be empty.
    virtual SampleMemory takeSample(SampleMemory spare) = 0;
};

}  // namespace zenquor::mxf
