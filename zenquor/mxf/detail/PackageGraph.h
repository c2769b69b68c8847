#pragma once
// The header metadata of a file that is written: preface, packages, tracks, descriptors.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "zenquor/mxf/Mux.h"
#include "zenquor/mxf/detail/EssenceTrack.h"
#include "zenquor/mxf/detail/HeaderMetadata.h"

namespace zenquor::mxf::detail {

/// Builds the graph and keeps it true while the file grows.
///
/// Lifecycle:     create once the tracks' first samples were seen; setDuration() as often as wanted; close() at the end.
/// Thread-safety: One thread at a time.
class PackageGraph {
public:
    struct TrackEntry {
        EssenceTrack* track = nullptr;
        std::uint32_t trackNumber = 0;  // last four bytes of the element key
    };
    static constexpr std::uint32_t bodySID = 1;
    static constexpr std::uint32_t indexSID = 2;

    /// @param tracks  in the order of the file.
    PackageGraph(const MuxSettings& settings, Rational editRate, std::vector<TrackEntry> tracks);

    const UL& operationalPattern() const { return operationalPattern_; }
    /// For the Preface and every partition pack: each label once, "multiple wrappings" first where they differ (the tracks of
    /// D-10 share one).
    const std::vector<UL>& essenceContainers() const { return essenceContainers_; }

    /// @param editUnits  -1 while unknown.
    void setDuration(std::int64_t editUnits);
    /// Describes the tracks again with what has been seen since, and dates the change.
    void close(std::int64_t editUnits);
    /// Primer and sets, without fill.
    void write(ByteSink& out) const { metadata_.write(out); }
    const HeaderMetadata& metadata() const { return metadata_; }

private:
    struct Track {
        TrackEntry entry;
        std::uint32_t trackID = 0;  // in every package
        std::string name;
        std::vector<UUID> description;  // instance UIDs of its descriptor and sub-descriptors
    };

    void nameTracks();
    void listContainers();
    const MetadataSet& addIdentification(const MuxSettings& settings, std::int64_t now);
    void addPackages(MetadataSet& preface, const MuxSettings& settings, std::int64_t now);
    void addComment(MetadataSet& package, std::string_view startTimecode);
    MetadataSet& addDescriptors();
    /// The track's descriptor as it is now, in place of an earlier one.
    MetadataSet& describe(Track& track);

    HeaderMetadata metadata_;
    Rational editRate_;
    UL operationalPattern_;
    std::vector<UL> essenceContainers_;
    std::vector<Track> tracks_;
};

}  // namespace zenquor::mxf::detail
