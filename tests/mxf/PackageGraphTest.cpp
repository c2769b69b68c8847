// The header metadata of written files: complete, free of loose ends, the same from run to run; and read when damaged.
#include "zenquor/mxf/detail/PackageGraph.h"

#include <set>

#include <gtest/gtest.h>

#include "Hex.h"
#include "zenquor/core/Clock.h"
#include "zenquor/core/UUIDSource.h"
#include "zenquor/mxf/detail/Labels.h"

namespace zenquor::mxf::detail {
namespace {

/// A stream that only describes itself; its bit rate is known at the end.
class DescribedTrack final : public EssenceTrack {
public:
    DescribedTrack(SetKind kind, UL definition, UL container, std::string_view name)
        : kind_(kind), definition_(definition), container_(container), name_(name) {}

    std::optional<UnitFacts> add(std::span<const std::uint8_t>, std::uint64_t, std::string&) override {
        return UnitFacts{};
    }
    std::uint8_t itemType() const override { return 0x15; }
    std::uint8_t elementType() const override { return 5; }
    UL dataDefinition() const override { return definition_; }
    UL container() const override { return container_; }
    std::uint32_t constantBytes() const override { return 0; }
    std::string_view trackName() const override { return name_; }
    MetadataSet& describe(HeaderMetadata& metadata) const override {
        MetadataSet& descriptor = metadata.add(kind_);
        descriptor.set(Property::EssenceContainer, container_);
        if (kind_ == SetKind::WaveAudioDescriptor)
            descriptor.set(Property::BlockAlign, 3).set(Property::AvgBps, 144000);
        if (kind_ != SetKind::MPEGVideoDescriptor) return descriptor;
        const MetadataSet* constraints[] = {&metadata.add(SetKind::ContainerConstraintsSubDescriptor)};
        return descriptor.set(Property::BitRate, bitRate).set(Property::SubDescriptors, constraints);
    }

    std::int64_t bitRate = 0;

private:
    SetKind kind_;
    UL definition_, container_;
    std::string_view name_;
};

class PackageGraphTest : public testing::Test {
protected:
    PackageGraphTest() {
        UUIDSource::pin([this] {
            UUIDSource::UUID uuid{0x5A};
            uuid[15] = ++uuids_;
            return uuid;
        });
        Clock::pin(
            [] { return std::chrono::system_clock::time_point(std::chrono::milliseconds(1795255200000)); });
        settings_.company = U"Bj\u00F6rk & Co";
        settings_.product = U"Recorder";
        settings_.versionMajor = 3;
        settings_.versionMinor = 14;
        settings_.startTimecodeFrames = 1078920;
        settings_.dropFrame = true;
        settings_.reelName = "A001";
        settings_.clipName = "Clip";
        settings_.startTimecodeText = "10-00-00-00";
    }
    ~PackageGraphTest() override {
        UUIDSource::pin({});
        Clock::pin({});
    }

    PackageGraph graph() {
        return PackageGraph(
            settings_, {30000, 1001},
            {{&picture_, 0x15010500}, {&sound_, 0x16020300}, {&sound_, 0x16020301}, {&data_, 0x17010201}});
    }

