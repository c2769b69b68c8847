#pragma once
// The content package: one edit unit of all streams, as it lies in the essence container.

#include <cstdint>
#include <span>
#include <vector>

#include "zenquor/mxf/detail/EssenceTrack.h"
#include "zenquor/mxf/detail/FileOutput.h"
#include "zenquor/mxf/detail/IndexBuilder.h"
#include "zenquor/mxf/detail/SystemItem.h"

namespace zenquor::mxf::detail {

/// Keys of the elements of @p tracks, in their order: counts and numbers of each kind of item put in.
std::vector<UL> elementKeys(std::span<EssenceTrack* const> tracks);

/// Lays out and writes content packages; the only place that knows sizes, fill and deltas.
///
/// A package is the system item and one element of each track. Every item starts on the grid. An element of
/// constant size has room of constant size, with fill behind it; one of variable size is filled up to the grid
/// and ends a slice of the index.
///
/// Lifecycle:     create once every track knows its sizes.
/// Thread-safety: One thread at a time.
/// Standards:     SMPTE ST 377-1, 379-1, 385, RDD 9.
class ContentPackage {
public:
    using Values = std::span<const std::span<const std::uint8_t>>;

    static constexpr std::uint32_t grid = 512;
    /// Values of at least so many bytes go to the file from where they lie; smaller ones are gathered.
    static constexpr std::size_t straightBytes = 32768;

    /// @param tracks  in the order of the file.
    ContentPackage(std::span<EssenceTrack* const> tracks, Rational editRate, const SystemItem& systemItem);

    const IndexLayout& indexLayout() const { return layout_; }

    /// The number of the first value that is larger than the room of its element; the number of tracks when all fit.
    std::size_t firstMisfit(Values values) const;
    /// Appends the package of edit unit @p unit to @p file.
    /// @param values  the elements' values in the order of the tracks; all fit.
    bool write(FileOutput& file, std::int64_t unit, Values values);
    /// Where the slices behind the first started in the package that was written last.
    std::span<const std::uint32_t> sliceOffsets() const { return sliceOffsets_; }

private:
    struct Element {
        UL key;
        std::uint32_t room = 0;  // of the whole element with its fill; 0 for variable sizes
        bool startsSlice = false;
    };

    void addElement(const EssenceTrack& track, const UL& key, std::uint32_t room, DeltaEntry& next);
    bool putElement(FileOutput& file, const Element& element, std::span<const std::uint8_t> value);
    bool flush(FileOutput& file);
    void fillTo(std::uint64_t position);

    SystemItem systemItem_;
    std::vector<Element> elements_;
    IndexLayout layout_;
    std::vector<std::uint32_t> sliceOffsets_;
    ByteSink gathered_;
    std::uint64_t flushed_ = 0;  // bytes of this package that are in the file
};

}  // namespace zenquor::mxf::detail
