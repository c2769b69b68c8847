#pragma once
// What an ancillary packet says, for a person.

#include <string>
#include <vector>

#include "zenquor/vanc/ZQRVANCPacket.h"

namespace zenquor::tools {

/// One sentence a part: the byte pairs of captions, the rows of teletext, the operations of a cue message, and what is
/// wrong with the packet.
std::vector<std::string> describePacket(const ZQRVANCPacketPtr& packet);

}  // namespace zenquor::tools