    std::uint8_t uuids_ = 0;
    MuxSettings settings_;
    DescribedTrack picture_{SetKind::MPEGVideoDescriptor, labels::pictureDefinition,
                            ul(0x060E2B34, 0x04010102, 0x0D010301, 0x02046001), "Picture"};
    DescribedTrack sound_{SetKind::WaveAudioDescriptor, labels::soundDefinition, labels::waveFrameWrapped,
                          "Sound"};
    DescribedTrack data_{SetKind::ANCDataDescriptor, labels::dataDefinition, labels::ancillaryPackets,
                         "Ancillary data"};
};

std::vector<std::uint8_t> written(const PackageGraph& graph) {
    ByteSink out;
    graph.write(out);
    return std::move(out.bytes());
}

bool isReference(PropertyType type) {
    return type == PropertyType::StrongReference || type == PropertyType::WeakReference ||
           type == PropertyType::StrongReferenceArray;
}

/// Every property that the data model demands is there, every reference leads to a set, every set but the Preface is referred to.
void expectSound(const HeaderMetadata& metadata) {
    std::set<UUID> referred{metadata.first(SetKind::Preface)->instance()};
    for (const MetadataSet& set : metadata.sets()) {
        for (const PropertyRow& row : propertyRows()) {
            const bool isWanted =
                row.isRequired && row.property != Property::InstanceUID && isKindOf(set.kind(), row.set);
            EXPECT_TRUE(!isWanted || set.has(row.property)) << rowOf(set.kind()).name << "." << row.name;
            if (!set.has(row.property) || !isReference(row.type)) continue;
            EXPECT_EQ(metadata.resolve(set, row.property).size(), set.references(row.property).size())
                << row.name;
            for (const UUID& uuid : set.references(row.property)) referred.insert(uuid);
        }
    }
    EXPECT_EQ(referred.size(), metadata.sets().size());
}

const MetadataSet* packageWith(const HeaderMetadata& metadata, const UMID& identifier) {
    for (const MetadataSet& set : metadata.sets()) {
        if (isKindOf(set.kind(), SetKind::GenericPackage) && set.umid(Property::PackageUID) == identifier)
            return &set;
    }
    return nullptr;
}

const MetadataSet* trackOf(const HeaderMetadata& metadata, const MetadataSet& package, std::int64_t trackID) {
    for (const MetadataSet* track : metadata.resolve(package, Property::Tracks)) {
        if (track->integer(Property::TrackID) == trackID) return track;
    }
    return nullptr;
}

/// The first component of the track of this ID.
const MetadataSet* componentOf(const HeaderMetadata& metadata, const MetadataSet& package,
                               std::int64_t trackID) {
    const MetadataSet* track = trackOf(metadata, package, trackID);
    if (!track) return nullptr;
    const auto sequence = metadata.resolve(*track, Property::Sequence);
    return metadata.resolve(*sequence.at(0), Property::StructuralComponents).at(0);
}

TEST_F(PackageGraphTest, WhatIsRequiredIsThereAndNothingIsLoose) {
    PackageGraph full = graph();
    expectSound(full.metadata());
    full.close(100);
    expectSound(full.metadata());
    settings_ = {};
    expectSound(PackageGraph(settings_, {25, 1}, {{&picture_, 0x15010500}}).metadata());
    expectSound(PackageGraph(settings_, {25, 1}, {}).metadata());
}

TEST_F(PackageGraphTest, ClipsLeadFromTheMaterialThroughTheFileToTheTape) {
    const PackageGraph full = graph();
    const HeaderMetadata& metadata = full.metadata();
    const MetadataSet& material = *metadata.first(SetKind::MaterialPackage);
    EXPECT_EQ(metadata.resolve(*metadata.first(SetKind::Preface), Property::PrimaryPackage).at(0), &material);
    EXPECT_EQ(material.text(Property::Name), "Clip");
    for (const std::int64_t track : {1001, 2001, 2002, 3001}) {
        const MetadataSet* clip = componentOf(metadata, material, track);
        ASSERT_NE(clip, nullptr) << track;
        EXPECT_EQ(clip->integer(Property::SourceTrackID), track);
        const MetadataSet* file = packageWith(metadata, *clip->umid(Property::SourcePackageID));
        ASSERT_NE(file, nullptr);
        ASSERT_NE(file, &material);
        EXPECT_EQ(trackOf(metadata, material, track)->integer(Property::TrackNumber), 0);
        EXPECT_EQ(*trackOf(metadata, *file, track)->integer(Property::TrackNumber) >> 24, track < 2001 ? 0x15
                                                                                          : track < 3001
                                                                                              ? 0x16
                                                                                              : 0x17);
        clip = componentOf(metadata, *file, track);
        const MetadataSet* tape = packageWith(metadata, *clip->umid(Property::SourcePackageID));
        ASSERT_NE(tape, nullptr);
        EXPECT_EQ(tape->text(Property::Name), "A001");
        EXPECT_EQ(metadata.resolve(*tape, Property::Descriptor).at(0)->kind(), SetKind::TapeDescriptor);
        clip = componentOf(metadata, *tape, track);
        EXPECT_EQ(clip->umid(Property::SourcePackageID), UMID{});
        EXPECT_EQ(clip->integer(Property::SourceTrackID), 0);
        for (const MetadataSet* package : {&material, file, tape}) {
            const MetadataSet* timecode = componentOf(metadata, *package, 901);
            EXPECT_EQ(timecode->integer(Property::StartTimecode), 1078920);
            EXPECT_EQ(timecode->integer(Property::RoundedTimecodeBase), 30);
            EXPECT_EQ(timecode->integer(Property::DropFrame), 1);
        }
    }
    const MetadataSet& comment = *metadata.first(SetKind::TaggedValue);
    EXPECT_EQ(test::hexOf(comment.bytes(Property::TaggedValueValue)).substr(0, 42),
              "4c0002100100000000060e2b340104010131003000");
}

TEST_F(PackageGraphTest, DescriptorsAreLinkedAndContainersListedOnce) {
    const PackageGraph full = graph();
    const HeaderMetadata& metadata = full.metadata();
    const MetadataSet& multiple = *metadata.first(SetKind::MultipleDescriptor);
    const auto descriptors = metadata.resolve(multiple, Property::SubDescriptorUIDs);
    ASSERT_EQ(descriptors.size(), 4u);
    const std::int64_t tracks[] = {1001, 2001, 2002, 3001};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(descriptors[i]->integer(Property::LinkedTrackID), tracks[i]);
        EXPECT_EQ(descriptors[i]->rational(Property::SampleRate), (Rational{30000, 1001}));
    }
    EXPECT_EQ(multiple.label(Property::EssenceContainer), labels::multipleWrappings);
    EXPECT_EQ(full.essenceContainers(),
              (std::vector<UL>{labels::multipleWrappings, picture_.container(), labels::waveFrameWrapped,
                               labels::ancillaryPackets}));
    EXPECT_EQ(full.operationalPattern(), labels::op1aSeveralTracks);

