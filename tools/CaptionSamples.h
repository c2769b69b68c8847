#pragma once
// The caption packets of a movie, sample by sample.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "zenquor/platform/Asset.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"

namespace zenquor::tools {

/// One caption packet as it lies in a movie.
struct CaptionSample {
    platform::MediaTime time;
    FourCC kind = 0;  // 'c608' or 'c708'
    std::shared_ptr<ZQRVANCClosedCaptionPacket> packet;
};

/// Reads every caption track of @p asset in turn and hands each packet to @p visit, until it returns false.
/// @return the samples that held no readable packet.
std::uint64_t forEachCaptionSample(const platform::AssetPtr& asset,
                                   const std::function<bool(const CaptionSample&)>& visit);

/// What a packet says, one sentence a part: the CEA-608 pairs of both fields, or what is wrong with it.
std::vector<std::string> describeCaptions(const ZQRVANCClosedCaptionPacket& packet);

}  // namespace zenquor::tools
