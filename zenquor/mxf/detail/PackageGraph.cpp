#include "zenquor/mxf/detail/PackageGraph.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <numeric>
#include <utility>

#include <fmt/core.h>

#include "zenquor/core/Clock.h"
#include "zenquor/core/UUIDSource.h"
#include "zenquor/core/Unicode.h"
#include "zenquor/core/Version.h"
#include "zenquor/mxf/detail/EditRate.h"
#include "zenquor/mxf/detail/Labels.h"

namespace zenquor::mxf::detail {
namespace {

constexpr std::int64_t unknownDuration = -1;
constexpr std::uint32_t timecodeTrackID = 901;
constexpr std::uint16_t metadataVersion = 0x0103;
constexpr std::uint32_t objectModelVersion = 1;

/// Names this writer, whatever program it is part of.
constexpr UUID productUID = {0xCE, 0x84, 0xE9, 0x9B, 0x5B, 0x2D, 0x4F, 0x8A,
                             0x98, 0xEE, 0x14, 0x87, 0x26, 0xAE, 0xA9, 0x51};

std::int64_t millisecondsNow() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(Clock::now().time_since_epoch()).count();
}

/// A basic UMID (SMPTE ST 330): its label with "not identified" material and a UUID as its number, no instance number.
UMID newUMID() {
    UMID umid = {0x06, 0x0A, 0x2B, 0x34, 0x01, 0x01, 0x01, 0x05, 0x01, 0x01, 0x0F, 0x20, 0x13};
    std::ranges::copy(UUIDSource::next(), umid.begin() + 16);
    return umid;
}

/// First track of each kind; the next ones count up.
std::uint32_t firstTrackID(const UL& dataDefinition) {
    if (dataDefinition == labels::pictureDefinition) return 1001;
    return dataDefinition == labels::soundDefinition ? 2001 : 3001;
}

std::string textOr(const std::u32string& text, const char* otherwise) {
    return text.empty() ? otherwise : utf8FromUTF32(text);
}

/// A text as an indirect value: byte order, type, UTF-16 in that order with a zero behind it.
std::vector<std::uint8_t> indirectText(std::string_view utf8) {
    std::vector<std::uint8_t> value = {'L',  0x00, 0x02, 0x10, 0x01, 0x00, 0x00, 0x00, 0x00,
                                       0x06, 0x0E, 0x2B, 0x34, 0x01, 0x04, 0x01, 0x01};
    for (const char16_t unit : utf16FromUTF8(utf8) + u'\0') {
        value.push_back(static_cast<std::uint8_t>(unit));
        value.push_back(static_cast<std::uint8_t>(unit >> 8));
    }
    return value;
}

/// @p editUnits counted at @p sampleRate; -1 where that is unknown or too large.
std::int64_t inUnitsOf(Rational sampleRate, std::int64_t editUnits, Rational editRate) {
    std::int64_t up = std::int64_t{sampleRate.numerator} * editRate.denominator;
    std::int64_t down = std::int64_t{sampleRate.denominator} * editRate.numerator;
    if (editUnits < 0 || up <= 0 || down <= 0) return unknownDuration;
    const std::int64_t common = std::gcd(up, down);
    up /= common;
    down /= common;
    if (editUnits > std::numeric_limits<std::int64_t>::max() / up) return unknownDuration;
    return editUnits * up / down;
}

/// What a clip takes its material from; nothing at the end of the chain.
struct Origin {
    UMID package{};
    std::uint32_t trackID = 0;
};

/// Adds packages and their tracks to header metadata.
class Packages {
public:
    Packages(HeaderMetadata& metadata, const MuxSettings& settings, Rational editRate, std::int64_t now)
        : metadata_(metadata), settings_(settings), editRate_(editRate), now_(now) {}

    MetadataSet& addPackage(SetKind kind, const UMID& identifier) {
        return metadata_.add(kind)
            .set(Property::PackageUID, identifier)
            .setTime(Property::PackageCreationDate, now_)
            .setTime(Property::PackageModifiedDate, now_);
    }

    const MetadataSet* addTimecodeTrack() {
        MetadataSet& component = addComponent(SetKind::TimecodeComponent, labels::timecodeDefinition);
        component.set(Property::RoundedTimecodeBase, timecodeBase(editRate_))
            .set(Property::StartTimecode, settings_.startTimecodeFrames)
            .set(Property::DropFrame, settings_.dropFrame ? 1 : 0);
        return addTrack(component, timecodeTrackID, 0, "Timecode");
    }

    const MetadataSet* addEssenceTrack(const UL& definition, std::uint32_t trackID, std::uint32_t trackNumber,
                                       std::string_view name, const Origin& origin) {
        MetadataSet& clip = addComponent(SetKind::SourceClip, definition);
        clip.set(Property::StartPosition, 0)
            .set(Property::SourcePackageID, origin.package)
            .set(Property::SourceTrackID, origin.trackID);
        return addTrack(clip, trackID, trackNumber, name);
    }

private:
    MetadataSet& addComponent(SetKind kind, const UL& definition) {
        return metadata_.add(kind)
            .set(Property::DataDefinition, definition)
            .set(Property::Duration, unknownDuration);
    }

