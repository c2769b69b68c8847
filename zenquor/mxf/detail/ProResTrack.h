#pragma once
// ProRes frames (SMPTE RDD 36 and RDD 44).

#include "zenquor/mxf/detail/PictureTrack.h"

namespace zenquor::mxf::detail {

/// The header in front of a ProRes frame's pictures.
struct ProResFrame {
    // The values are those of the coding labels.
    enum class Profile : std::uint8_t { Proxy = 1, LT = 2, Standard = 3, HQ = 4, P4444 = 5, P4444XQ = 6 };

    std::uint16_t width = 0;
    std::uint16_t height = 0;
    bool is444 = false;
    bool isInterlaced = false;
    bool isBottomFieldFirst = false;
    std::uint8_t aspectCode = 0;  // 1 square pixels, 2 4:3, 3 16:9
    std::uint8_t alphaDepth = 0;  // 0, 8 or 16
    ColorCodes color;
    Profile profile = Profile::Standard;

    static std::optional<ProResFrame> read(std::span<const std::uint8_t> sample, std::string& why);
};

/// A frame does not name its profile; the quantisation that each profile is coded with tells it, and where a
/// frame carries none, its size.
class ProResTrack : public PictureTrack {
public:
    using PictureTrack::PictureTrack;

    std::optional<UnitFacts> add(std::span<const std::uint8_t> sample, std::uint64_t flags,
                                 std::string& why) override;
    std::uint8_t elementType() const override { return 0x17; }
    UL container() const override;
    std::uint32_t constantBytes() const override { return 0; }
    MetadataSet& describe(HeaderMetadata& metadata) const override;

private:
    ProResFrame frame_;  // the first
};

}  // namespace zenquor::mxf::detail
