#pragma once
// VC-3 frames: DNxHD and DNxHR (SMPTE ST 2019-1, ST 2019-4).

#include "zenquor/mxf/detail/PictureTrack.h"

namespace zenquor::mxf::detail {

/// The header of a VC-3 coding unit.
struct VC3Header {
    std::uint32_t compressionID = 0;  // 1235 … 1274
    std::uint32_t width = 0;
    std::uint32_t height = 0;  // lines of a frame
    bool isInterlaced = false;
    std::uint32_t depth = 8;
    bool is444 = false;
    bool isRGB = false;
    std::uint32_t colorVolume = 3;  // 0: 709, 1: 2020 non-constant, 2: 2020 constant luminance, 3: not told

    /// Whether the identifier goes with any raster; the size of frames then follows from the raster.
    bool isResolutionIndependent() const { return compressionID >= 1270; }
    static std::optional<VC3Header> read(std::span<const std::uint8_t> sample, std::string& why);
};

class VC3Track : public PictureTrack {
public:
    using PictureTrack::PictureTrack;

    std::optional<UnitFacts> add(std::span<const std::uint8_t> sample, std::uint64_t flags,
                                 std::string& why) override;
    std::uint8_t elementType() const override { return 0x0C; }
    UL container() const override;
    std::uint32_t constantBytes() const override { return frameBytes_; }
    MetadataSet& describe(HeaderMetadata& metadata) const override;

private:
    VC3Header header_;  // of the first frame
    std::uint32_t frameBytes_ = 0;
};

}  // namespace zenquor::mxf::detail
