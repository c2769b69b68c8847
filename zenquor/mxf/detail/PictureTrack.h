#pragma once
// What all picture essence has in common.

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "zenquor/mxf/detail/EssenceTrack.h"
#include "zenquor/mxf/detail/PictureDescription.h"

namespace zenquor::mxf::detail {

/// The base of all picture tracks: knows the format, counts the units, writes the descriptor's common part.
class PictureTrack : public EssenceTrack {
public:
    PictureTrack(const StreamFormat& format, const Context& context) : format_(format), context_(context) {}

    void setEditRate(Rational editRate) override { context_.editRate = editRate; }
    std::uint8_t itemType() const override { return 0x15; }
    UL dataDefinition() const override;
    std::string_view trackName() const override { return "Picture"; }

protected:
    /// Facts of the next unit of essence that is stored as it is shown.
    UnitFacts countIntra(std::uint8_t flags) { return {units_++, flags, 0}; }
    std::int64_t units() const { return units_; }
    const StreamFormat& format() const { return format_; }
    const Context& context() const { return context_; }
    /// The edit rate rounded to whole pictures: 25 for 25/1, 30 for 30000/1001; 0 when unknown.
    std::int64_t nominalRate() const;
    /// Adds the descriptor with rate, container, coding and all that @p picture tells.
    MetadataSet& addDescriptor(HeaderMetadata& metadata, SetKind kind, const UL& coding,
                               PictureDescription picture) const;
    static MetadataSet& addSubDescriptor(HeaderMetadata& metadata, MetadataSet& descriptor, SetKind kind);

private:
    StreamFormat format_;
    Context context_;
    std::int64_t units_ = 0;
};

}  // namespace zenquor::mxf::detail
