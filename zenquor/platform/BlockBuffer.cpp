#include "zenquor/platform/BlockBuffer.h"

#include <algorithm>

namespace zenquor::platform {

Status BlockBuffer::createWithLength(std::size_t length, BlockBufferPtr& out) {
    if (length == 0) return blockBufferEmptyErr;
    out = BlockBufferPtr(new BlockBuffer(length));
    return noErr;
}

Status BlockBuffer::replaceDataBytes(const ZQData& bytes, std::size_t offset) {
    if (offset > length_ || bytes.size() > length_ - offset) return blockBufferRangeErr;
    if (bytes.size() == length_) {
        data_ = bytes;
        return noErr;
    }
    const ZQData old = data_;
    data_ = ZQData::filling(length_, [&](std::span<std::uint8_t> out) {
        if (old.empty()) {
            std::ranges::fill(out, std::uint8_t{0});
        } else {
            std::ranges::copy(old, out.begin());
        }
        std::ranges::copy(bytes, out.begin() + static_cast<std::ptrdiff_t>(offset));
    });
    return noErr;
}

}  // namespace zenquor::platform
