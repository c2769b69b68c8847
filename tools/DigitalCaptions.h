#pragma once
// Whether a caption packet carries CEA-708 captions, which byte pairs leave behind.

#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"

namespace zenquor::tools {

/// Looks at the packet as it was made; a broken one counts as far as it can be read.
bool holdsDigitalCaptions(const ZQRVANCClosedCaptionPacket& packet);

}  // namespace zenquor::tools
