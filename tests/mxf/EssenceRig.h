#pragma once
// Tracks of real essence, fed with literal headers.

#include <gtest/gtest.h>

#include "Hex.h"
#include "zenquor/mxf/detail/EssenceTrack.h"

namespace zenquor::mxf::test {

using detail::EssenceTrack;
using detail::HeaderMetadata;
using detail::MetadataSet;
using detail::Property;
using detail::SetKind;
using detail::UnitFacts;
using Bytes = std::vector<std::uint8_t>;

/// Bits written most significant first, for headers that no encoder at hand writes.
class BitWriter {
public:
    BitWriter& bits(std::uint32_t value, unsigned count) {
        for (unsigned i = count; i-- > 0;) put((value >> i & 1) != 0);
        return *this;
    }
    BitWriter& golomb(std::uint32_t value) {
        unsigned length = 0;
        while ((value + 1) >> (length + 1) != 0) ++length;
        return bits(0, length).bits(value + 1, length + 1);
    }
    BitWriter& signedGolomb(std::int32_t value) {
        return golomb(value > 0 ? static_cast<std::uint32_t>(2 * value - 1)
                                : static_cast<std::uint32_t>(-2 * value));
    }
    /// The bytes, a stop bit and zeros behind the last bit.
    Bytes finish() {
        put(true);
        while (count_ % 8 != 0) put(false);
        return bytes_;
    }

private:
    void put(bool bit) {
        if (count_ % 8 == 0) bytes_.push_back(0);
        if (bit) bytes_.back() |= static_cast<std::uint8_t>(0x80 >> count_ % 8);
        ++count_;
    }

    Bytes bytes_;
    unsigned count_ = 0;
};

inline Bytes join(std::initializer_list<Bytes> parts) {
    Bytes whole;
    for (const Bytes& part : parts) whole.insert(whole.end(), part.begin(), part.end());
    return whole;
}

struct EssenceRig {
    StreamFormat format;
    EssenceTrack::Context context{0, {25, 1}, false};
    std::unique_ptr<EssenceTrack> track;
    std::string why;

    explicit EssenceRig(std::int32_t codec, std::int32_t profile = 0, Rational rate = {25, 1}) {
        format.streamKind = streamKindVideo;
        format.codec = codec;
        context.profile = profile;
        context.editRate = rate;
    }
    std::optional<UnitFacts> add(const Bytes& sample) {
        if (!track) track = EssenceTrack::create(format, context);
        why.clear();
        return track->add(sample, 0, why);
    }
    /// "0:c0:0 3:22:-1 …": display place, flags, key frame offset of every unit; "refused" where there is none.
    std::string facts(const std::vector<Bytes>& samples) {
        std::string text;
        for (const Bytes& sample : samples) {
            const auto facts = add(sample);
            if (!text.empty()) text += ' ';
            text += facts ? fmt::format("{}:{:02x}:{}", facts->displayPosition, facts->flags,
                                        facts->keyFrameOffset)
                          : "refused";
        }
        return text;
    }
};

/// What a track's descriptor says.
struct Described {
    HeaderMetadata metadata;
    MetadataSet* set = nullptr;

    explicit Described(const EssenceTrack& track) : set(&track.describe(metadata)) {}

    std::int64_t operator[](Property property) const { return set->integer(property).value_or(-1); }
    std::string label(Property property) const { return set->label(property).value_or(detail::UL{}).text(); }
    std::string aspect() const {
        const Rational ratio = set->rational(Property::AspectRatio).value_or(Rational{});
        return fmt::format("{}:{}", ratio.numerator, ratio.denominator);
    }
    /// "1920x544 shown 1920x540 layout 1 lines 21,584"
    std::string raster() const {
        const auto lines = set->integers(Property::VideoLineMap);
        return fmt::format("{}x{} shown {}x{} layout {} lines {},{}", (*this)[Property::StoredWidth],
                           (*this)[Property::StoredHeight], (*this)[Property::DisplayWidth],
                           (*this)[Property::DisplayHeight], (*this)[Property::FrameLayout],
                           lines.empty() ? -1 : lines.front(), lines.empty() ? -1 : lines.back());
    }
    /// Depth, subsampling, siting: "8 2/1 0"
    std::string components() const {
        return fmt::format("{} {}/{} {}", (*this)[Property::ComponentDepth],
                           (*this)[Property::HorizontalSubsampling], (*this)[Property::VerticalSubsampling],
                           (*this)[Property::ColorSiting]);
    }
    /// The telling bytes of the three colour labels.
    std::string color() const {
        return label(Property::ColorPrimaries).substr(27) + " " + label(Property::CaptureGamma).substr(27) +
               " " + label(Property::CodingEquations).substr(27);
    }
    std::string coding() const { return label(Property::PictureEssenceCoding); }
    std::string container() const { return label(Property::EssenceContainer); }
    const MetadataSet* sub() const {
        const auto list = metadata.resolve(*set, Property::SubDescriptors);
        return list.empty() ? nullptr : list.front();
    }
};

}  // namespace zenquor::mxf::test
