#include "zenquor/platform/codec/NalUnits.h"

#include <algorithm>
#include <cstring>

#include "zenquor/core/ByteOrder.h"
#include "zenquor/platform/codec/RBSPReader.h"

namespace zenquor::platform::detail {
namespace {

namespace avc {
constexpr int slice = 1, idrSlice = 5, sequenceSet = 7, pictureSet = 8, delimiter = 9;
}
namespace hevc {
constexpr int lastSubLayerPicture = 14, firstIntra = 16, idrWithLeading = 19, idrAlone = 20,
              cleanRandomAccess = 21, lastIntra = 23, lastSlice = 31, videoSet = 32, sequenceSet = 33,
              pictureSet = 34, delimiter = 35;
}
constexpr std::size_t lengthBytes = 4;

/// The position of the next 00 00 01 at or after @p from; the size when there is none.
std::size_t findStartCode(Bytes stream, std::size_t from) {
    std::size_t i = from + 2;
    while (i < stream.size()) {
        if (stream[i] > 1) {
            i += 3;  // no start code can end before three further bytes
        } else if (stream[i] == 1 && stream[i - 1] == 0 && stream[i - 2] == 0) {
            return i - 2;
        } else {
            ++i;
        }
    }
    return stream.size();
}

/// Bytes put one after the other.
class ByteWriter {
public:
    void u8(unsigned v) { bytes_.push_back(static_cast<std::uint8_t>(v)); }
    void u16(std::size_t v) {
        u8(static_cast<unsigned>(v >> 8) & 0xFF);
        u8(static_cast<unsigned>(v) & 0xFF);
    }
    void append(Bytes bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
    ZQData data() const { return ZQData::copying(bytes_); }

private:
    std::vector<std::uint8_t> bytes_;
};

std::vector<Bytes> unitsOfType(const NalUnits& nal, int type) {
    std::vector<Bytes> found;
    for (const Bytes unit : nal.units()) {
        if (nal.type(unit) == type && unit.size() <= 0xFFFF) found.push_back(unit);
    }
    return found;
}

void appendSets(ByteWriter& out, const std::vector<Bytes>& sets) {
    for (const Bytes set : sets) {
        out.u16(set.size());
        out.append(set);
    }
}

struct ChromaAndDepth {
    unsigned chroma = 1;
    unsigned lumaDepthMinus8 = 0;
    unsigned chromaDepthMinus8 = 0;
};

bool hasChromaFields(unsigned profile) {
    static constexpr unsigned profiles[] = {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135};
    return std::find(std::begin(profiles), std::end(profiles), profile) != std::end(profiles);
}

ChromaAndDepth readAVCChroma(Bytes sps) {
    RBSPReader reader(sps.subspan(4));
    ChromaAndDepth result;
    reader.ue();  // set id
    result.chroma = reader.ue() & 3;
    if (result.chroma == 3) reader.bits(1);
    result.lumaDepthMinus8 = reader.ue() & 7;
    result.chromaDepthMinus8 = reader.ue() & 7;
    return result;
}

ZQData avcConfiguration(const NalUnits& nal) {
    const std::vector<Bytes> sequence = unitsOfType(nal, avc::sequenceSet);
    const std::vector<Bytes> picture = unitsOfType(nal, avc::pictureSet);
    if (sequence.empty() || picture.empty() || sequence.size() > 31 || picture.size() > 255) return {};
    const Bytes sps = sequence.front();
    if (sps.size() < 5) return {};
    ByteWriter out;
    out.u8(1);
    out.append(sps.subspan(1, 3));  // profile, compatibility, level
    out.u8(0xFC | (lengthBytes - 1));
    out.u8(0xE0 | static_cast<unsigned>(sequence.size()));
    appendSets(out, sequence);
    out.u8(static_cast<unsigned>(picture.size()));
    appendSets(out, picture);
    if (hasChromaFields(sps[1])) {
        const ChromaAndDepth c = readAVCChroma(sps);
        out.u8(0xFC | c.chroma);
        out.u8(0xF8 | c.lumaDepthMinus8);
        out.u8(0xF8 | c.chromaDepthMinus8);
        out.u8(0);  // no sequence set extensions
    }
    return out.data();
}

constexpr std::size_t profileTierLevelBytes = 12;

/// What an hvcC says beside the parameter sets, from the sequence set.
struct HEVCSequence {
    std::array<std::uint8_t, profileTierLevelBytes> profileTierLevel{};
    unsigned subLayers = 1;
    bool nested = false;
    ChromaAndDepth chroma;
    bool isComplete = false;
};

void skipSubLayers(RBSPReader& reader, unsigned subLayersMinus1) {
    unsigned bitsToSkip = 0;
    for (unsigned i = 0; i < subLayersMinus1; ++i) {
        const bool profile = reader.bits(1) != 0;
        const bool level = reader.bits(1) != 0;
        bitsToSkip += (profile ? 88 : 0) + (level ? 8 : 0);
    }
    if (subLayersMinus1 > 0) reader.skip(2 * (8 - subLayersMinus1));
    reader.skip(bitsToSkip);
}

HEVCSequence readHEVCSequence(Bytes sps) {
    HEVCSequence result;
    if (sps.size() < 3) return result;
    RBSPReader reader(sps.subspan(2));
    reader.bits(4);  // video set id
    const unsigned subLayersMinus1 = reader.bits(3);
    result.subLayers = subLayersMinus1 + 1;
    result.nested = reader.bits(1) != 0;
    for (std::uint8_t& byte : result.profileTierLevel) byte = static_cast<std::uint8_t>(reader.bits(8));
    skipSubLayers(reader, subLayersMinus1);
    reader.ue();  // set id
    result.chroma.chroma = reader.ue() & 3;
    if (result.chroma.chroma == 3) reader.bits(1);
    reader.ue();  // width
    reader.ue();  // height
    if (reader.bits(1) != 0) {
        for (int i = 0; i < 4; ++i) reader.ue();  // conformance window
    }
    result.chroma.lumaDepthMinus8 = reader.ue() & 7;
    result.chroma.chromaDepthMinus8 = reader.ue() & 7;
    result.isComplete = !reader.isOverrun();
    return result;
}

ZQData hevcConfiguration(const NalUnits& nal) {
    static constexpr int types[] = {hevc::videoSet, hevc::sequenceSet, hevc::pictureSet};
    const std::vector<Bytes> sequences = unitsOfType(nal, hevc::sequenceSet);
    if (sequences.empty()) return {};
    const HEVCSequence sps = readHEVCSequence(sequences.front());
    if (!sps.isComplete) return {};
    ByteWriter out;
    out.u8(1);
    out.append(sps.profileTierLevel);
    out.u16(0xF000);  // spatial segmentation: unknown
    out.u8(0xFC);     // parallelism: unknown
    out.u8(0xFC | sps.chroma.chroma);
    out.u8(0xF8 | sps.chroma.lumaDepthMinus8);
    out.u8(0xF8 | sps.chroma.chromaDepthMinus8);
    out.u16(0);  // average frame rate: unspecified
    out.u8(sps.subLayers << 3 | (sps.nested ? 4U : 0U) | (lengthBytes - 1));
    out.u8(std::size(types));
    for (const int type : types) {
        const std::vector<Bytes> sets = unitsOfType(nal, type);
        if (sets.empty()) return {};
        out.u8(0x80 | static_cast<unsigned>(type));  // all of them are here, none in the samples
        out.u16(sets.size());
        appendSets(out, sets);
    }
    return out.data();
}

/// What one picture's slices add up to.
struct PictureFacts {
    bool hasSlices = false;
    bool isSync = false;
    bool isPartialSync = false;
    bool isReference = false;
};

PictureFacts avcFacts(const NalUnits& nal) {
    PictureFacts facts;
    for (const Bytes unit : nal.units()) {
        const int type = nal.type(unit);
        if (type < avc::slice || type > avc::idrSlice) continue;
        facts.hasSlices = true;
        facts.isSync = type == avc::idrSlice;
        facts.isReference |= (unit[0] >> 5 & 3) != 0;
    }
    return facts;
}

PictureFacts hevcFacts(const NalUnits& nal) {
    PictureFacts facts;
    for (const Bytes unit : nal.units()) {
        const int type = nal.type(unit);
        if (type > hevc::lastSlice) continue;
        facts.hasSlices = true;
        facts.isSync = type == hevc::idrWithLeading || type == hevc::idrAlone;
        facts.isPartialSync = type == hevc::cleanRandomAccess;
        const bool isIntra = type >= hevc::firstIntra && type <= hevc::lastIntra;
        facts.isReference |= isIntra || type > hevc::lastSubLayerPicture || type % 2 == 1;
    }
    return facts;
}

}  // namespace

NalUnits::NalUnits(Bitstream kind, Bytes stream) : kind_(kind) {
    const std::size_t headerBytes = kind == Bitstream::HEVC ? 2 : 1;
    std::size_t start = findStartCode(stream, 0);
    while (start < stream.size()) {
        const std::size_t first = start + 3;
        const std::size_t next = findStartCode(stream, first);
        std::size_t end = next;
        while (end > first && stream[end - 1] == 0) --end;
        if (end - first >= headerBytes) units_.push_back(stream.subspan(first, end - first));
        start = next;
    }
}

int NalUnits::type(Bytes unit) const {
    return kind_ == Bitstream::HEVC ? unit[0] >> 1 & 63 : unit[0] & 31;
}

bool NalUnits::isParameterSet(Bytes unit) const {
    const int t = type(unit);
    if (kind_ == Bitstream::HEVC) return t >= hevc::videoSet && t <= hevc::pictureSet;
    return t == avc::sequenceSet || t == avc::pictureSet;
}

bool NalUnits::isKept(Bytes unit) const {
    return !isParameterSet(unit) &&
           type(unit) != (kind_ == Bitstream::HEVC ? hevc::delimiter : avc::delimiter);
}

ZQData NalUnits::lengthPrefixed() const {
    std::size_t size = 0;
    for (const Bytes unit : units_) size += isKept(unit) ? lengthBytes + unit.size() : 0;
    return ZQData::filling(size, [this](std::span<std::uint8_t> out) {
        std::uint8_t* p = out.data();
        for (const Bytes unit : units_) {
            if (!isKept(unit)) continue;
            writeBE32(p, static_cast<std::uint32_t>(unit.size()));
            std::memcpy(p + lengthBytes, unit.data(), unit.size());
            p += lengthBytes + unit.size();
        }
    });
}

SampleAttachments NalUnits::attachments(bool makesBPictures) const {
    const PictureFacts facts = kind_ == Bitstream::HEVC ? hevcFacts(*this) : avcFacts(*this);
    SampleAttachments result;
    if (!facts.hasSlices) return result;
    if (facts.isSync) {
        result.isDependedOnByOthers = true;
        return result;
    }
    result.notSync = true;
    if (facts.isPartialSync) {
        result.partialSync = true;
        return result;
    }
    result.isDependedOnByOthers = facts.isReference;
    if (facts.isReference && makesBPictures) result.earlierDisplayTimesAllowed = true;
    return result;
}

ZQData decoderConfiguration(Bitstream kind, Bytes stream) {
    const NalUnits nal(kind, stream);
    return kind == Bitstream::HEVC ? hevcConfiguration(nal) : avcConfiguration(nal);
}

}  // namespace zenquor::platform::detail
