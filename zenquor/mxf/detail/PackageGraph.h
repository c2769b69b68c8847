#pragma once
// The header metadata of a file that is written: preface, packages, tracks, descriptors.

#include <cstdint>
#include <string>
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
    /// For the Preface and every partition pack: each label once, "multiple wrappings" first where there are several tracks.
    const std::vector<UL>& essenceContainers() const { return essenceContainers_; }

    /// @param editUnits  -1 while unknown.
    void setDuration(std::int64_t editUnits);
    /// Describes the tracks again with what has been seen since, and dates the change.
    void close(std::int64_t editUnits);
    /// Primer and sets, without fill.
    void write(ByteSink& out) const { metadata_.write(out); }
    const HeaderMetadata& metadata() const { return metadata_; }

private:
    HeaderMetadata metadata_;
    UL operationalPattern_;
    std::vector<UL> essenceContainers_;
    std::vector<TrackEntry> tracks_;
};

}  // namespace zenquor::mxf::detail
