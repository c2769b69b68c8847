#pragma once
// The caption packets of a movie, sample by sample.

#include <cstdint>
#include <functional>

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

}  // namespace zenquor::tools
