#pragma once
// The bytes of a sample.

#include <cstddef>
#include <memory>

#include "zenquor/core/ZQData.h"
#include "zenquor/platform/Status.h"

namespace zenquor::platform {

/// A block of a fixed length that is given its bytes once. Whole blocks share the bytes they are given.
///
/// Lifecycle:     create, replaceDataBytes() until every byte is there, then share.
/// Thread-safety: One thread at a time until shared; then Safe.
class BlockBuffer {
public:
    /// @return blockBufferEmptyErr for a length of 0.
    static Status createWithLength(std::size_t length, std::shared_ptr<BlockBuffer>& out);

    std::size_t dataLength() const { return length_; }
    /// Puts @p bytes at @p offset. Bytes that fill the whole block are shared, others are copied.
    /// @return blockBufferRangeErr when they do not fit; the block is then unchanged.
    Status replaceDataBytes(const ZQData& bytes, std::size_t offset);
    /// The block's bytes. Those never replaced are 0.
    const ZQData& data() const { return data_; }

private:
    explicit BlockBuffer(std::size_t length) : length_(length) {}

    std::size_t length_;
    ZQData data_;
};

using BlockBufferPtr = std::shared_ptr<BlockBuffer>;

}  // namespace zenquor::platform