    const MetadataSet* addTrack(const MetadataSet& component, std::uint32_t trackID,
                                std::uint32_t trackNumber, std::string_view name) {
        const MetadataSet* components[] = {&component};
        MetadataSet& sequence = addComponent(SetKind::Sequence, *component.label(Property::DataDefinition));
        sequence.set(Property::StructuralComponents, components);
        MetadataSet& track = metadata_.add(SetKind::Track);
        track.set(Property::TrackID, trackID)
            .set(Property::TrackNumber, trackNumber)
            .setText(Property::TrackName, name)
            .set(Property::EditRate, editRate_)
            .set(Property::Origin, 0)
            .set(Property::Sequence, sequence);
        return &track;
    }

    HeaderMetadata& metadata_;
    const MuxSettings& settings_;
    const Rational editRate_;
    const std::int64_t now_;
};

}  // namespace

PackageGraph::PackageGraph(const MuxSettings& settings, Rational editRate, std::vector<TrackEntry> entries)
    : editRate_(editRate),
      operationalPattern_(entries.size() > 1 ? labels::op1aSeveralTracks : labels::op1aOneTrack) {
    for (const TrackEntry& entry : entries) tracks_.push_back({entry, 0, {}, {}});
    nameTracks();
    listContainers();
    const std::int64_t now = millisecondsNow();
    MetadataSet& preface = metadata_.add(SetKind::Preface);
    const MetadataSet* identifications[] = {&addIdentification(settings, now)};
    preface.setTime(Property::LastModifiedDate, now)
        .set(Property::Version, metadataVersion)
        .set(Property::ObjectModelVersion, objectModelVersion)
        .set(Property::Identifications, identifications)
        .set(Property::OperationalPattern, operationalPattern_)
        .set(Property::EssenceContainers, std::span<const UL>(essenceContainers_))
        .set(Property::DMSchemes, std::span<const UL>());
    addPackages(preface, settings, now);
}

void PackageGraph::nameTracks() {
    for (Track& track : tracks_) {
        const UL definition = track.entry.track->dataDefinition();
        const auto isAlike = [&](const Track& other) {
            return other.entry.track->dataDefinition() == definition;
        };
        const auto before = std::count_if(tracks_.data(), &track, isAlike);
        track.trackID = firstTrackID(definition) + static_cast<std::uint32_t>(before);
        track.name = track.entry.track->trackName();
        if (std::count_if(tracks_.begin(), tracks_.end(), isAlike) > 1)
            track.name += fmt::format(" {}", before + 1);
    }
}

void PackageGraph::listContainers() {
    for (const Track& track : tracks_) {
        const UL container = track.entry.track->container();
        if (std::find(essenceContainers_.begin(), essenceContainers_.end(), container) ==
            essenceContainers_.end())
            essenceContainers_.push_back(container);
    }
    if (essenceContainers_.size() != 1)
        essenceContainers_.insert(essenceContainers_.begin(), labels::multipleWrappings);
}

const MetadataSet& PackageGraph::addIdentification(const MuxSettings& settings, std::int64_t now) {
    MetadataSet& set = metadata_.add(SetKind::Identification);
    set.setUUID(Property::ThisGenerationUID, UUIDSource::next())
        .setText(Property::CompanyName, textOr(settings.company, "Zenquor"))
        .setText(Property::ProductName, textOr(settings.product, "Zenquor"))
        .setVersion(Property::ProductVersion, static_cast<std::uint16_t>(settings.versionMajor),
                    static_cast<std::uint16_t>(settings.versionMinor))
        .setText(Property::VersionString, fmt::format("{}.{}", settings.versionMajor, settings.versionMinor))
        .setUUID(Property::ProductUID, productUID)
        .setTime(Property::ModificationDate, now)
        .setVersion(Property::ToolkitVersion, ZENQUOR_VERSION_MAJOR, ZENQUOR_VERSION_MINOR,
                    ZENQUOR_VERSION_PATCH);
    if (!settings.platform.empty()) set.setText(Property::Platform, utf8FromUTF32(settings.platform));
    return set;
}

