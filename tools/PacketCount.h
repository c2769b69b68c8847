#pragma once
// How many ancillary packets of which kind a file holds, and how many of them are faulty.

#include <cstdint>
#include <map>
#include <string>

#include "zenquor/vanc/ZQRVANCPacket.h"

namespace zenquor::tools {

/// Counts packets by kind, and what caption packets carry.
class PacketCount {
public:
    /// @param kind  what to call it: "c708 packets", "SCTE-104 packets".
    void add(const std::string& kind, const ZQRVANCPacketPtr& packet);

    const std::map<std::string, std::uint64_t>& kinds() const { return kinds_; }
    std::uint64_t faulty() const { return faulty_; }

    /// "CDP packets", "OP-47 packets", "SCTE-104 packets", otherwise by number: "60/60 packets".
    static std::string nameOf(const ZQRVANCPacketPtr& packet);

private:
    std::map<std::string, std::uint64_t> kinds_;
    std::uint64_t faulty_ = 0;
};

}  // namespace zenquor::tools
