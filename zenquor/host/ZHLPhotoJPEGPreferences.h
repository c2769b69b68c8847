#pragma once
// What the operator chose for Photo JPEG recordings.

#include <memory>

#include "zenquor/core/ZQObject.h"

namespace zenquor {

/// The Photo JPEG choice of a capture preset: its quality.
///
/// Thread-safety: One thread at a time while it is filled; reading is safe.
class ZHLPhotoJPEGPreferences final : public ZQObject {
public:
    static std::shared_ptr<ZHLPhotoJPEGPreferences> preferences() {
        return std::make_shared<ZHLPhotoJPEGPreferences>();
    }

    /// 0.0 (smallest) to 1.0 (best); the JPEG library's scale divided by 100. Default 0.75.
    float quality() const { return quality_; }
    /// Values outside 0.0 to 1.0 are cut to it; not-a-number counts as 0.0.
    void setQuality(float quality) { quality_ = quality > 0 ? (quality < 1 ? quality : 1.0F) : 0.0F; }

private:
    float quality_ = 0.75F;
};

using ZHLPhotoJPEGPreferencesPtr = std::shared_ptr<ZHLPhotoJPEGPreferences>;

}  // namespace zenquor
