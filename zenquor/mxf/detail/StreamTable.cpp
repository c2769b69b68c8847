#include "zenquor/mxf/detail/StreamTable.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "zenquor/mxf/detail/ItemKeys.h"
#include "zenquor/mxf/detail/Labels.h"

namespace zenquor::mxf::detail {
namespace {

using P = Property;

/// Codecs by bytes 13 and 14 of the container label.
struct ContainerCodec {
    std::uint8_t mapping, first, last;
    std::int32_t codec;
};

constexpr ContainerCodec containerCodecs[] = {
    {0x01, 0x01, 0x06, codec::mpeg2Video}, {0x02, 0x01, 0x02, codec::dv25},
    {0x02, 0x40, 0x41, codec::dvcPro25},   {0x02, 0x50, 0x51, codec::dv50},
    {0x02, 0x60, 0x63, codec::dv100},      {0x04, 0x60, 0x6F, codec::mpeg2Video},
    {0x06, 0x01, 0x02, codec::pcmWave},    {0x06, 0x08, 0x08, codec::pcmWave},
    {0x06, 0x03, 0x04, codec::pcmAES3},    {0x06, 0x09, 0x09, codec::pcmAES3},
    {0x0D, 0x00, 0xFF, codec::vbi436M},    {0x0E, 0x00, 0xFF, codec::ancillary436M},
    {0x11, 0x01, 0x02, codec::vc3},        {0x1C, 0x00, 0xFF, codec::proRes},
};

/// Codecs by the first bytes of a picture coding's last word.
struct PictureCodec {
    std::uint32_t word, mask;
    std::int32_t codec;
};

constexpr PictureCodec pictureCodecs[] = {
    {0x01310000, 0xFFFF0000, codec::avcLongGOP},  {0x01322100, 0xFFFFFF00, codec::avcIntra50},
    {0x01323100, 0xFFFFFF00, codec::avcIntra100}, {0x01323200, 0xFFFFFF00, codec::avcIntra200},
    {0x01320000, 0xFFFF0000, codec::unknown},     {0x01000000, 0xFF000000, codec::mpeg2Video},
    {0x02010000, 0xFFFF0000, codec::dv25},        {0x02020100, 0xFFFFFF00, codec::dvcPro25},
    {0x02020200, 0xFFFFFF00, codec::dvcPro25},    {0x02020300, 0xFFFFFF00, codec::dv50},
    {0x02020400, 0xFFFFFF00, codec::dv50},        {0x02020000, 0xFFFF0000, codec::dv100},
    {0x71000000, 0xFF000000, codec::vc3},         {0x03060000, 0xFFFF0000, codec::proRes},
};

struct DescriptorKind {
    SetKind set;
    std::int32_t kind;
    std::int32_t codec;
};

constexpr DescriptorKind descriptorKinds[] = {
    {SetKind::ANCDataDescriptor, streamKindData, codec::ancillary436M},
    {SetKind::VBIDataDescriptor, streamKindData, codec::vbi436M},
    {SetKind::AES3AudioDescriptor, streamKindAudio, codec::pcmAES3},
    {SetKind::WaveAudioDescriptor, streamKindAudio, codec::pcmWave},
    {SetKind::GenericSoundEssenceDescriptor, streamKindAudio, codec::unknown},
    {SetKind::MPEGVideoDescriptor, streamKindVideo, codec::unknown},
    {SetKind::GenericPictureEssenceDescriptor, streamKindVideo, codec::unknown},
    {SetKind::GenericDataEssenceDescriptor, streamKindData, codec::unknown},
};

const DescriptorKind* kindOfDescriptor(const MetadataSet* descriptor) {
    if (!descriptor) return nullptr;
    const auto row =
        std::find_if(std::begin(descriptorKinds), std::end(descriptorKinds),
                     [&](const DescriptorKind& r) { return isKindOf(descriptor->kind(), r.set); });
    return row == std::end(descriptorKinds) ? nullptr : row;
}

std::optional<std::int32_t> codecOfContainer(const UL& label, std::int32_t kind) {
    constexpr UL prefix = ul(0x060E2B34, 0x04010101, 0x0D010301, 0x02000000);
    if (!label.startsLike(prefix, 13)) return std::nullopt;
    for (const ContainerCodec& row : containerCodecs) {
        if (label[13] != row.mapping || label[14] < row.first || label[14] > row.last) continue;
        // The sound of D-10 goes by the picture's label, but it is no PCM.
        const bool isPicture = row.mapping <= 0x04 || row.mapping >= 0x10;
        if (isPicture != (kind == streamKindVideo)) return codec::unknown;
        return row.codec;
    }
    return std::nullopt;
}

std::optional<std::int32_t> codecOfPicture(const UL& label) {
    constexpr UL prefix = ul(0x060E2B34, 0x04010101, 0x04010202, 0x00000000);
    if (!label.startsLike(prefix, 12)) return std::nullopt;
    const std::uint32_t word = trackNumberOf(label);
    for (const PictureCodec& row : pictureCodecs) {
        if ((word & row.mask) == row.word) return row.codec;
    }
    return std::nullopt;
}

std::int32_t kindOfDefinition(const UL& definition) {
    if (definition == labels::pictureDefinition) return streamKindVideo;
    if (definition == labels::soundDefinition) return streamKindAudio;
    if (definition == labels::dataDefinition) return streamKindData;
    return 0;
}

std::uint32_t unsignedOf(const MetadataSet& set, Property property) {
    const auto value = set.integer(property);
    return value ? static_cast<std::uint32_t>(*value) : 0;
}

std::string essenceText(const MetadataSet& descriptor, const UL& container) {
    if (const auto coding = descriptor.label(P::PictureEssenceCoding)) {
        if (auto name = labels::nameOfPictureCoding(*coding); !name.empty()) return name;
    }
    const auto name = labels::nameOfContainer(container);
    if (name && isKindOf(descriptor.kind(), SetKind::GenericSoundEssenceDescriptor)) {
        const bool isPictureLabel = container[13] <= 0x04;
        if (isPictureLabel) return "AES3 sound of " + std::string(name->essence);
        if (name->essence.starts_with("PCM")) return "PCM";
    }
    return name ? std::string(name->essence) : std::string{};
}

/// AVC streams keep these in a set of their own.
void describeCoding(StreamReport& report, const HeaderMetadata& metadata, const MetadataSet& descriptor) {
    report.bitRate = unsignedOf(descriptor, P::BitRate);
    report.maxGOP = unsignedOf(descriptor, P::MaxGOP);
    for (const MetadataSet* sub : metadata.resolve(descriptor, P::SubDescriptors)) {
        if (sub->kind() != SetKind::AVCSubDescriptor) continue;
        report.bitRate =
            unsignedOf(*sub, sub->has(P::AVCAverageBitrate) ? P::AVCAverageBitrate : P::AVCMaximumBitrate);
        report.maxGOP = unsignedOf(*sub, P::AVCMaximumGOPSize);
    }
}

std::uint32_t firstNonZero(std::initializer_list<std::uint32_t> values) {
    for (const std::uint32_t value : values) {
        if (value != 0) return value;
    }
    return 0;
}

void describePicture(StreamReport& report, const HeaderMetadata& metadata, const MetadataSet& descriptor) {
    report.storedWidth = unsignedOf(descriptor, P::StoredWidth);
    report.storedHeight = unsignedOf(descriptor, P::StoredHeight);
    report.displayWidth = unsignedOf(descriptor, P::DisplayWidth);
    report.displayHeight = unsignedOf(descriptor, P::DisplayHeight);
    report.frameLayout = static_cast<std::int32_t>(descriptor.integer(P::FrameLayout).value_or(-1));
    report.aspectRatio = descriptor.rational(P::AspectRatio).value_or(Rational{});
    report.componentDepth = unsignedOf(descriptor, P::ComponentDepth);
    report.horizontalSubsampling = unsignedOf(descriptor, P::HorizontalSubsampling);
    report.verticalSubsampling = unsignedOf(descriptor, P::VerticalSubsampling);
    report.fieldDominance = static_cast<std::int32_t>(unsignedOf(descriptor, P::FieldDominance));
    if (const auto label = descriptor.label(P::ColorPrimaries))
        report.colorPrimaries = labels::nameOfPrimaries(*label);
    if (const auto label = descriptor.label(P::CaptureGamma))
        report.transferCharacteristic = labels::nameOfTransfer(*label);
    if (const auto label = descriptor.label(P::CodingEquations))
        report.codingEquations = labels::nameOfEquations(*label);
    describeCoding(report, metadata, descriptor);

    StreamFormat& format = report.format;
    const bool isOfFields = report.frameLayout == 1 || report.frameLayout == 2;
    format.isInterlaced = isOfFields || report.frameLayout == 3;
    format.frameRate = format.editRate;
    format.width =
        firstNonZero({report.displayWidth, unsignedOf(descriptor, P::SampledWidth), report.storedWidth});
    format.height =
        firstNonZero({report.displayHeight, unsignedOf(descriptor, P::SampledHeight), report.storedHeight});
    const bool isSegmented = report.frameLayout == 4;  // a progressive frame, stored in halves
    if (isOfFields || isSegmented) format.height *= 2;
    format.aspectX = static_cast<std::uint32_t>(std::max(report.aspectRatio.numerator, 0));
    format.aspectY = static_cast<std::uint32_t>(std::max(report.aspectRatio.denominator, 0));
}

void describeSound(StreamEntry& entry, const MetadataSet& descriptor) {
    StreamFormat& format = entry.report.format;
    const Rational rate = descriptor.rational(P::AudioSamplingRate).value_or(Rational{});
    format.sampleRate = perSecond(rate);
    format.channelCount = unsignedOf(descriptor, P::ChannelCount);
    format.bitsPerSample = entry.report.quantizationBits = unsignedOf(descriptor, P::QuantizationBits);
    const std::uint32_t block = unsignedOf(descriptor, P::BlockAlign);
    const std::uint32_t bytes = (format.bitsPerSample + 7) / 8;
    format.bytesPerSample = block > 0 && format.channelCount > 0 ? block / format.channelCount : bytes;
    format.bytesPerSecond = unsignedOf(descriptor, P::AvgBps);
    const bool isPCM = format.codec == codec::pcmWave || format.codec == codec::pcmAES3;
    const std::uint64_t counted = std::uint64_t{bytes} * format.channelCount;
    const auto blockBytes =
        block > 0 ? block : static_cast<std::uint32_t>(std::min<std::uint64_t>(counted, 0xFFFF));
    if (isPCM) entry.sound = {blockBytes, rate, entry.report.editRate};
}

/// Elements of these types hold a whole clip.
bool isClipElement(std::uint32_t trackNumber) {
    const std::uint32_t item = trackNumber >> 24, type = trackNumber >> 8 & 0xFF;
    constexpr std::uint32_t clips[][2] = {{0x15, 0x03}, {0x15, 0x06}, {0x15, 0x09},
                                          {0x15, 0x0D}, {0x15, 0x11}, {0x16, 0x02},
                                          {0x16, 0x04}, {0x16, 0x09}, {0x18, 0x02}};
    return std::any_of(std::begin(clips), std::end(clips),
                       [&](const std::uint32_t(&clip)[2]) { return clip[0] == item && clip[1] == type; });
}

/// The label says, else the pattern, else the element's type.
void describeWrapping(StreamEntry& entry, const HeaderMetadata& metadata, const UL& container) {
    const auto name = labels::nameOfContainer(container);
    std::string wrapping = name ? std::string(name->wrapping) : std::string{};
    const MetadataSet* preface = metadata.first(SetKind::Preface);
    const auto pattern = preface ? preface->label(P::OperationalPattern) : std::nullopt;
    const bool isAtom = pattern && (*pattern)[12] == 0x10;
    const bool isTold = wrapping == "frame" || wrapping == "clip";
    const bool isClipType = isClipElement(entry.report.trackNumber);
    entry.isClip = isAtom || (isTold ? wrapping == "clip" : isClipType);
    entry.mayBeFrames = isAtom && wrapping == "frame" && !isClipType;
    if (!isTold && wrapping.empty()) wrapping = entry.isClip ? "clip" : "frame";
    entry.report.wrapping = isAtom ? "clip" : wrapping;
    entry.report.format.isFrameWrapped = !entry.isClip;
}

void describeEssence(StreamEntry& entry, const HeaderMetadata& metadata, const MetadataSet& descriptor) {
    StreamReport& report = entry.report;
    report.descriptor = rowOf(descriptor.kind()).name;
    const UL container = descriptor.label(P::EssenceContainer).value_or(UL{});
    if (!container.isNull()) report.containerLabel = container.text();
    report.essence = essenceText(descriptor, container);
    const auto coding = descriptor.label(P::PictureEssenceCoding);
    const auto soundCoding = descriptor.label(P::SoundEssenceCompression);
    const auto dataCoding = descriptor.label(P::DataEssenceCoding);
    for (const auto& label : {coding, soundCoding, dataCoding}) {
        if (label && report.codingLabel.empty()) report.codingLabel = label->text();
    }
    const DescriptorKind* kind = kindOfDescriptor(&descriptor);
    auto codec = coding ? codecOfPicture(*coding) : std::nullopt;
    if (!codec) codec = codecOfContainer(container, report.format.streamKind);
    report.format.codec = codec ? *codec : kind ? kind->codec : codec::unknown;
    describeWrapping(entry, metadata, container);
    if (isKindOf(descriptor.kind(), SetKind::GenericPictureEssenceDescriptor))
        describePicture(report, metadata, descriptor);
    if (isKindOf(descriptor.kind(), SetKind::GenericSoundEssenceDescriptor)) describeSound(entry, descriptor);
}

/// The file descriptors behind a package's descriptor.
std::vector<const MetadataSet*> descriptorsOf(const HeaderMetadata& metadata, const MetadataSet& package) {
    const auto own = metadata.resolve(package, P::Descriptor);
    if (own.empty()) return {};
    if (own.front()->kind() == SetKind::MultipleDescriptor)
        return metadata.resolve(*own.front(), P::SubDescriptorUIDs);
    return own;
}

const MetadataSet* descriptorOfTrack(const std::vector<const MetadataSet*>& descriptors,
                                     std::int64_t trackID) {
    for (const MetadataSet* descriptor : descriptors) {
        if (descriptor->integer(P::LinkedTrackID) == trackID) return descriptor;
    }
    // A single descriptor may leave out which track it describes.
    return descriptors.size() == 1 && !descriptors.front()->has(P::LinkedTrackID) ? descriptors.front()
                                                                                  : nullptr;
}

bool isFilePackage(const HeaderMetadata& metadata, const MetadataSet& package) {
    if (package.kind() != SetKind::SourcePackage) return false;
    const auto descriptor = metadata.resolve(package, P::Descriptor);
    return !descriptor.empty() && isKindOf(descriptor.front()->kind(), SetKind::FileDescriptor);
}

std::uint32_t bodySIDOf(const HeaderMetadata& metadata, const MetadataSet& package) {
    const auto identifier = package.umid(P::PackageUID);
    for (const MetadataSet& set : metadata.sets()) {
        if (set.kind() != SetKind::EssenceContainerData || set.umid(P::LinkedPackageUID) != identifier)
            continue;
        return unsignedOf(set, P::BodySID);
    }
    return 0;
}

std::optional<StreamEntry> streamOfTrack(const HeaderMetadata& metadata, const MetadataSet& track,
                                         const std::vector<const MetadataSet*>& descriptors) {
    const auto components = componentsOf(metadata, track);
    StreamEntry entry;
    StreamReport& report = entry.report;
    report.trackID = unsignedOf(track, P::TrackID);
    report.trackNumber = unsignedOf(track, P::TrackNumber);
    report.name = track.text(P::TrackName).value_or("");
    report.editRate = track.rational(P::EditRate).value_or(Rational{});
    report.format.editRate = perSecond(report.editRate);
    std::int32_t kind = 0;
    for (const MetadataSet* sequence : metadata.resolve(track, P::Sequence)) {
        kind = kindOfDefinition(sequence->label(P::DataDefinition).value_or(UL{}));
        report.duration = sequence->integer(P::Duration).value_or(-1);
    }
    for (const MetadataSet* component : components) {
        if (component->kind() == SetKind::TimecodeComponent) return std::nullopt;
        if (kind == 0) kind = kindOfDefinition(component->label(P::DataDefinition).value_or(UL{}));
    }
    const MetadataSet* descriptor = descriptorOfTrack(descriptors, report.trackID);
    // Some makers use data definitions of their own.
    if (const DescriptorKind* told = kindOfDescriptor(descriptor); told && kind == 0) kind = told->kind;
    if (kind == 0) return std::nullopt;
    report.format.streamKind = kind;
    report.format.codec = codec::unknown;
    report.format.isFrameWrapped = true;
    if (descriptor) describeEssence(entry, metadata, *descriptor);
    return entry;
}

/// Video, audio, ancillary packets, other data.
int rankOf(const StreamEntry& entry) {
    const StreamFormat& format = entry.report.format;
    if (format.streamKind != streamKindData) return format.streamKind;
    return format.codec == codec::ancillary436M ? 5 : 6;
}

}  // namespace

std::int32_t streamKindOfItemType(std::uint8_t itemType) {
    switch (itemType) {
        case 0x05:
        case 0x15:
        case 0x18:
            return streamKindVideo;
        case 0x06:
        case 0x16:
            return streamKindAudio;
        case 0x07:
        case 0x17:
            return streamKindData;
        default:
            return 0;
    }
}

std::vector<const MetadataSet*> componentsOf(const HeaderMetadata& metadata, const MetadataSet& track) {
    std::vector<const MetadataSet*> components;
    for (const MetadataSet* sequence : metadata.resolve(track, P::Sequence)) {
        if (sequence->kind() != SetKind::Sequence) {
            components.push_back(sequence);
            continue;
        }
        const auto inside = metadata.resolve(*sequence, P::StructuralComponents);
        components.insert(components.end(), inside.begin(), inside.end());
        if (components.size() >= largestComponentCount) break;
    }
    if (components.size() > largestComponentCount) components.resize(largestComponentCount);
    return components;
}

std::vector<StreamEntry> streamsOf(const HeaderMetadata& metadata) {
    std::vector<StreamEntry> streams;
    std::size_t packages = 0, tracks = 0;
    for (const MetadataSet& package : metadata.sets()) {
        if (!isFilePackage(metadata, package)) continue;
        if (++packages > largestPackageCount) break;
        const auto descriptors = descriptorsOf(metadata, package);
        const std::uint32_t bodySID = bodySIDOf(metadata, package);
        for (const MetadataSet* track : metadata.resolve(package, P::Tracks)) {
            if (track->kind() != SetKind::Track || ++tracks > largestTrackCount) continue;
            auto entry = streamOfTrack(metadata, *track, descriptors);
            if (!entry) continue;
            entry->bodySID = bodySID;
            streams.push_back(*std::move(entry));
        }
    }
    std::stable_sort(streams.begin(), streams.end(),
                     [](const StreamEntry& a, const StreamEntry& b) { return rankOf(a) < rankOf(b); });
    return streams;
}

StreamEntry streamOfKey(const UL& key, std::uint32_t bodySID, Rational editRate) {
    StreamEntry entry;
    entry.bodySID = bodySID;
    StreamReport& report = entry.report;
    report.trackNumber = trackNumberOf(key);
    report.editRate = editRate;
    report.format.editRate = perSecond(editRate);
    report.format.streamKind = streamKindOfItemType(key[12]);
    report.format.codec = codec::unknown;
    if (key[12] == 0x17 && key[14] == 0x02) report.format.codec = codec::ancillary436M;
    if (key[12] == 0x17 && key[14] == 0x01) report.format.codec = codec::vbi436M;
    if (key[12] == 0x15 && key[14] == 0x17) report.format.codec = codec::proRes;
    entry.isClip = isClipElement(report.trackNumber);
    report.format.isFrameWrapped = !entry.isClip;
    report.wrapping = entry.isClip ? "clip" : "frame";
    return entry;
}

}  // namespace zenquor::mxf::detail
