#pragma once
// What every ancillary data packet offers.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "zenquor/core/ZQData.h"
#include "zenquor/core/ZQObject.h"

namespace zenquor {

/// One ancillary data packet of a video frame.
///
/// Thread-safety: readers may share a packet; setters are for its maker, before the packet is shared.
/// Standards:     SMPTE ST 291-1.
class ZQRVANCPacket : public ZQObject {
public:
    /// Data identifier; the low 8 bits go on the wire.
    virtual std::int32_t DID() const = 0;
    virtual void setDID(std::int32_t did) = 0;
    /// Secondary data identifier; the low 8 bits go on the wire.
    virtual std::int32_t SDID() const = 0;
    virtual void setSDID(std::int32_t sdid) = 0;
    /// The video line that carries the packet.
    virtual std::int32_t lineNumber() const = 0;
    virtual void setLineNumber(std::int32_t line) = 0;
    /// The user data words, one byte each, without DID, SDID, data count and checksum. May build them first,
    /// so this is not const; the result is the same for every reader.
    virtual ZQData sdiData() = 0;
    virtual void setSdiData(ZQData data) = 0;

    /// The packet with its content, for logs; description() unless a packet kind says more.
    virtual std::string debugDescription() const { return description(); }
};

using ZQRVANCPacketPtr = std::shared_ptr<ZQRVANCPacket>;
/// A frame's packets in order. Lists are combined through ZQRVANCHelper only.
using ZQRVANCPacketList = std::vector<ZQRVANCPacketPtr>;

}  // namespace zenquor
