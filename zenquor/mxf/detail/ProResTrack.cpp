#include "zenquor/mxf/detail/ProResTrack.h"

#include <algorithm>
#include <iterator>

namespace zenquor::mxf::detail {
namespace {

constexpr UL frameWrapped = ul(0x060E2B34, 0x0401010D, 0x0D010301, 0x021C0100);
constexpr UL codingTemplate = ul(0x060E2B34, 0x0401010D, 0x04010202, 0x03060000);

// The frame container, RDD 36, 5.1: size and identifier, then the frame header.
constexpr std::size_t placeIdentifier = 4, placeHeaderSize = 8, placeWidth = 16, placeHeight = 18,
                      placeFlags = 20, placeAspect = 21, placePrimaries = 22, placeAlpha = 25,
                      placeMatrixFlags = 27, placeMatrices = 28;
constexpr std::size_t shortestHeader = 20;

constexpr std::uint32_t read16(std::span<const std::uint8_t> bytes, std::size_t at) {
    return static_cast<std::uint32_t>(bytes[at] << 8 | bytes[at + 1]);
}
constexpr std::uint32_t read32(std::span<const std::uint8_t> bytes, std::size_t at) {
    return read16(bytes, at) << 16 | read16(bytes, at + 2);
}

using Profile = ProResFrame::Profile;

// Profiles of 4:2:2, finest last: the last weight of their luma matrix (63, 41, 21, 7), and bytes per
// macroblock at the data rates that the profiles aim at (45, 102, 147 and 220 Mbit/s for 1920 x 1080 at 29.97);
// the bounds lie between neighbours.
struct ProfileRow {
    Profile profile;
    std::uint32_t leastWeight;
    std::uint32_t mostBytesPerMacroblock;
};
constexpr ProfileRow profileRows[] = {
    {Profile::Proxy, 52, 35},
    {Profile::LT, 31, 63},
    {Profile::Standard, 14, 92},
    {Profile::HQ, 0, UINT32_MAX},
};
constexpr std::uint32_t mostBytesOf4444 = 210;  // between 330 and 500 Mbit/s
constexpr std::uint32_t mostWeightOfXQ = 3;

Profile profileOf444(std::optional<std::uint8_t> weight, std::uint64_t bytesPerMacroblock) {
    const bool isXQ = weight ? *weight <= mostWeightOfXQ : bytesPerMacroblock > mostBytesOf4444;
    return isXQ ? Profile::P4444XQ : Profile::P4444;
}

Profile profileOf422(std::optional<std::uint8_t> weight, std::uint64_t bytesPerMacroblock) {
    for (const ProfileRow& row : profileRows) {
        if (weight ? *weight >= row.leastWeight : bytesPerMacroblock <= row.mostBytesPerMacroblock)
            return row.profile;
    }
    return Profile::HQ;
}

// The last weight of the luma matrix; nothing when the frame has no matrix of its own.
std::optional<std::uint8_t> lastWeight(std::span<const std::uint8_t> sample, std::size_t headerBytes) {
    const bool hasMatrix = (sample[placeMatrixFlags] & 2) != 0 && headerBytes >= shortestHeader + 64;
    if (!hasMatrix) return std::nullopt;
    return sample[placeMatrices + 63];
}

bool isWhole(std::span<const std::uint8_t> sample, std::string& why) {
    constexpr std::uint8_t identifier[] = {'i', 'c', 'p', 'f'};
    if (sample.size() < placeMatrices ||
        !std::equal(std::begin(identifier), std::end(identifier), sample.begin() + placeIdentifier)) {
        why = "it does not begin with a ProRes frame header";
        return false;
    }
    const std::size_t headerBytes = read16(sample, placeHeaderSize);
    if (headerBytes < shortestHeader || headerBytes > sample.size() - placeHeaderSize ||
        read32(sample, 0) > sample.size()) {
        why = "its ProRes frame is cut off";
        return false;
    }
    if (read16(sample, placeWidth) == 0 || read16(sample, placeHeight) == 0) {
        why = "its ProRes frame has no size";
        return false;
    }
    return true;
}

}  // namespace

std::optional<ProResFrame> ProResFrame::read(std::span<const std::uint8_t> sample, std::string& why) {
    if (!isWhole(sample, why)) return std::nullopt;
    ProResFrame frame;
    frame.width = static_cast<std::uint16_t>(read16(sample, placeWidth));
    frame.height = static_cast<std::uint16_t>(read16(sample, placeHeight));
    frame.is444 = sample[placeFlags] >> 6 == 3;
    const unsigned interlace = sample[placeFlags] >> 2 & 3;
    frame.isInterlaced = interlace == 1 || interlace == 2;
    frame.isBottomFieldFirst = interlace == 2;
    frame.aspectCode = sample[placeAspect] >> 4;
    frame.color = {sample[placePrimaries], sample[placePrimaries + 1], sample[placePrimaries + 2]};
    constexpr std::uint8_t alphaDepths[] = {0, 8, 16};
    const unsigned alpha = sample[placeAlpha] & 15;
    frame.alphaDepth = alpha < std::size(alphaDepths) ? alphaDepths[alpha] : 0;
    const std::uint64_t macroblocks = std::uint64_t{(frame.width + 15u) / 16} * ((frame.height + 15u) / 16);
    const std::optional<std::uint8_t> weight = lastWeight(sample, read16(sample, placeHeaderSize));
    const std::uint64_t density = sample.size() / macroblocks;
    frame.profile = frame.is444 ? profileOf444(weight, density) : profileOf422(weight, density);
    return frame;
}

std::optional<UnitFacts> ProResTrack::add(std::span<const std::uint8_t> sample, std::uint64_t,
                                          std::string& why) {
    const std::optional<ProResFrame> frame = ProResFrame::read(sample, why);
    if (!frame) return std::nullopt;
    if (units() == 0) frame_ = *frame;
    return countIntra(0x80);
}

UL ProResTrack::container() const {
    return frameWrapped;
}

MetadataSet& ProResTrack::describe(HeaderMetadata& metadata) const {
    PictureDescription picture;
    picture.storedWidth = frame_.width;
    picture.storedHeight = frame_.height;
    picture.isInterlaced = units() == 0 ? format().isInterlaced : frame_.isInterlaced;
    picture.isBottomFieldFirst = frame_.isBottomFieldFirst;
    if (frame_.aspectCode == 1) picture.setAspect(frame_.width, frame_.height);
    if (frame_.aspectCode == 2) picture.setAspect(4, 3);
    if (frame_.aspectCode == 3) picture.setAspect(16, 9);
    picture.depth = 10;
    picture.horizontalSubsampling = frame_.is444 ? 1 : 2;
    picture.alphaDepth = frame_.alphaDepth;
    picture.color = frame_.color;
    UL coding = codingTemplate;
    coding[14] = static_cast<std::uint8_t>(frame_.profile);
    MetadataSet& descriptor = addDescriptor(metadata, SetKind::CDCIEssenceDescriptor, coding, picture);
    addSubDescriptor(metadata, descriptor, SetKind::ContainerConstraintsSubDescriptor);
    return descriptor;
}

}  // namespace zenquor::mxf::detail
