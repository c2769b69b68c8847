#include "zenquor/mxf/detail/AVCParameterSets.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iterator>

namespace zenquor::mxf::detail {
namespace {

constexpr std::size_t largestParameterSet = 8192;
constexpr std::uint32_t largestDimension = 16384;
constexpr std::uint32_t mostIDs = 32, mostPictureIDs = 256;

constexpr bool hasChromaFormat(std::uint8_t profile) {
    constexpr std::array<std::uint8_t, 13> profiles{100, 110, 122, 244, 44,  83, 86,
                                                    118, 128, 138, 139, 134, 135};
    return std::find(profiles.begin(), profiles.end(), profile) != profiles.end();
}

void skipScalingList(BitReader& bits, int size) {
    std::int32_t last = 8, next = 8;
    for (int i = 0; i < size && !bits.isBroken(); ++i) {
        if (next != 0) next = (last + bits.signedGolomb() % 256 + 256) % 256;
        last = next == 0 ? last : next;
    }
}

void readChroma(BitReader& bits, AVCSequence& sequence) {
    sequence.chromaFormat = bits.unsignedGolomb();
    if (sequence.chromaFormat == 3) sequence.hasSeparatePlanes = bits.bit();
    sequence.depth = 8 + std::min<std::uint32_t>(bits.unsignedGolomb(), 8);
    bits.unsignedGolomb();  // depth of the colour differences
    bits.skip(1);           // lossless bypass
    if (!bits.bit()) return;
    const int lists = sequence.chromaFormat == 3 ? 12 : 8;
    for (int i = 0; i < lists; ++i) {
        if (bits.bit()) skipScalingList(bits, i < 6 ? 16 : 64);
    }
}

bool readOrder(BitReader& bits, AVCSequence& sequence) {
    sequence.frameNumberBits = bits.unsignedGolomb() + 4;
    sequence.orderType = bits.unsignedGolomb();
    if (sequence.frameNumberBits > 16 || sequence.orderType > 2) return false;
    if (sequence.orderType == 0) {
        sequence.orderLowBits = bits.unsignedGolomb() + 4;
        return sequence.orderLowBits <= 16;
    }
    if (sequence.orderType == 2) return true;
    sequence.hasNoOrderDeltas = bits.bit();
    sequence.offsetForNonReference = bits.signedGolomb();
    sequence.offsetForBottom = bits.signedGolomb();
    const std::uint32_t count = bits.unsignedGolomb();
    if (count > 255) return false;
    std::int64_t sum = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        sequence.cycleOffsets.push_back(bits.signedGolomb());
        sum += sequence.cycleOffsets.back();
    }
    return std::abs(sum) <= INT32_MAX;
}

bool readSize(BitReader& bits, AVCSequence& sequence) {
    const std::uint64_t width = (std::uint64_t{bits.unsignedGolomb()} + 1) * 16;
    const std::uint64_t units = std::uint64_t{bits.unsignedGolomb()} + 1;
    sequence.hasFramesOnly = bits.bit();
    if (!sequence.hasFramesOnly) sequence.isMacroblockAdaptive = bits.bit();
    bits.skip(1);  // direct inference
    const std::uint64_t height = units * 16 * (sequence.hasFramesOnly ? 1 : 2);
    if (width > largestDimension || height > largestDimension) return false;
    sequence.codedWidth = static_cast<std::uint32_t>(width);
    sequence.codedHeight = static_cast<std::uint32_t>(height);
    sequence.width = sequence.codedWidth;
    sequence.height = sequence.codedHeight;
    if (!bits.bit()) return true;
    std::array<std::uint64_t, 4> crop{};  // left, right, top, bottom
    for (std::uint64_t& side : crop) side = bits.unsignedGolomb();
    const bool isPlain = sequence.chromaFormat == 0 || sequence.chromaFormat == 3;
    const std::uint64_t unitX = isPlain ? 1 : 2;
    const std::uint64_t unitY = (sequence.chromaFormat == 1 ? 2 : 1) * (sequence.hasFramesOnly ? 1 : 2);
    const std::uint64_t cutX = (crop[0] + crop[1]) * unitX, cutY = (crop[2] + crop[3]) * unitY;
    if (cutX >= width || cutY >= height) return false;
    sequence.width -= static_cast<std::uint32_t>(cutX);
    sequence.height -= static_cast<std::uint32_t>(cutY);
    return true;
}

void readAspect(BitReader& bits, AVCSequence& sequence) {
    struct Aspect {
        std::uint16_t x, y;
    };
    constexpr Aspect aspects[] = {{0, 0},   {1, 1},    {12, 11}, {10, 11}, {16, 11}, {40, 33},
                                  {24, 11}, {20, 11},  {32, 11}, {80, 33}, {18, 11}, {15, 11},
                                  {64, 33}, {160, 99}, {4, 3},   {3, 2},   {2, 1}};
    constexpr std::uint32_t explicitAspect = 255;
    const std::uint32_t code = bits.bits(8);
    if (code == explicitAspect) {
        sequence.sampleAspectX = bits.bits(16);
        sequence.sampleAspectY = bits.bits(16);
    } else if (code < std::size(aspects)) {
        sequence.sampleAspectX = aspects[code].x;
        sequence.sampleAspectY = aspects[code].y;
    }
}

// The parameters of the hypothetical decoder; @return the rate of its last schedule.
std::uint64_t readDecoderModel(BitReader& bits) {
    const std::uint32_t count = bits.unsignedGolomb() + 1;
    const unsigned scale = bits.bits(4);
    bits.skip(4);
    std::uint64_t rate = 0;
    for (std::uint32_t i = 0; i < std::min<std::uint32_t>(count, 32); ++i) {
        rate = (std::uint64_t{bits.unsignedGolomb()} + 1) << (6 + scale);
        bits.unsignedGolomb();  // buffer size
        bits.skip(1);
    }
    bits.skip(20);  // lengths of delays and of the time offset
    return rate;
}

void readUsability(BitReader& bits, AVCSequence& sequence) {
    if (bits.bit()) readAspect(bits, sequence);
    if (bits.bit()) bits.skip(1);  // overscan
    if (bits.bit()) {
        bits.skip(3);  // video format
        sequence.isFullRange = bits.bit();
        if (bits.bit()) {
            sequence.color.primaries = bits.bits(8);
            sequence.color.transfer = bits.bits(8);
            sequence.color.equations = bits.bits(8);
        }
    }
    if (bits.bit()) {  // siting of the colour differences
        bits.unsignedGolomb();
        bits.unsignedGolomb();
    }
    if (bits.bit()) bits.skip(32 + 32 + 1);  // timing
    bool hasModel = false;
    for (int i = 0; i < 2; ++i) {  // of NAL units, of the byte stream
        if (!bits.bit()) continue;
        sequence.bitRate = readDecoderModel(bits);
        hasModel = true;
    }
    if (hasModel) bits.skip(1);  // low delay
    bits.skip(1);                // timing of picture structures
    if (!bits.bit()) return;
    bits.skip(1);  // vectors over the edges
    for (int i = 0; i < 4; ++i) bits.unsignedGolomb();
    const std::uint32_t reordered = bits.unsignedGolomb();
    if (!bits.isBroken() && reordered <= 16) sequence.mostReordered = reordered;
}

}  // namespace

