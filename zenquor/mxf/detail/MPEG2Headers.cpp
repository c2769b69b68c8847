#include "zenquor/mxf/detail/MPEG2Headers.h"

#include <algorithm>

#include "zenquor/mxf/detail/BitReader.h"
#include "zenquor/mxf/detail/StartCode.h"

namespace zenquor::mxf::detail {
namespace {

constexpr std::uint8_t codePicture = 0x00, codeFirstSlice = 0x01, codeLastSlice = 0xAF, codeSequence = 0xB3,
                       codeExtension = 0xB5, codeGroup = 0xB8;
constexpr std::uint32_t extensionSequence = 1, extensionDisplay = 2, extensionPictureCoding = 8;
constexpr std::uint32_t structureTopField = 1, structureFrame = 3;

// The parts that one picture's headers consist of, as they come.
class HeaderWalk {
public:
    void read(std::uint8_t code, std::span<const std::uint8_t> value);
    MPEG2Picture picture;
    bool hasPicture = false;
    bool hasKnownType = false;

private:
    void readSequence(BitReader bits);
    void readGroup(BitReader bits);
    void readPicture(BitReader bits);
    void readExtension(BitReader bits);
    void readSequenceExtension(BitReader& bits);
    void readDisplayExtension(BitReader& bits);
    void readCodingExtension(BitReader& bits);
};

void HeaderWalk::read(std::uint8_t code, std::span<const std::uint8_t> value) {
    if (code == codeSequence) readSequence(BitReader(value));
    if (code == codeGroup) readGroup(BitReader(value));
    if (code == codePicture) readPicture(BitReader(value));
    if (code == codeExtension) readExtension(BitReader(value));
}

void HeaderWalk::readSequence(BitReader bits) {
    MPEG2Sequence sequence;
    sequence.width = bits.bits(12);
    sequence.height = bits.bits(12);
    sequence.aspectCode = static_cast<std::uint8_t>(bits.bits(4));
    bits.skip(4);  // frame rate code
    sequence.bitRate = bits.bits(18) * 400;
    if (!bits.isBroken()) picture.sequence = sequence;
}

void HeaderWalk::readGroup(BitReader bits) {
    bits.skip(25);  // timecode
    picture.isClosedGroup = bits.bit();
    picture.startsGroup = !bits.isBroken();
}

void HeaderWalk::readPicture(BitReader bits) {
    picture.temporalReference = static_cast<std::uint16_t>(bits.bits(10));
    const std::uint32_t type = bits.bits(3);
    hasPicture = !bits.isBroken();
    hasKnownType = hasPicture && type >= 1 && type <= 3;
    constexpr PictureType types[] = {PictureType::I, PictureType::P, PictureType::B};
    if (hasKnownType) picture.type = types[type - 1];
}

void HeaderWalk::readExtension(BitReader bits) {
    const std::uint32_t identifier = bits.bits(4);
    if (identifier == extensionSequence && picture.sequence) readSequenceExtension(bits);
    if (identifier == extensionDisplay && picture.sequence) readDisplayExtension(bits);
    if (identifier == extensionPictureCoding && hasPicture) readCodingExtension(bits);
}

void HeaderWalk::readSequenceExtension(BitReader& bits) {
    MPEG2Sequence sequence = *picture.sequence;
    sequence.profileAndLevel = static_cast<std::uint8_t>(bits.bits(8));
    sequence.isProgressive = bits.bit();
    sequence.chromaFormat = static_cast<std::uint8_t>(bits.bits(2));
    sequence.width |= bits.bits(2) << 12;
    sequence.height |= bits.bits(2) << 12;
    const std::uint64_t highRate = bits.bits(12);
    const std::uint64_t rate = (highRate << 18) * 400 + sequence.bitRate;
    sequence.bitRate = static_cast<std::uint32_t>(std::min<std::uint64_t>(rate, UINT32_MAX));
    bits.skip(1 + 8);  // marker, buffer size
    sequence.isLowDelay = bits.bit();
    if (!bits.isBroken()) picture.sequence = sequence;
}

void HeaderWalk::readDisplayExtension(BitReader& bits) {
    bits.skip(3);  // video format
    if (!bits.bit()) return;
    ColorCodes color;
    color.primaries = bits.bits(8);
    color.transfer = bits.bits(8);
    color.equations = bits.bits(8);
    if (!bits.isBroken()) picture.sequence->color = color;
}

void HeaderWalk::readCodingExtension(BitReader& bits) {
    bits.skip(16 + 2);  // motion vector sizes, precision of intra DC
    const std::uint32_t structure = bits.bits(2);
    const bool topFieldFirst = bits.bit();
    bits.skip(6);
    const bool repeatsFirstField = bits.bit();
    bits.skip(1);
    const bool progressiveFrame = bits.bit();
    if (bits.isBroken()) return;
    picture.isFramePicture = structure == structureFrame;
    picture.isTopFieldFirst = picture.isFramePicture
                                  ? topFieldFirst || (progressiveFrame && !repeatsFirstField)
                                  : structure == structureTopField;
    picture.isProgressiveFrame = progressiveFrame;
}

}  // namespace

std::optional<MPEG2Picture> MPEG2Picture::read(std::span<const std::uint8_t> sample, std::string& why) {
    HeaderWalk walk;
    for (std::size_t at = nextStartCode(sample, 0); at < sample.size(); at = nextStartCode(sample, at)) {
        const std::uint8_t code = sample[at];
        if (code >= codeFirstSlice && code <= codeLastSlice) {
            if (walk.hasKnownType) return walk.picture;
            break;
        }
        walk.read(code, sample.subspan(at + 1));
    }
    why = walk.hasPicture ? "its MPEG-2 picture is cut off or of an unknown type"
                          : "it holds no MPEG-2 picture header";
    return std::nullopt;
}

}  // namespace zenquor::mxf::detail
