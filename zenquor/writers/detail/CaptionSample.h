#pragma once
// Caption samples of movies: atoms around byte pairs or around a caption distribution packet.

#include <optional>

#include "zenquor/core/FourCC.h"
#include "zenquor/core/ZQData.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"

namespace zenquor::detail {

/// The sample of one frame for a track of @p kind: 'c608' takes "cdat" (field 1) and, with pairs of both
/// fields, "cdt2"; 'c708' takes "ccdp". The packet is converted where it is of the other kind, and not
/// changed.
/// @return nothing for no packet or one that holds nothing for the track.
std::optional<ZQData> captionSample(const ZQRVANCClosedCaptionPacket* packet, FourCC kind);

/// A sample that says nothing, for a track that has to start before its first caption.
ZQData emptyCaptionSample(FourCC kind);

}  // namespace zenquor::detail
