#include "zenquor/mxf/detail/AVCTrack.h"

#include <algorithm>

#include "zenquor/mxf/detail/IndexSegment.h"

namespace zenquor::mxf::detail {
namespace {

constexpr UL byteStream = ul(0x060E2B34, 0x0401010A, 0x0D010301, 0x02106001);
constexpr UL intraTemplate = ul(0x060E2B34, 0x0401010A, 0x04010202, 0x01320001);
constexpr UL predictedTemplate = ul(0x060E2B34, 0x0401010D, 0x04010202, 0x01310001);
constexpr std::uint8_t flagIDR = 0x04;  // of an index entry

// Classes of AVC-Intra that have labels (SMPTE ST 2027); the last byte of a label is that of the raster.
struct ClassRow {
    std::int32_t codec;
    std::uint8_t profile;
    std::uint32_t width1080;
    std::uint32_t width720;
    UL coding;
};
constexpr ClassRow classRows[] = {
    {codec::avcIntra50, 110, 1440, 960, ul(0x060E2B34, 0x0401010A, 0x04010202, 0x01322100)},
    {codec::avcIntra100, 122, 1920, 1280, ul(0x060E2B34, 0x0401010A, 0x04010202, 0x01323100)},
    {codec::avcIntra200, 122, 1920, 1280, ul(0x060E2B34, 0x0401010D, 0x04010202, 0x01323200)},
};
struct RasterRow {
    std::uint32_t lines;
    bool isInterlaced;
    std::int64_t rate;
    std::uint8_t code;
};
constexpr RasterRow rasterRows[] = {
    {1080, true, 30, 0x01},  {1080, true, 25, 0x02}, {1080, false, 30, 0x03},
    {1080, false, 25, 0x04}, {720, false, 60, 0x08}, {720, false, 50, 0x09},
};

struct ProfileRow {
    std::uint8_t profile;
    std::uint8_t predicted;
    std::uint8_t intra;  // 0: no such label
};
constexpr ProfileRow profileRows[] = {
    {66, 0x10, 0},     {77, 0x20, 0},     {88, 0x30, 0},     {100, 0x40, 0},
    {110, 0x50, 0x20}, {122, 0x60, 0x30}, {244, 0x70, 0x40}, {44, 0x70, 0x50},
};
constexpr std::uint8_t profileBaseline = 66, constrainedBaseline = 0x11, constraintFlag1 = 0x40;

}  // namespace

bool AVCTrack::isIntraClass() const {
    return format().codec != codec::avcLongGOP;
}

std::optional<UnitFacts> AVCTrack::add(std::span<const std::uint8_t> sample, std::uint64_t,
                                       std::string& why) {
    const std::optional<AVCAccessUnit> unit = parser_.read(sample, why);
    if (!unit) return std::nullopt;
    if (isIntraClass() && unit->type != PictureType::I) {
        why = "it is no intra picture, as every picture of its class is";
        return std::nullopt;
    }
    if (!isIntraClass() && !unit->slice) {
        why = "the parameter sets of its slices have not come yet";
        return std::nullopt;
    }
    if (stored_ == 0) noteFirst(*unit, sample.size());
    noteParameterSets(*unit);
    bytes_ += sample.size();
    largest_ = std::max<std::uint64_t>(largest_, sample.size());
    const std::int64_t wished = isIntraClass() ? stored_ : wishedPlace(*unit);
    const std::int64_t next = order_.lowestFree();
    const std::int64_t place = order_.take(wished);
    return factsOf(*unit, place, place > next);
}

void AVCTrack::noteFirst(const AVCAccessUnit& unit, std::size_t bytes) {
    if (unit.slice) sequence_ = *parser_.activeSequence();
    firstSlice_ = unit.slice;
    if (isIntraClass() && bytes <= UINT32_MAX) constantBytes_ = static_cast<std::uint32_t>(bytes);
    const bool isInOrder =
        isIntraClass() || (sequence_ && (sequence_->orderType == 2 || sequence_->mostReordered == 0u ||
                                         sequence_->isIntraProfile()));
    mayReorder_ = !isInOrder;
    if (isIntraClass() && unit.slice) {
        AVCPictureOrder order;
        isBottomFieldFirst_ = order.next(*unit.slice, *sequence_).isBottomFirst;
    }
}

void AVCTrack::Sightings::note(bool isThere, std::uint64_t seen, bool isKey) {
    if (isThere && digest != 0 && seen != digest) isConstant = false;
    if (isThere && digest == 0) digest = seen;
    inEvery = inEvery && isThere;
    inEveryKey = inEveryKey && (isThere || !isKey);
}

std::uint8_t AVCTrack::Sightings::flags(bool isLongGOP) const {
    constexpr std::uint8_t constant = 0x80, everyUnit = 0x20, everyGroup = 0x30;
    if (digest == 0 || !(inEvery || (isLongGOP && inEveryKey))) return 0;
    return static_cast<std::uint8_t>((isConstant ? constant : 0) |
                                     (inEvery && !isLongGOP ? everyUnit : everyGroup));
}

void AVCTrack::noteParameterSets(const AVCAccessUnit& unit) {
    const bool isKey = unit.isIDR || unit.isRecoveryPoint;
    sequences_.note(unit.hasSequence, unit.sequenceDigest, isKey);
    pictureParameters_.note(unit.hasPictureParameters, unit.pictureParametersDigest, isKey);
}

std::int64_t AVCTrack::wishedPlace(const AVCAccessUnit& unit) {
    const AVCPictureOrder::Place place = pictureOrder_.next(*unit.slice, *parser_.activeSequence());
    if (stored_ == 0) isBottomFieldFirst_ = place.isBottomFirst;
    if (unit.isIDR || stored_ == 0) {
        order_.startGroup();
        periodStart_ = order_.end();
        periodOrder_ = place.order;
    }
    const std::int64_t distance = place.order - periodOrder_;
    // Fields count one each, so that frames count two; some coders let frames count one.
    if (!unit.slice->isField && distance % 2 != 0) orderStep_ = 1;
    const std::int64_t rounded = distance - (distance % orderStep_ + orderStep_) % orderStep_;
    return periodStart_ + rounded / orderStep_;
}

UnitFacts AVCTrack::factsOf(const AVCAccessUnit& unit, std::int64_t place, bool isLed) {
    const bool isIntra = unit.type == PictureType::I;
    const bool isKey = isIntra && (isIntraClass() || unit.isIDR || unit.isRecoveryPoint || unit.hasSequence);
    const bool canBeEntered = isKey && !isLed;
    statistics_.add({unit.type, isKey, canBeEntered, isLed});
    const std::int64_t number = stored_++;
    if (isKey) {
        previousKeyUnit_ = number == 0 ? 0 : keyUnit_;
        keyUnit_ = number;
        keyPlace_ = place;
    }
    const bool needsPrevious = !isKey && place < keyPlace_;
    std::uint8_t flags = static_cast<std::uint8_t>(unit.type);
    if (canBeEntered) flags |= IndexEntry::randomAccess;
    if (unit.hasSequence) flags |= IndexEntry::sequenceHeader;
    if (!isIntra) flags |= IndexEntry::forwardPrediction;
    if (unit.type == PictureType::B) flags |= IndexEntry::backwardPrediction;
    if (unit.isIDR) flags |= flagIDR;
    return {place, flags, static_cast<std::int32_t>((needsPrevious ? previousKeyUnit_ : keyUnit_) - number)};
}

UL AVCTrack::container() const {
    return byteStream;
}

PictureDescription AVCTrack::pictureOfClass() const {
    PictureDescription picture;
    picture.isInterlaced = format().isInterlaced;
    picture.depth = 10;
    if (format().codec == codec::avcIntra50) {
        picture.verticalSubsampling = 2;
        picture.siting = PictureDescription::sitedBetweenLines;
    }
    for (const ClassRow& row : classRows) {
        if (row.codec != format().codec) continue;
        if (format().height == 1080) picture.storedWidth = row.width1080;
        if (format().height == 720) picture.storedWidth = row.width720;
    }
    return picture;
}

PictureDescription AVCTrack::picture() const {
    if (!sequence_) return pictureOfClass();
    PictureDescription picture;
    picture.isInterlaced = format().isInterlaced;
    const bool hasFields = firstSlice_->isField || sequence_->isMacroblockAdaptive;
    if (sequence_->hasFramesOnly || hasFields) picture.isInterlaced = !sequence_->hasFramesOnly;
    picture.isBottomFieldFirst = isBottomFieldFirst_;
    picture.storedWidth = isIntraClass() ? sequence_->width : sequence_->codedWidth;
    picture.storedHeight = isIntraClass() ? sequence_->height : sequence_->codedHeight;
    picture.displayWidth = sequence_->width;
    picture.displayHeight = sequence_->height;
    picture.setAspect(sequence_->width, sequence_->height, sequence_->sampleAspectX,
                      sequence_->sampleAspectY);
    picture.depth = sequence_->depth;
    picture.horizontalSubsampling = sequence_->chromaFormat == 3 ? 1 : 2;
    picture.verticalSubsampling = sequence_->chromaFormat == 1 ? 2 : 1;
    if (sequence_->chromaFormat == 1) picture.siting = PictureDescription::sitedBetweenLines;
    picture.isFullRange = sequence_->isFullRange;
    picture.color = sequence_->color;
    return picture;
}

UL AVCTrack::coding(const PictureDescription& picture) const {
    const std::uint8_t profile = sequence_                             ? sequence_->profile
                                 : format().codec == codec::avcIntra50 ? 110
                                                                       : 122;
    for (const ClassRow& row : classRows) {
        if (row.codec != format().codec || row.profile != profile) continue;
        for (const RasterRow& raster : rasterRows) {
            if (raster.lines != picture.displayHeight || raster.isInterlaced != picture.isInterlaced ||
                raster.rate != nominalRate() ||
                picture.displayWidth != (raster.lines == 1080 ? row.width1080 : row.width720))
                continue;
            UL label = row.coding;
            label[15] = raster.code;
            return label;
        }
    }
    const bool isIntra = isIntraClass() || (sequence_ && sequence_->isIntraProfile());
    for (const ProfileRow& row : profileRows) {
        if (row.profile != profile) continue;
        UL label = isIntra && row.intra != 0 ? intraTemplate : predictedTemplate;
        label[14] = isIntra && row.intra != 0 ? row.intra : row.predicted;
        if (profile == profileBaseline && (sequence_->constraints & constraintFlag1) != 0)
            label[14] = constrainedBaseline;
        return label;
    }
    UL label = predictedTemplate;
    label[14] = 0x40;
    return label;
}

std::uint8_t AVCTrack::decodingDelay() const {
    constexpr std::uint8_t unknown = 0xFF;
    if (!mayReorder_) return 0;
    if (!sequence_->mostReordered) return unknown;
    return static_cast<std::uint8_t>(*sequence_->mostReordered);
}

MetadataSet& AVCTrack::describe(HeaderMetadata& metadata) const {
    PictureDescription described = picture();
    described.fallBackTo(format());
    MetadataSet& descriptor =
        addDescriptor(metadata, SetKind::CDCIEssenceDescriptor, coding(described), described);
    MetadataSet& sub = addSubDescriptor(metadata, descriptor, SetKind::AVCSubDescriptor);
    sub.set(Property::AVCDecodingDelay, decodingDelay());
    if (sequence_) describeCoding(sub, described.isInterlaced);
    if (stored_ > 0) describeRates(sub);
    return descriptor;
}

void AVCTrack::describeCoding(MetadataSet& sub, bool isInterlaced) const {
    constexpr int progressive = 1, interlaced = 2, mixed = 3;
    const int contentOfFields = isIntraClass() ? mixed : interlaced;
    sub.set(Property::AVCProfile, sequence_->profile)
        .set(Property::AVCProfileConstraint, sequence_->constraints)
        .set(Property::AVCLevel, sequence_->level)
        .set(Property::AVCCodedContentKind, isInterlaced ? contentOfFields : progressive)
        .set(Property::AVCMaximumRefFrames, std::min<std::uint32_t>(sequence_->mostReferences, UINT8_MAX));
    if (!isIntraClass() && !statistics_.hasWholeGroup()) return;
    sub.set(Property::AVCConstantBPictureFlag, statistics_.hasConstantBPictures())
        .set(Property::AVCClosedGOPIndicator, statistics_.areAllClosed())
        .set(Property::AVCIdenticalGOPIndicator, statistics_.areIdentical())
        .set(Property::AVCMaximumGOPSize, statistics_.longestGroup())
        .set(Property::AVCMaximumBPictureCount, statistics_.mostBPictures());
    const bool isLongGOP = !isIntraClass();
    if (const auto flags = sequences_.flags(isLongGOP)) sub.set(Property::AVCSequenceParameterSetFlag, flags);
    if (const auto flags = pictureParameters_.flags(isLongGOP))
        sub.set(Property::AVCPictureParameterSetFlag, flags);
}

void AVCTrack::describeRates(MetadataSet& sub) const {
    const Rational rate = context().editRate;
    if (rate.numerator <= 0 || rate.denominator <= 0) return;
    const auto bitsPerSecond = [&](double bytesPerUnit) {
        const double bits = bytesPerUnit * 8 * rate.numerator / rate.denominator;
        return static_cast<std::int64_t>(std::min(bits, double{UINT32_MAX}));
    };
    if (isIntraClass() || statistics_.hasWholeGroup()) {
        sub.set(Property::AVCAverageBitrate,
                bitsPerSecond(static_cast<double>(bytes_) / static_cast<double>(stored_)));
    }
    if (isIntraClass()) {
        sub.set(Property::AVCMaximumBitrate, bitsPerSecond(static_cast<double>(largest_)));
    } else if (sequence_ && sequence_->bitRate != 0) {
        sub.set(Property::AVCMaximumBitrate,
                static_cast<std::int64_t>(std::min<std::uint64_t>(sequence_->bitRate, UINT32_MAX)));
    }
}

}  // namespace zenquor::mxf::detail