std::vector<std::uint8_t> unescaped(std::span<const std::uint8_t> nal, std::size_t most) {
    std::vector<std::uint8_t> payload;
    if (nal.empty()) return payload;
    nal = nal.subspan(1);
    payload.reserve(std::min(nal.size(), most));
    std::size_t zeros = 0;
    for (const std::uint8_t byte : nal) {
        if (payload.size() == most) break;
        if (zeros >= 2 && byte == 3) {
            zeros = 0;
            continue;
        }
        zeros = byte == 0 ? zeros + 1 : 0;
        payload.push_back(byte);
    }
    return payload;
}

bool AVCSequence::isIntraProfile() const {
    constexpr std::uint8_t onlyIntra = 0x10;  // constraint flag 3 of the High profiles
    constexpr std::uint8_t profileCAVLC444 = 44;
    const bool isHigh = profile == 110 || profile == 122 || profile == 244;
    return profile == profileCAVLC444 || (isHigh && (constraints & onlyIntra) != 0);
}

std::optional<AVCSequence> AVCSequence::read(std::span<const std::uint8_t> nal) {
    const std::vector<std::uint8_t> payload = unescaped(nal, largestParameterSet);
    BitReader bits(payload);
    AVCSequence sequence;
    sequence.profile = static_cast<std::uint8_t>(bits.bits(8));
    sequence.constraints = static_cast<std::uint8_t>(bits.bits(8));
    sequence.level = static_cast<std::uint8_t>(bits.bits(8));
    sequence.id = bits.unsignedGolomb();
    if (hasChromaFormat(sequence.profile)) readChroma(bits, sequence);
    if (sequence.id >= mostIDs || sequence.chromaFormat > 3 || !readOrder(bits, sequence))
        return std::nullopt;
    sequence.mostReferences = bits.unsignedGolomb();
    bits.skip(1);  // gaps in frame numbers
    if (!readSize(bits, sequence) || bits.isBroken()) return std::nullopt;
    if (bits.bit()) readUsability(bits, sequence);
    if (bits.isBroken()) sequence.bitRate = 0;
    return sequence;
}

std::optional<AVCPictureParameters> AVCPictureParameters::read(std::span<const std::uint8_t> nal) {
    const std::vector<std::uint8_t> payload = unescaped(nal, 16);
    BitReader bits(payload);
    AVCPictureParameters parameters;
    parameters.id = bits.unsignedGolomb();
    parameters.sequenceID = bits.unsignedGolomb();
    bits.skip(1);  // entropy coding
    parameters.hasBottomOrder = bits.bit();
    if (bits.isBroken() || parameters.id >= mostPictureIDs || parameters.sequenceID >= mostIDs)
        return std::nullopt;
    return parameters;
}

}  // namespace zenquor::mxf::detail
