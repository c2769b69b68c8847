#pragma once
// Text for CEA-608 captions.

#include "zenquor/sidecar/ZQRSubtitleBlock.h"

namespace zenquor::tools {

/// Replaces characters that the basic caption set lacks by ones that it has: straight quotes, dashes,
/// ellipses. Without this a subtitle's "don't" would be shown as "dont".
void fitToCaptionCharacters(const ZQRSubtitleBlockList& blocks);

}  // namespace zenquor::tools
