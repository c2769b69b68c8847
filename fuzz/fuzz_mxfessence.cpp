// Essence on its way into an MXF file: the first byte chooses the mapping, the rest is samples behind 16-bit counts.

#include "Check.h"
#include "zenquor/mxf/detail/EssenceTrack.h"

using namespace zenquor::mxf;
using namespace zenquor::mxf::detail;

namespace {

struct Kind {
    std::int32_t streamKind;
    std::int32_t codec;
    std::int32_t profile;
};
constexpr Kind kinds[] = {
    {streamKindVideo, codec::mpeg2Video, wrapping::xdcam},
    {streamKindVideo, codec::mpeg2Video, wrapping::d10},
    {streamKindVideo, codec::avcIntra50, wrapping::dvAndAVCIntra},
    {streamKindVideo, codec::avcIntra200, wrapping::xavcIntra},
    {streamKindVideo, codec::avcLongGOP, wrapping::xavcLongGOP},
    {streamKindVideo, codec::dv25, wrapping::dvAndAVCIntra},
    {streamKindVideo, codec::vc3, wrapping::vc3},
    {streamKindVideo, codec::proRes, wrapping::proRes},
    {streamKindAudio, codec::pcmWave, wrapping::xdcam},
    {streamKindAudio, codec::pcmAES3, wrapping::d10},
    {streamKindData, codec::ancillary436M, wrapping::xdcam},
};

void checkFacts(const UnitFacts& facts, std::int64_t unit) {
    FUZZ_CHECK(facts.keyFrameOffset <= 0 && facts.keyFrameOffset >= -unit);
    FUZZ_CHECK(facts.displayPosition >= 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size < 2) return 0;
    const Kind& kind = kinds[bytes[0] % std::size(kinds)];
    StreamFormat format;
    format.streamKind = kind.streamKind;
    format.codec = kind.codec;
    format.isInterlaced = (bytes[1] & 1) != 0;
    format.channelCount = 1u + (bytes[1] >> 1) % 8;
    format.bitsPerSample = (bytes[1] & 16) != 0 ? 24 : 16;
    const Rational rate = (bytes[1] & 32) != 0 ? Rational{30000, 1001} : Rational{25, 1};
    const auto track = EssenceTrack::create(format, {kind.profile, rate, false});
    FUZZ_CHECK(track != nullptr);

    std::span<const std::uint8_t> rest(bytes + 2, size - 2);
    for (std::int64_t unit = 0; rest.size() > 2;) {
        const std::size_t count = std::min<std::size_t>(rest[0] << 8 | rest[1], rest.size() - 2);
        const auto sample = rest.subspan(2, count);
        rest = rest.subspan(2 + count);
        std::string why;
        const auto facts = track->add(sample, 0, why);
        FUZZ_CHECK(facts.has_value() == why.empty());
        if (!facts) continue;
        checkFacts(*facts, unit++);
        track->stored(sample);
    }
    HeaderMetadata metadata;
    const MetadataSet& descriptor = track->describe(metadata);
    FUZZ_CHECK(descriptor.label(Property::EssenceContainer) == track->container());
    ByteSink out;
    metadata.write(out);
    return 0;
}
