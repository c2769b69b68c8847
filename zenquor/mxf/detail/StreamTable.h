#pragma once
// The essence tracks of a file, as its header metadata describe them.

#include <cstdint>
#include <vector>

#include "zenquor/mxf/FileReport.h"
#include "zenquor/mxf/detail/ClipMap.h"
#include "zenquor/mxf/detail/HeaderMetadata.h"

namespace zenquor::mxf::detail {

/// One essence track and what is needed to find its elements.
struct StreamEntry {
    StreamReport report;
    std::uint32_t bodySID = 0;  // 0: not told
    bool isClip = false;
    bool mayBeFrames = false;  // OP-Atom, whose files are clips mostly, with a label of frames
    SoundSize sound;           // of PCM
};

/// All essence tracks of the packages that stand for this file's essence: video, then audio, then data, each kind in the
/// order of its package; ancillary packets in front of other data.
std::vector<StreamEntry> streamsOf(const HeaderMetadata& metadata);

/// A stream of which nothing is known but the key of its elements.
StreamEntry streamOfKey(const UL& key, std::uint32_t bodySID, Rational editRate);

/// No honest file comes near these; they bound what a broken one costs.
inline constexpr std::size_t largestPackageCount = 64;
inline constexpr std::size_t largestTrackCount = 512;
inline constexpr std::size_t largestComponentCount = 1024;

/// Components of a track, its sequence resolved; empty when there are none. At most largestComponentCount.
std::vector<const MetadataSet*> componentsOf(const HeaderMetadata& metadata, const MetadataSet& track);

/// The kind of a stream (namespace mxf) by the first of the four bytes that tell an element; 0 for others.
std::int32_t streamKindOfItemType(std::uint8_t itemType);

inline double perSecond(Rational rate) {
    return rate.denominator == 0 ? 0 : static_cast<double>(rate.numerator) / rate.denominator;
}

}  // namespace zenquor::mxf::detail
