#include "zenquor/mxf/SampleRecord.h"

namespace zenquor::mxf {
namespace {

void writeLE64(std::uint8_t* p, std::uint64_t v) {
    for (int i = 0; i < 8; ++i) p[i] = static_cast<std::uint8_t>(v >> (8 * i));
}

std::uint64_t readLE64(const std::uint8_t* p) {
    std::uint64_t v = 0;
    for (int i = 7; i >= 0; --i) v = v << 8 | p[i];
    return v;
}

}  // namespace

SampleRecord::Bytes SampleRecord::bytes() const {
    Bytes record{};
    writeLE64(record.data(), static_cast<std::uint64_t>(timeStamp));
    writeLE64(record.data() + 16, flags);
    writeLE64(record.data() + 40, byteCount);
    return record;
}

SampleRecord SampleRecord::read(std::span<const std::uint8_t, size> bytes) {
    return {static_cast<std::int64_t>(readLE64(bytes.data())), readLE64(bytes.data() + 16),
            readLE64(bytes.data() + 40)};
}

}  // namespace zenquor::mxf
