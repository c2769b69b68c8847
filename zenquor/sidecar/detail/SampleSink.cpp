#include "zenquor/sidecar/detail/SampleSink.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace zenquor::detail {

std::unique_ptr<SampleSink> SampleSink::sinkWithCapacity(std::size_t capacity, Notification notification) {
    std::unique_ptr<std::uint8_t[]> bytes(new (std::nothrow) std::uint8_t[capacity]);
    if (!bytes) return nullptr;
    return std::unique_ptr<SampleSink>(new SampleSink(std::move(bytes), capacity, std::move(notification)));
}

bool SampleSink::makeRoom(std::size_t count) {
    if (count <= capacity_ - count_) return true;
    if (count > largestSample - count_) return false;
    const std::size_t wanted = std::max(count_ + count, std::min(2 * capacity_, largestSample));
    std::unique_ptr<std::uint8_t[]> larger(new (std::nothrow) std::uint8_t[wanted]);
    if (!larger) return false;
    std::memcpy(larger.get(), bytes_.get(), count_);
    bytes_ = std::move(larger);
    capacity_ = wanted;
    return true;
}

std::int32_t SampleSink::Write(std::span<const std::uint8_t> bytes) {
    if (bytes.empty() || !makeRoom(bytes.size())) return 0;
    std::memcpy(bytes_.get() + count_, bytes.data(), bytes.size());
    count_ += bytes.size();
    return static_cast<std::int32_t>(bytes.size());
}

std::int32_t SampleSink::Control(std::int32_t command, const mxf::SampleRecord::Bytes&) {
    if (notification_) notification_(command, {bytes_.get(), count_});
    return 0;
}

void SampleSink::release(std::size_t count) {
    count = std::min(count, count_);
    std::memmove(bytes_.get(), bytes_.get() + count, count_ - count);
    count_ -= count;
}

}  // namespace zenquor::detail
