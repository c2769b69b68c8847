#pragma once
// The start timecode of a media file.

#include <optional>

#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/platform/Asset.h"

namespace zenquor::detail {

/// The timecode that a file shows at @p zero, its label in @p timebase: from the timecode track of its
/// pictures, or from what the container says in text. Nothing when the file has none.
///
/// Standards: SMPTE ST 12-1; QuickTime File Format (timecode media).
std::optional<ZQCKTimecode> startTimecodeOfFile(const platform::AssetPtr& asset, platform::MediaTime zero,
                                                ZQCKTimebase timebase);

}  // namespace zenquor::detail
