#include "zenquor/mxf/detail/VC3Track.h"

#include <array>

namespace zenquor::mxf::detail {
namespace {

constexpr UL frameWrapped = ul(0x060E2B34, 0x0401010A, 0x0D010301, 0x02110100);
constexpr UL codingTemplate = ul(0x060E2B34, 0x0401010A, 0x04010202, 0x71000000);
constexpr std::uint32_t firstID = 1235, lastID = 1274, idOfCodingByte0 = 1234;

// Places in the header of a coding unit.
constexpr std::size_t placeFieldFlags = 5, placeLines = 24, placeSamplesPerLine = 26, placeDepth = 33,
                      placeCompressionID = 40, placeColor = 44, headerBytes = 640;
constexpr std::uint8_t flagInterlaced = 2;

constexpr std::uint32_t read16(std::span<const std::uint8_t> bytes, std::size_t at) {
    return static_cast<std::uint32_t>(bytes[at] << 8 | bytes[at + 1]);
}

}  // namespace

std::optional<VC3Header> VC3Header::read(std::span<const std::uint8_t> sample, std::string& why) {
    const bool hasPrefix = sample.size() >= headerBytes && read16(sample, 0) == 0 && sample[2] >= 2;
    const std::uint32_t id =
        hasPrefix ? read16(sample, placeCompressionID) << 16 | read16(sample, placeCompressionID + 2) : 0;
    if (id < firstID || id > lastID) {
        why = "it does not begin with a VC-3 header";
        return std::nullopt;
    }
    VC3Header header;
    header.compressionID = id;
    header.isInterlaced = (sample[placeFieldFlags] & flagInterlaced) != 0;
    header.width = read16(sample, placeSamplesPerLine);
    header.height = read16(sample, placeLines) * (header.isInterlaced ? 2 : 1);
    if (header.width == 0 || header.height == 0) {
        why = "its VC-3 header tells no picture size";
        return std::nullopt;
    }
    constexpr std::uint32_t depths[] = {8, 8, 10, 12, 8, 8, 8, 8};
    header.depth = depths[sample[placeDepth] >> 5];
    header.is444 = (sample[placeColor] & 0x40) != 0;
    header.isRGB = header.is444 && (sample[placeColor] & 1) == 0;
    header.colorVolume = sample[placeColor] >> 1 & 3;
    return header;
}

std::optional<UnitFacts> VC3Track::add(std::span<const std::uint8_t> sample, std::uint64_t,
                                       std::string& why) {
    const std::optional<VC3Header> header = VC3Header::read(sample, why);
    if (!header) return std::nullopt;
    if (units() == 0) {
        header_ = *header;
        const bool isConstant = !header->isResolutionIndependent() && sample.size() <= UINT32_MAX;
        frameBytes_ = isConstant ? static_cast<std::uint32_t>(sample.size()) : 0;
    }
    return countIntra(0x80);
}

UL VC3Track::container() const {
    return frameWrapped;
}

MetadataSet& VC3Track::describe(HeaderMetadata& metadata) const {
    PictureDescription picture;
    picture.storedWidth = header_.width;
    picture.storedHeight = header_.height;
    picture.isInterlaced = units() == 0 ? format().isInterlaced : header_.isInterlaced;
    picture.depth = header_.depth;
    picture.horizontalSubsampling = header_.is444 ? 1 : 2;
    constexpr std::array<ColorCodes, 4> colors{{{1, 1, 1}, {9, 14, 9}, {9, 14, 10}, {}}};
    picture.color = colors[header_.colorVolume];
    constexpr std::uint32_t equationsOfRGB = 0;
    if (header_.isRGB) picture.color.equations = equationsOfRGB;
    UL coding = codingTemplate;
    coding[13] = static_cast<std::uint8_t>(header_.compressionID - idOfCodingByte0);
    return addDescriptor(metadata, SetKind::CDCIEssenceDescriptor, coding, picture);
}

}  // namespace zenquor::mxf::detail
