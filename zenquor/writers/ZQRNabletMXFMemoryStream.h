#pragma once
// One input of the MXF engine, as the MXF writer holds it.

#include <cstdint>
#include <memory>

#include "zenquor/core/ZQObject.h"
#include "zenquor/writers/SMemoryStream.h"

namespace zenquor {

class ZQRNabletMXFMemoryStream;
using ZQRNabletMXFMemoryStreamPtr = std::shared_ptr<ZQRNabletMXFMemoryStream>;

/// Owns one engine stream.
///
/// Lifecycle:     made before the muxer's streams are added, let go after the muxer was freed.
/// Thread-safety: One thread at a time.
class ZQRNabletMXFMemoryStream final : public ZQObject {
public:
    /// @param capacity  bytes; the stream grows with its samples.
    /// @return null when there cannot be a stream of that capacity.
    static ZQRNabletMXFMemoryStreamPtr memoryStreamWithCapacity(std::int64_t capacity);
    static ZQRNabletMXFMemoryStreamPtr initWithCapacity(std::int64_t capacity);

    /// Never null; lives as long as this object.
    SMemoryStream* memoryStream() const { return memoryStream_.get(); }

private:
    explicit ZQRNabletMXFMemoryStream(std::unique_ptr<SMemoryStream> memoryStream);

    std::unique_ptr<SMemoryStream> memoryStream_;
};

}  // namespace zenquor
