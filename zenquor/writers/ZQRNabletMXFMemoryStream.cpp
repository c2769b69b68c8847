#include "zenquor/writers/ZQRNabletMXFMemoryStream.h"

#include <utility>

namespace zenquor {

ZQRNabletMXFMemoryStream::ZQRNabletMXFMemoryStream(std::unique_ptr<SMemoryStream> memoryStream)
    : memoryStream_(std::move(memoryStream)) {}

ZQRNabletMXFMemoryStreamPtr ZQRNabletMXFMemoryStream::memoryStreamWithCapacity(std::int64_t capacity) {
    return initWithCapacity(capacity);
}

ZQRNabletMXFMemoryStreamPtr ZQRNabletMXFMemoryStream::initWithCapacity(std::int64_t capacity) {
    auto memoryStream = SMemoryStream::streamWithCapacity(capacity);
    if (!memoryStream) return nullptr;
    return ZQRNabletMXFMemoryStreamPtr(new ZQRNabletMXFMemoryStream(std::move(memoryStream)));
}

}  // namespace zenquor
