#pragma once
// MXF files of every layout, put together from literal items; nothing of the engine takes part.

#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

namespace zenquor::mxf::test {

/// What a file is to look like. It has a picture, a sound and a data track, in elements of a few bytes each.
struct FileRecipe {
    enum class Index { None, ConstantInHeader, Apart, InFooter, InNextBody };
    using Bytes = std::vector<std::uint8_t>;

    int units = 6;
    int unitsPerPartition = 3;
    bool hasFooter = true;
    bool hasRandomIndex = true;
    bool isOpen = false;  // as while it is written: no durations, no place of the footer
    bool hasHeaderMetadata = true;
    bool hasFooterMetadata = false;
    Index index = Index::InFooter;
    int indexedUnits = -1;        // fewer than all; -1: all
    std::int64_t indexError = 0;  // added to every offset of the index
    bool hasConstantSizes = false;
    std::size_t runIn = 0;
    int lengthBytes = 4;     // of an item's length: 1, 4 or 9
    std::size_t fill = 0;    // bytes of fill behind each element; 0: none
    std::uint32_t grid = 1;  // partitions, metadata and content packages begin on it
    bool isDataFirst = false;
    bool hasSystemItem = false;
    bool hasUnknownItems = false;  // sets, properties and elements that nobody knows
    bool forgetsBodySID = false;   // in the packs of body partitions
    bool isSecondBody = false;     // the data track in an essence stream of its own
    int unitWithoutData = -1;
    bool isReordered = false;                    // stored I P B B P B, shown I B B P B P
    bool isAtomOfFrames = false;                 // OP-Atom by its label, frame wrapped all the same
    std::uint8_t frameLayout = 1;                // of the picture
    bool isClip = false;                         // OP-Atom: one element of sound
    int clipSamples = 1920;                      // of sound in an edit unit of it
    bool isPictureClip = false;                  // the same of pictures, with an index
    std::uint32_t dataTrackNumber = 0x17010201;  // as the metadata tell it
    bool hasEmptyTrack = false;                  // a data track without elements in front of the other
    bool isEmptyTrackOfPackets = false;          // and described as one of ancillary packets
    std::uint32_t rateNumerator = 25;
    std::uint32_t rateDenominator = 1;
    std::function<Bytes(int)> data;  // elements of the data track; some bytes where there is none

    Bytes build() const;
    /// Elements as they are stored.
    Bytes picture(int unit) const;
    Bytes sound(int unit) const;
    Bytes dataOf(int unit) const;
};

/// An item with a length of 1, 4 or 9 bytes.
FileRecipe::Bytes item(std::string_view key, std::span<const std::uint8_t> value, int lengthBytes = 4);

}  // namespace zenquor::mxf::test
