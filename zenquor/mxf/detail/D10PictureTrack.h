#pragma once
// D-10 pictures: MPEG-2 422P@ML, intra only, of constant size (SMPTE ST 356, ST 386).

#include "zenquor/mxf/detail/MPEG2Headers.h"
#include "zenquor/mxf/detail/PictureTrack.h"

namespace zenquor::mxf::detail {

/// The rate (30, 40 or 50 Mbit/s) is told by the size of the first picture, the system (525 or 625 lines) by
/// its raster.
class D10PictureTrack : public PictureTrack {
public:
    using PictureTrack::PictureTrack;

    std::optional<UnitFacts> add(std::span<const std::uint8_t> sample, std::uint64_t flags,
                                 std::string& why) override;
    std::uint8_t itemType() const override { return 0x05; }
    std::uint8_t elementType() const override { return 0x01; }
    UL container() const override;
    std::uint32_t constantBytes() const override { return pictureBytes_; }
    MetadataSet& describe(HeaderMetadata& metadata) const override;

private:
    std::uint8_t kind() const;  // 1 to 6, as in the labels

    MPEG2Sequence sequence_;
    MPEG2Picture firstPicture_;
    bool hasSequence_ = false;
    std::uint32_t pictureBytes_ = 0;
};

}  // namespace zenquor::mxf::detail