    const PackageGraph shared(settings_, {25, 1}, {{&picture_, 1}, {&picture_, 2}});
    EXPECT_EQ(shared.essenceContainers(), std::vector<UL>{picture_.container()});
    const PackageGraph single(settings_, {25, 1}, {{&picture_, 1}});
    EXPECT_EQ(single.operationalPattern(), labels::op1aOneTrack);
    EXPECT_EQ(single.metadata().first(SetKind::MultipleDescriptor), nullptr);
    EXPECT_EQ(single.metadata().first(SetKind::FileDescriptor)->integer(Property::LinkedTrackID), 1001);
}

TEST_F(PackageGraphTest, TheFileIsTheSameFromRunToRunAndNoTwoIdentifiersAre) {
    PackageGraph full = graph();
    const auto once = written(full);
    uuids_ = 0;
    EXPECT_EQ(written(graph()), once);
    std::set<UMID> umids;
    for (const MetadataSet& set : full.metadata().sets()) {
        const auto umid = set.umid(Property::PackageUID);
        EXPECT_TRUE(!umid || umids.insert(*umid).second);
    }
    EXPECT_EQ(umids.size(), 3u);
}

TEST_F(PackageGraphTest, DurationsChangeEverywhereAndTheSizeOnlyWhenTheyBecomeKnown) {
    PackageGraph full = graph();
    const auto unknown = written(full).size();
    full.setDuration(1);
    const auto known = written(full).size();
    full.setDuration(1'000'000'000'000);
    EXPECT_EQ(written(full).size(), known);
    for (const MetadataSet& set : full.metadata().sets()) {
        if (isKindOf(set.kind(), SetKind::StructuralComponent)) {
            EXPECT_EQ(set.integer(Property::Duration), 1'000'000'000'000);
        } else if (isKindOf(set.kind(), SetKind::FileDescriptor)) {
            EXPECT_EQ(set.integer(Property::ContainerDuration), 1'000'000'000'000);
        }
    }
    full.setDuration(-1);
    EXPECT_EQ(written(full).size(), unknown);
    EXPECT_EQ(full.metadata().first(SetKind::SourceClip)->integer(Property::Duration), -1);
}

TEST_F(PackageGraphTest, ClosingDescribesAgainAndKeepsIdentities) {
    PackageGraph full = graph();
    std::vector<UUID> before, after;
    for (const MetadataSet& set : full.metadata().sets()) before.push_back(set.instance());
    picture_.bitRate = 50'000'000;
    full.close(250);
    for (const MetadataSet& set : full.metadata().sets()) after.push_back(set.instance());
    EXPECT_EQ(after, before);
    const MetadataSet& picture = *full.metadata().first(SetKind::MPEGVideoDescriptor);
    EXPECT_EQ(picture.integer(Property::BitRate), 50'000'000);
    EXPECT_EQ(picture.integer(Property::LinkedTrackID), 1001);
    EXPECT_EQ(picture.integer(Property::ContainerDuration), 250);
}

/// Asks everything of metadata read from damaged bytes.
void readAll(std::vector<std::uint8_t> bytes) {
    std::vector<std::string> faults;
    const HeaderMetadata metadata = HeaderMetadata::read(bytes, faults);
    EXPECT_LE(faults.size(), 50u);
    for (const MetadataSet& set : metadata.sets()) {
        for (const auto& [property, value] : set.values()) {
            EXPECT_LE(value.size(), bytes.size());
            set.integer(property);
            set.rational(property);
            set.label(property);
            set.umid(property);
            set.time(property);
            if (rowOf(property).type == PropertyType::String) set.text(property);
            metadata.resolve(set, property);
            EXPECT_LE(set.labels(property).size() * 16 + set.integers(property).size() * 2, value.size() * 2);
        }
    }
}

TEST_F(PackageGraphTest, NoTruncationAndNoFlippedBitOfTheHeaderHarms) {
    const auto bytes = written(graph());
    // Each copy has the very size, so that a sanitizer sees a read past its end.
    for (std::size_t cut = 0; cut < bytes.size(); cut += 1 + cut % 7)
        readAll(std::vector<std::uint8_t>(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(cut)));
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        auto broken = bytes;
        broken[at] ^= static_cast<std::uint8_t>(1 << at % 8);
        readAll(broken);
    }
}

}  // namespace
}  // namespace zenquor::mxf::detail
