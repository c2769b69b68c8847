#include "zenquor/mxf/detail/MPEG2Track.h"

#include <iterator>

#include "zenquor/mxf/detail/IndexSegment.h"

namespace zenquor::mxf::detail {
namespace {

constexpr UL elementaryStream = ul(0x060E2B34, 0x04010102, 0x0D010301, 0x02046001);

// Coding labels by profile and level; the byte before the last is one more for streams with P or B pictures.
struct CodingRow {
    std::uint8_t profileAndLevel;
    UL intra;
};
constexpr UL highLevel422 = ul(0x060E2B34, 0x04010103, 0x04010202, 0x01040200);
constexpr UL mainLevel422 = ul(0x060E2B34, 0x04010103, 0x04010202, 0x01020200);
constexpr UL highLevel = ul(0x060E2B34, 0x04010103, 0x04010202, 0x01030200);
constexpr UL mainLevel = ul(0x060E2B34, 0x04010103, 0x04010202, 0x01011000);
constexpr UL high1440Level = ul(0x060E2B34, 0x04010108, 0x04010202, 0x01050200);
constexpr CodingRow codingRows[] = {
    {0x82, highLevel422}, {0x85, mainLevel422}, {0x44, highLevel}, {0x46, high1440Level}, {0x48, mainLevel},
};

UL intraCodingOf(const MPEG2Sequence& sequence) {
    for (const CodingRow& row : codingRows) {
        if (row.profileAndLevel == sequence.profileAndLevel) return row.intra;
    }
    const bool isHigh = sequence.height > 608;
    if (sequence.chromaFormat >= 2) return isHigh ? highLevel422 : mainLevel422;
    return isHigh ? highLevel : mainLevel;
}

constexpr std::uint32_t roundedUp(std::uint32_t value, std::uint32_t step) {
    return (value + step - 1) / step * step;
}

void tellAspect(PictureDescription& picture, const MPEG2Sequence& sequence) {
    constexpr Rational aspects[] = {{0, 1}, {0, 1}, {4, 3}, {16, 9}, {221, 100}};
    constexpr std::uint8_t squareSamples = 1;
    if (sequence.aspectCode == squareSamples) {
        picture.setAspect(sequence.width, sequence.height);
    } else if (sequence.aspectCode < std::size(aspects)) {
        const Rational aspect = aspects[sequence.aspectCode];
        picture.setAspect(static_cast<std::uint32_t>(aspect.numerator),
                          static_cast<std::uint32_t>(aspect.denominator));
    }
}

}  // namespace

PictureDescription describeMPEG2(const MPEG2Sequence& sequence, const MPEG2Picture& picture,
                                 bool prefersInterlaced) {
    PictureDescription description;
    description.isInterlaced = !sequence.isProgressive && (!picture.isProgressiveFrame || prefersInterlaced);
    description.isBottomFieldFirst = !picture.isTopFieldFirst;
    description.storedWidth = roundedUp(sequence.width, 16);
    description.storedHeight = roundedUp(sequence.height, sequence.isProgressive ? 16 : 32);
    description.displayWidth = sequence.width;
    description.displayHeight = sequence.height;
    tellAspect(description, sequence);
    description.horizontalSubsampling = sequence.chromaFormat == 3 ? 1 : 2;
    description.verticalSubsampling = sequence.chromaFormat == 1 ? 2 : 1;
    if (sequence.chromaFormat == 1) description.siting = PictureDescription::sitedBetweenLines;
    description.color = sequence.color;
    return description;
}

std::optional<UnitFacts> MPEG2Track::add(std::span<const std::uint8_t> sample, std::uint64_t,
                                         std::string& why) {
    const std::optional<MPEG2Picture> picture = MPEG2Picture::read(sample, why);
    if (!picture) return std::nullopt;
    if (picture->sequence && !hasSequence_) {
        sequence_ = *picture->sequence;
        firstPicture_ = *picture;
        hasSequence_ = true;
    } else if (picture->sequence && (picture->sequence->width != sequence_.width ||
                                     picture->sequence->height != sequence_.height)) {
        hasOneSequence_ = false;
    }
    const std::int64_t wished = wishedPlace(*picture);
    const std::int64_t next = order_.lowestFree();
    const std::int64_t place = order_.take(wished);
    const bool isLed = picture->type == PictureType::I && place > next;
    return factsOf(*picture, stored_++, place, isLed);
}

std::int64_t MPEG2Track::wishedPlace(const MPEG2Picture& picture) {
    constexpr std::int64_t modulus = 1024;
    if (picture.startsGroup) startGroup();
    while (groupStart_ + picture.temporalReference + modulus / 2 < order_.end()) groupStart_ += modulus;
    // Some coders begin to count again with an I picture and write no group header.
    const std::int64_t wished = groupStart_ + picture.temporalReference;
    if (picture.type == PictureType::I && wished < order_.lowestFree()) startGroup();
    return groupStart_ + picture.temporalReference;
}

void MPEG2Track::startGroup() {
    order_.startGroup();
    groupStart_ = order_.end();
}

UnitFacts MPEG2Track::factsOf(const MPEG2Picture& picture, std::int64_t unit, std::int64_t place,
                              bool isLed) {
    const bool isKey = picture.type == PictureType::I;
    const bool canBeEntered = isKey && (!isLed || picture.isClosedGroup);
    const bool startsGroup = isKey && (picture.startsGroup || !firstPicture_.startsGroup);
    statistics_.add({picture.type, startsGroup, canBeEntered, isLed});
    if (isKey) {
        previousKeyUnit_ = unit == 0 ? 0 : keyUnit_;
        keyUnit_ = unit;
        keyPlace_ = place;
        isClosedKey_ = canBeEntered;
    }
    const bool leads = picture.type == PictureType::B && place < keyPlace_;
    const bool needsPrevious = leads && !isClosedKey_;
    std::uint8_t flags = static_cast<std::uint8_t>(picture.type);
    if (picture.sequence) flags |= IndexEntry::sequenceHeader;
    if (canBeEntered) flags |= IndexEntry::randomAccess;
    if (!isKey && !(leads && isClosedKey_)) flags |= IndexEntry::forwardPrediction;
    if (picture.type == PictureType::B) flags |= IndexEntry::backwardPrediction;
    return {place, flags, static_cast<std::int32_t>((needsPrevious ? previousKeyUnit_ : keyUnit_) - unit)};
}

UL MPEG2Track::container() const {
    return elementaryStream;
}

UL MPEG2Track::coding() const {
    UL label = intraCodingOf(sequence_);
    if (!(statistics_.hasSeveral() && statistics_.isIntraOnly())) ++label[14];
    return label;
}

MetadataSet& MPEG2Track::describe(HeaderMetadata& metadata) const {
    PictureDescription picture = describeMPEG2(sequence_, firstPicture_, format().isInterlaced);
    if (!hasSequence_) picture.isInterlaced = format().isInterlaced;
    MetadataSet& descriptor = addDescriptor(metadata, SetKind::MPEGVideoDescriptor, coding(), picture);
    descriptor.set(Property::SingleSequence, hasOneSequence_)
        .set(Property::CodedContentType, picture.isInterlaced ? 2 : 1)
        .set(Property::LowDelay, sequence_.isLowDelay);
    if (statistics_.hasWholeGroup()) {
        descriptor.set(Property::ConstantBFrames, statistics_.hasConstantBPictures())
            .set(Property::ClosedGOP, statistics_.areAllClosed())
            .set(Property::IdenticalGOP, statistics_.areIdentical())
            .set(Property::MaxGOP, statistics_.longestGroup())
            .set(Property::MaxBPictureCount, statistics_.mostBPictures());
    }
    if (sequence_.bitRate != 0) descriptor.set(Property::BitRate, sequence_.bitRate);
    if (sequence_.profileAndLevel != 0) descriptor.set(Property::ProfileAndLevel, sequence_.profileAndLevel);
    return descriptor;
}

}  // namespace zenquor::mxf::detail
