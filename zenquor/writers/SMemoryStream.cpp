#include "zenquor/writers/SMemoryStream.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "zenquor/mxf/Status.h"

namespace zenquor {

std::unique_ptr<SMemoryStream> SMemoryStream::streamWithCapacity(std::int64_t capacity) {
    std::unique_ptr<SMemoryStream> stream(new (std::nothrow) SMemoryStream);
    if (!stream || capacity < 0 || !stream->Realloc(static_cast<std::size_t>(capacity))) return nullptr;
    return stream;
}

std::int32_t SMemoryStream::Write(std::span<const std::uint8_t> bytes) {
    if (bytes.size() > capacity_ - writeOffset_) {
        const std::size_t needed = pendingBytes_ + bytes.size();
        // Samples differ in size; a little more room now saves the next larger one from moving again.
        if (!Realloc(std::max(needed, std::min(needed + needed / 4, maximumBytes - 1)))) {
            bytes = bytes.first(std::min(bytes.size(), capacity_ - writeOffset_));
        }
    }
    if (bytes.empty()) return 0;
    std::memcpy(writePosition(), bytes.data(), bytes.size());
    const std::int32_t status = ConfirmData(static_cast<std::int64_t>(bytes.size()));
    return status != 0 ? status : static_cast<std::int32_t>(bytes.size());
}

std::int32_t SMemoryStream::Control(std::int32_t command, const mxf::SampleRecord::Bytes& record) {
    if (command != commandSampleReady || !listener_) return mxf::StatusBadArgument;
    const std::int32_t status = listener_->onSample(*this, mxf::SampleRecord::read(record));
    Reset();
    return status;
}

mxf::SampleMemory SMemoryStream::takeSample(mxf::SampleMemory spare) {
    mxf::SampleMemory sample{std::move(buffer_), capacity_ + slackBytes, sampleOffset_, pendingBytes_};
    if (!sample.memory) sample = {};
    const bool isUsable =
        spare.memory && spare.capacity > slackBytes && spare.capacity - slackBytes < maximumBytes;
    buffer_ = isUsable ? std::move(spare.memory) : nullptr;
    capacity_ = isUsable ? spare.capacity - slackBytes : 0;
    Reset();
    return sample;
}

bool SMemoryStream::Realloc(std::size_t capacity) {
    if (capacity >= maximumBytes || capacity < pendingBytes_) return false;
    std::unique_ptr<std::uint8_t[]> buffer(new (std::nothrow) std::uint8_t[capacity + slackBytes]);
    if (!buffer) return false;
    if (pendingBytes_ != 0) std::memcpy(buffer.get(), buffer_.get() + sampleOffset_, pendingBytes_);
    buffer_ = std::move(buffer);
    capacity_ = capacity;
    sampleOffset_ = 0;
    writeOffset_ = pendingBytes_;
    return true;
}

std::int32_t SMemoryStream::ConfirmData(std::int64_t count) {
    if (count < 1) return 0;
    if (static_cast<std::uint64_t>(count) > capacity_ - writeOffset_) return statusOutOfRange;
    if (pendingBytes_ == 0) sampleOffset_ = writeOffset_;
    pendingBytes_ += static_cast<std::size_t>(count);
    writeOffset_ += static_cast<std::size_t>(count);
    confirmedBytes_ += static_cast<std::uint64_t>(count);
    return 0;
}

void SMemoryStream::Reset() {
    writeOffset_ = 0;
    sampleOffset_ = 0;
    pendingBytes_ = 0;
}

}  // namespace zenquor
