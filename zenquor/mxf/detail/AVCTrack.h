#pragma once
// AVC as a byte stream: the intra classes and long GOP (SMPTE ST 381-3, ST 2027).

#include "zenquor/mxf/detail/AVCAccessUnit.h"
#include "zenquor/mxf/detail/DisplayOrder.h"
#include "zenquor/mxf/detail/PictureTrack.h"

namespace zenquor::mxf::detail {

/// Display order comes from the picture order count, access points from IDR pictures and recovery points.
/// Pictures of the intra classes are all of the first one's size.
class AVCTrack : public PictureTrack {
public:
    using PictureTrack::PictureTrack;

    std::optional<UnitFacts> add(std::span<const std::uint8_t> sample, std::uint64_t flags,
                                 std::string& why) override;
    std::uint8_t elementType() const override { return 0x05; }
    UL container() const override;
    std::uint32_t constantBytes() const override { return constantBytes_; }
    bool isReordered() const override { return mayReorder_; }
    MetadataSet& describe(HeaderMetadata& metadata) const override;

private:
    bool isIntraClass() const;
    void noteFirst(const AVCAccessUnit& unit, std::size_t bytes);
    void noteParameterSets(const AVCAccessUnit& unit);
    std::int64_t wishedPlace(const AVCAccessUnit& unit);
    UnitFacts factsOf(const AVCAccessUnit& unit, std::int64_t place, bool isLed);
    std::uint8_t decodingDelay() const;
    /// Of pictures that came without parameter sets.
    PictureDescription pictureOfClass() const;
    PictureDescription picture() const;
    UL coding(const PictureDescription& picture) const;
    void describeCoding(MetadataSet& sub, bool isInterlaced) const;
    void describeRates(MetadataSet& sub) const;

    AVCParser parser_;
    AVCPictureOrder pictureOrder_;
    DisplayOrder order_;
    GOPStatistics statistics_;
    std::optional<AVCSequence> sequence_;  // of the first picture
    std::optional<AVCSlice> firstSlice_;
    bool isBottomFieldFirst_ = false;
    bool mayReorder_ = false;
    std::uint32_t constantBytes_ = 0;
    std::int64_t stored_ = 0;
    std::uint64_t bytes_ = 0;
    std::uint64_t largest_ = 0;
    std::int64_t periodStart_ = 0;  // display place of the order count periodOrder_
    std::int64_t periodOrder_ = 0;
    std::int64_t orderStep_ = 2;  // of one picture
    std::int64_t keyUnit_ = 0;
    std::int64_t keyPlace_ = 0;
    std::int64_t previousKeyUnit_ = 0;

    /// Where parameter sets of one kind were seen.
    struct Sightings {
        std::uint64_t digest = 0;
        bool isConstant = true;
        bool inEvery = true;
        bool inEveryKey = true;

        void note(bool isThere, std::uint64_t seen, bool isKey);
        /// The property of the sub-descriptor; 0 when the places are none that it can tell.
        std::uint8_t flags(bool isLongGOP) const;
    };
    Sightings sequences_;
    Sightings pictureParameters_;
};

}  // namespace zenquor::mxf::detail
