#include "zenquor/core/ZQData.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace zenquor {

ZQData ZQData::copying(std::span<const std::uint8_t> bytes) {
    return filling(bytes.size(), [&](std::span<std::uint8_t> out) {
        if (!bytes.empty()) std::memcpy(out.data(), bytes.data(), bytes.size());
    });
}

ZQData ZQData::adopting(std::shared_ptr<const std::uint8_t> block, std::size_t size) {
    ZQData data;
    data.bytes_ = std::move(block);
    data.size_ = size;
    return data;
}

ZQData ZQData::wrapping(std::span<const std::uint8_t> bytes, std::function<void()> release) {
    return adopting(std::shared_ptr<const std::uint8_t>(bytes.data(),
                                                        [release = std::move(release)](const std::uint8_t*) {
                                                            if (release) release();
                                                        }),
                    bytes.size());
}

ZQData ZQData::slice(std::size_t offset, std::size_t length) const {
    const std::size_t start = std::min(offset, size_);
    return adopting(std::shared_ptr<const std::uint8_t>(bytes_, bytes_.get() + start),
                    std::min(length, size_ - start));
}

bool operator==(const ZQData& a, const ZQData& b) {
    return std::ranges::equal(a.span(), b.span());
}

}  // namespace zenquor
