#pragma once
// What a viewer sees of a stream of packets, as a list.

#include <map>

#include "CaptionSettings.h"
#include "zenquor/sidecar/ZQRCEA608Decoder.h"
#include "zenquor/sidecar/ZQRTeletextPageReader.h"

namespace zenquor::tools {

/// Reads caption channels and teletext pages at once and keeps the blocks by service.
class CaptionReader {
public:
    explicit CaptionReader(CaptionSettings::Output output);
    CaptionReader(const CaptionReader&) = delete;
    CaptionReader& operator=(const CaptionReader&) = delete;

    void add(const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode);
    void finish(const ZQCKTimecode& timecode);

    /// The blocks of a caption channel, or of the teletext page that was read.
    /// @param channel  1 to 4; not looked at for teletext.
    const ZQRScreenBlockList& blocks(std::int32_t channel) const;
    /// The channel, or page, with the most blocks; 0 when nothing was seen.
    std::int32_t busiest() const;

private:
    void keep(const ZQRScreenBlockPtr& block);

    CaptionSettings::Output output_;
    std::map<std::int32_t, ZQRScreenBlockList> blocks_;
    ZQRCEA608Decoder captions_;
    ZQRTeletextPageReader teletext_;
};

}  // namespace zenquor::tools