void PackageGraph::addPackages(MetadataSet& preface, const MuxSettings& settings, std::int64_t now) {
    MetadataSet& storage = metadata_.add(SetKind::ContentStorage);
    MetadataSet& container = metadata_.add(SetKind::EssenceContainerData);
    const UMID materialID = newUMID(), fileID = newUMID();
    Packages packages(metadata_, settings, editRate_, now);

    // One track list per package: timecode first, then the streams. A clip names the package that it takes from.
    const auto addWithTracks = [&](SetKind kind, const UMID& identifier, const UMID& origin,
                                   bool isFile) -> MetadataSet& {
        MetadataSet& package = packages.addPackage(kind, identifier);
        std::vector<const MetadataSet*> list = {packages.addTimecodeTrack()};
        for (const Track& track : tracks_) {
            const std::uint32_t originTrack = origin == UMID{} ? 0 : track.trackID;
            list.push_back(packages.addEssenceTrack(track.entry.track->dataDefinition(), track.trackID,
                                                    isFile ? track.entry.trackNumber : 0, track.name,
                                                    {origin, originTrack}));
        }
        return package.set(Property::Tracks, list);
    };

    MetadataSet& material = addWithTracks(SetKind::MaterialPackage, materialID, fileID, false);
    if (!settings.clipName.empty()) material.setText(Property::Name, settings.clipName);
    if (!settings.startTimecodeText.empty()) addComment(material, settings.startTimecodeText);

    const UMID tapeID = settings.reelName.empty() ? UMID{} : newUMID();
    MetadataSet& file = addWithTracks(SetKind::SourcePackage, fileID, tapeID, true);
    file.set(Property::Descriptor, addDescriptors());

    std::vector<const MetadataSet*> all = {&material, &file};
    if (!settings.reelName.empty()) {
        MetadataSet& tape = addWithTracks(SetKind::SourcePackage, tapeID, UMID{}, false);
        tape.setText(Property::Name, settings.reelName)
            .set(Property::Descriptor, metadata_.add(SetKind::TapeDescriptor));
        all.push_back(&tape);
    }
    container.set(Property::LinkedPackageUID, fileID)
        .set(Property::BodySID, bodySID)
        .set(Property::IndexSID, indexSID);
    const MetadataSet* containers[] = {&container};
    storage.set(Property::Packages, all).set(Property::EssenceContainerData, containers);
    preface.set(Property::ContentStorage, storage).set(Property::PrimaryPackage, material);
}

void PackageGraph::addComment(MetadataSet& package, std::string_view startTimecode) {
    MetadataSet& comment = metadata_.add(SetKind::TaggedValue);
    comment.setText(Property::TaggedValueName, "StartTimecode")
        .setBytes(Property::TaggedValueValue, indirectText(startTimecode));
    const MetadataSet* comments[] = {&comment};
    package.set(Property::UserComments, comments);
}

MetadataSet& PackageGraph::addDescriptors() {
    if (tracks_.size() == 1) return describe(tracks_.front());
    MetadataSet& multiple = metadata_.add(SetKind::MultipleDescriptor);
    std::vector<const MetadataSet*> descriptors;
    for (Track& track : tracks_) descriptors.push_back(&describe(track));
    return multiple.set(Property::SampleRate, editRate_)
        .set(Property::EssenceContainer, essenceContainers_.front())
        .set(Property::SubDescriptorUIDs, descriptors);
}

MetadataSet& PackageGraph::describe(Track& track) {
    HeaderMetadata described;
    described.reuseInstances(std::exchange(track.description, {}));
    const UUID instance = track.entry.track->describe(described).instance();
    for (MetadataSet& set : described.sets()) {
        track.description.push_back(set.instance());
        metadata_.adopt(std::move(set));
    }
    MetadataSet& descriptor = *metadata_.find(instance);
    if (!descriptor.has(Property::SampleRate)) descriptor.set(Property::SampleRate, editRate_);
    if (!descriptor.has(Property::EssenceContainer))
        descriptor.set(Property::EssenceContainer, track.entry.track->container());
    return descriptor.set(Property::LinkedTrackID, track.trackID);
}

void PackageGraph::setDuration(std::int64_t editUnits) {
    const std::int64_t duration = std::max(editUnits, unknownDuration);
    for (MetadataSet& set : metadata_.sets()) {
        if (isKindOf(set.kind(), SetKind::StructuralComponent)) set.set(Property::Duration, duration);
        if (!isKindOf(set.kind(), SetKind::FileDescriptor)) continue;
        const std::int64_t samples =
            inUnitsOf(set.rational(Property::SampleRate).value_or(editRate_), duration, editRate_);
        if (samples == unknownDuration)
            set.remove(Property::ContainerDuration);
        else
            set.set(Property::ContainerDuration, samples);
    }
}

void PackageGraph::close(std::int64_t editUnits) {
    for (Track& track : tracks_) describe(track);
    setDuration(editUnits);
    const std::int64_t now = millisecondsNow();
    for (MetadataSet& set : metadata_.sets()) {
        if (set.kind() == SetKind::Preface) set.setTime(Property::LastModifiedDate, now);
        if (isKindOf(set.kind(), SetKind::GenericPackage)) set.setTime(Property::PackageModifiedDate, now);
    }
}

}  // namespace zenquor::mxf::detail
