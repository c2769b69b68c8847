#pragma once
// DV frames: IEC 61834 and the DV-based formats of 25, 50 and 100 Mbit/s (SMPTE ST 314, 370, 383).

#include "zenquor/mxf/detail/PictureTrack.h"

namespace zenquor::mxf::detail {

/// One raster of DV with its labels.
struct DVKind {
    bool is625 = false;       // or 50 fields or frames
    std::uint8_t signal = 0;  // the STYPE of the video source pack
    bool isIEC = false;
    std::uint32_t frameBytes = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    bool isInterlaced = true;
    std::uint32_t horizontalSubsampling = 2;
    std::uint32_t verticalSubsampling = 1;
    std::uint8_t containerByte = 0;
    std::uint16_t codingBytes = 0;
    LineMap lines;
    std::uint8_t siting = 0;
};

/// What the headers of a DV frame tell.
struct DVFrame {
    const DVKind* kind = nullptr;
    bool isWide = false;

    /// @param prefersIEC  decides between the two formats of 525 lines at 25 Mbit/s, whose pictures are the same.
    static std::optional<DVFrame> read(std::span<const std::uint8_t> sample, bool prefersIEC,
                                       std::string& why);
};

/// DV pictures are compound items of constant size.
class DVTrack : public PictureTrack {
public:
    using PictureTrack::PictureTrack;

    std::optional<UnitFacts> add(std::span<const std::uint8_t> sample, std::uint64_t flags,
                                 std::string& why) override;
    std::uint8_t itemType() const override { return 0x18; }
    std::uint8_t elementType() const override { return 0x01; }
    UL container() const override;
    std::uint32_t constantBytes() const override;
    MetadataSet& describe(HeaderMetadata& metadata) const override;

private:
    DVFrame frame_;  // the first
};

}  // namespace zenquor::mxf::detail
