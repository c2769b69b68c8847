#pragma once
// Copies a picture into another format or size.

#include "zenquor/platform/PixelBuffer.h"
#include "zenquor/platform/Status.h"

namespace zenquor::platform {

/// Converts pictures: v210 and 2vuy into each other in one pass, any other pair and any scaling through swscale.
/// Colour is not converted. Interlaced pictures are scaled field by field.
///
/// Thread-safety: One thread at a time.
class PixelTransferSession {
public:
    PixelTransferSession();
    ~PixelTransferSession();
    PixelTransferSession(const PixelTransferSession&) = delete;
    PixelTransferSession& operator=(const PixelTransferSession&) = delete;

    void setInterlaced(bool interlaced);
    /// @return pixelTransferNotSupportedErr for a pair of formats that it does not know.
    Status transferImage(const PixelBuffer& from, PixelBuffer& to);

private:
    struct Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace zenquor::platform
