#pragma once
// MPEG-2 video, long GOP or intra, as an elementary stream (SMPTE ST 381-1).

#include "zenquor/mxf/detail/DisplayOrder.h"
#include "zenquor/mxf/detail/GOPStatistics.h"
#include "zenquor/mxf/detail/MPEG2Headers.h"
#include "zenquor/mxf/detail/PictureTrack.h"

namespace zenquor::mxf::detail {

/// What an MPEG-2 sequence and a picture of it tell of the raster.
PictureDescription describeMPEG2(const MPEG2Sequence& sequence, const MPEG2Picture& picture,
                                 bool prefersInterlaced);

/// Display order comes from the temporal references, which count from each group header on; where there is no
/// such header they run on modulo 1024.
class MPEG2Track : public PictureTrack {
public:
    using PictureTrack::PictureTrack;

    std::optional<UnitFacts> add(std::span<const std::uint8_t> sample, std::uint64_t flags,
                                 std::string& why) override;
    std::uint8_t elementType() const override { return 0x05; }
    UL container() const override;
    std::uint32_t constantBytes() const override { return 0; }
    bool isReordered() const override { return !sequence_.isLowDelay; }
    MetadataSet& describe(HeaderMetadata& metadata) const override;

private:
    void startGroup();
    std::int64_t wishedPlace(const MPEG2Picture& picture);
    /// @param isLed  pictures that are shown before this I picture follow it.
    UnitFacts factsOf(const MPEG2Picture& picture, std::int64_t unit, std::int64_t place, bool isLed);
    UL coding() const;

    MPEG2Sequence sequence_;  // of the first sample that has one
    MPEG2Picture firstPicture_;
    bool hasSequence_ = false;
    bool hasOneSequence_ = true;
    std::int64_t stored_ = 0;
    std::int64_t groupStart_ = 0;  // display place of temporal reference 0
    std::int64_t keyUnit_ = 0;     // the I picture that decoding starts at
    std::int64_t keyPlace_ = 0;
    std::int64_t previousKeyUnit_ = 0;  // the one before it, which leading pictures need
    bool isClosedKey_ = true;
    DisplayOrder order_;
    GOPStatistics statistics_;
};

}  // namespace zenquor::mxf::detail
