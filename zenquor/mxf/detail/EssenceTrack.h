#pragma once
// One stream's essence on its way into the file: looked at, described, and stored as its mapping demands.

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "zenquor/mxf/StreamFormat.h"
#include "zenquor/mxf/detail/HeaderMetadata.h"

namespace zenquor::mxf::detail {

/// What the index tells of one stored edit unit.
struct UnitFacts {
    /// The place of this picture in display order, counted in edit units from the start of the file; equal to
    /// the place in stored order where nothing is reordered.
    std::int64_t displayPosition = 0;
    /// The flags byte of an index entry, offset overflow aside.
    std::uint8_t flags = 0x80;
    /// Stored units back to the picture that decoding must start at: 0 or less.
    std::int32_t keyFrameOffset = 0;
};

/// The essence of one stream.
///
/// Lifecycle:     create, add() every sample in stored order; from the first on the descriptions are valid.
///                describe() again at the end: bit rates and GOP sizes have been seen by then.
/// Thread-safety: One thread at a time.
class EssenceTrack {
public:
    struct Context {
        std::int32_t profile = 0;  // of namespace wrapping
        Rational editRate;
        bool dropsFrames = false;
    };

    virtual ~EssenceTrack() = default;
    /// @return null when no mapping is known for the format.
    static std::unique_ptr<EssenceTrack> create(const StreamFormat& format, const Context& context);

    /// Tells of the file's picture, whose container a sound of the D-10 mapping shares; called before the first
    /// add(), the picture outlives this.
    virtual void setPicture(const EssenceTrack&) {}

    /// The edit rate that the samples so far show to be the exact one; nothing when they do not tell. A host that counts
    /// 23.98 as 24 gives itself away by its sound.
    virtual std::optional<Rational> exactEditRate() const { return std::nullopt; }
    /// Corrects the edit rate; after the first sample, before anything is described or stored.
    virtual void setEditRate(Rational) {}

    /// Looks at the next sample; one that is refused does not count as an edit unit.
    /// @param flags  of its record; a hint for essence that does not tell its picture type.
    /// @return nothing when the sample cannot be such essence; @p why then tells in a sentence.
    virtual std::optional<UnitFacts> add(std::span<const std::uint8_t> sample, std::uint64_t flags,
                                         std::string& why) = 0;
    /// The sample as it is stored: itself, or a translation that stays good until the next call.
    virtual std::span<const std::uint8_t> stored(std::span<const std::uint8_t> sample) { return sample; }
    /// What is stored where an edit unit has no sample; nothing when that cannot be told.
    virtual std::optional<std::span<const std::uint8_t>> emptyElement() const { return std::nullopt; }

    /// The first three bytes that tell an element: item type, then (behind the count) element type.
    virtual std::uint8_t itemType()
        const = 0;  // 15h picture, 16h sound, 17h data, 18h compound, 05h, 06h, 07h
    virtual std::uint8_t elementType() const = 0;
    virtual UL dataDefinition() const = 0;
    virtual UL container() const = 0;
    /// Bytes of every stored element when all are of one size (so far as the format promises), padded by a fill
    /// item where shorter; 0 when sizes vary. Settled by the first sample; larger ones cannot be
    /// stored.
    virtual std::uint32_t constantBytes() const = 0;
    /// Whether pictures may be stored in another order than they are shown; settled by the first sample.
    virtual bool isReordered() const { return false; }
    /// Name of the track for people: "Picture", "Sound", "Ancillary data".
    virtual std::string_view trackName() const = 0;

    /// Adds the file descriptor with its sub-descriptors, linked track and container duration left out.
    virtual MetadataSet& describe(HeaderMetadata& metadata) const = 0;
};

}  // namespace zenquor::mxf::detail
