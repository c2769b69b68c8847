#pragma once
// The check of the captions that come with the frames of a movie.

#include <cstdint>
#include <optional>

#include "zenquor/sidecar/ZQRCaptionChecker.h"
#include "zenquor/sidecar/detail/CDPCheck.h"
#include "zenquor/sidecar/detail/PairCheck.h"
#include "zenquor/sidecar/detail/RemarkCollector.h"

namespace zenquor::detail {

/// Thread-safety: One thread at a time.
class StreamCheck {
public:
    explicit StreamCheck(const ZQRCaptionChecker::Options& options);

    void addVancPackets(const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode);
    ZQRCaptionChecker::Report finish(const ZQCKTimecode& timecode);

private:
    void addPacket(ZQRVANCPacket& packet, const Place& place);
    void addPairs(std::span<const std::uint8_t> pairs, const Place& place);
    void checkOrder(const Place& place);

    ZQRCaptionChecker::Report report_;
    RemarkCollector remarks_{ZQRCaptionChecker::maximumRemarks};
    PairCheck pairs_{remarks_};
    CDPCheck packets_{remarks_, pairs_};
    std::optional<ZQCKTimecode> previous_;
};

}  // namespace zenquor::detail
