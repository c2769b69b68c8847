#include "zenquor/mxf/detail/D10PictureTrack.h"

#include "zenquor/mxf/detail/IndexSegment.h"
#include "zenquor/mxf/detail/MPEG2Track.h"

namespace zenquor::mxf::detail {
namespace {

constexpr UL containerTemplate = ul(0x060E2B34, 0x04010101, 0x0D010301, 0x02010001);
constexpr UL codingTemplate = ul(0x060E2B34, 0x04010101, 0x04010202, 0x01020100);
constexpr std::uint32_t fewestLinesOf625 = 560;

// Stored lines hold the blanking lines above the picture; what is left of them is shown (ST 356).
struct SystemRow {
    std::uint32_t storedLines;
    std::uint32_t displayLines;
    std::int32_t displayYOffset;  // lines of a field
    LineMap map;
};
constexpr SystemRow systemRows[] = {
    {608, 576, 16, {7, 320}},
    {512, 486, 13, {7, 270}},
};

}  // namespace

std::optional<UnitFacts> D10PictureTrack::add(std::span<const std::uint8_t> sample, std::uint64_t,
                                              std::string& why) {
    const std::optional<MPEG2Picture> picture = MPEG2Picture::read(sample, why);
    if (!picture) return std::nullopt;
    if (picture->type != PictureType::I) {
        why = "it is no intra picture, as every D-10 picture is";
        return std::nullopt;
    }
    if (sample.size() > UINT32_MAX) {
        why = "it is larger than any D-10 picture";
        return std::nullopt;
    }
    if (picture->sequence && !hasSequence_) {
        sequence_ = *picture->sequence;
        firstPicture_ = *picture;
        hasSequence_ = true;
    }
    if (pictureBytes_ == 0) pictureBytes_ = static_cast<std::uint32_t>(sample.size());
    const std::uint8_t header = picture->sequence ? IndexEntry::sequenceHeader : 0;
    return countIntra(IndexEntry::randomAccess | header);
}

std::uint8_t D10PictureTrack::kind() const {
    const std::uint32_t lines = hasSequence_ ? sequence_.height : format().height;
    const bool is625 = lines >= fewestLinesOf625;
    const std::uint64_t bitRate = std::uint64_t{pictureBytes_} * 8 * (is625 ? 25 : 30);
    const std::uint8_t rate = bitRate > 45'000'000 ? 0 : bitRate > 35'000'000 ? 1 : 2;  // 50, 40, 30
    return static_cast<std::uint8_t>(1 + 2 * rate + (is625 ? 0 : 1));
}

UL D10PictureTrack::container() const {
    UL label = containerTemplate;
    label[14] = kind();
    return label;
}

MetadataSet& D10PictureTrack::describe(HeaderMetadata& metadata) const {
    PictureDescription picture = describeMPEG2(sequence_, firstPicture_, true);
    picture.isInterlaced = true;
    for (const SystemRow& row : systemRows) {
        if (!hasSequence_ || picture.displayHeight != row.storedLines) continue;
        picture.sampledHeight = row.storedLines;
        picture.storedHeight = row.storedLines;
        picture.displayHeight = row.displayLines;
        picture.displayYOffset = row.displayYOffset;
        picture.lineMap = row.map;
    }
    UL coding = codingTemplate;
    coding[15] = kind();
    return addDescriptor(metadata, SetKind::CDCIEssenceDescriptor, coding, picture);
}

}  // namespace zenquor::mxf::detail
