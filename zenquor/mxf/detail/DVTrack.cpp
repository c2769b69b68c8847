#include "zenquor/mxf/detail/DVTrack.h"

namespace zenquor::mxf::detail {
namespace {

constexpr UL containerTemplate = ul(0x060E2B34, 0x04010101, 0x0D010301, 0x02020001);
constexpr UL codingTemplate = ul(0x060E2B34, 0x04010101, 0x04010202, 0x02000000);

constexpr std::uint8_t signal25 = 0x00, signal50 = 0x04, signal1080 = 0x14, signal720 = 0x18;
constexpr LineMap lines525{23, 285}, lines625{23, 335}, lines1080{21, 584}, lines720{26, 0};
constexpr std::uint8_t alternating = PictureDescription::sitedLineAlternating;

constexpr DVKind kinds[] = {
    {false, signal25, true, 120000, 720, 480, true, 4, 1, 0x01, 0x0101, lines525, 0},
    {true, signal25, true, 144000, 720, 576, true, 2, 2, 0x02, 0x0102, lines625, alternating},
    {false, signal25, false, 120000, 720, 480, true, 4, 1, 0x40, 0x0201, lines525, 0},
    {true, signal25, false, 144000, 720, 576, true, 4, 1, 0x41, 0x0202, lines625, 0},
    {false, signal50, false, 240000, 720, 480, true, 2, 1, 0x50, 0x0203, lines525, 0},
    {true, signal50, false, 288000, 720, 576, true, 2, 1, 0x51, 0x0204, lines625, 0},
    {false, signal1080, false, 480000, 1280, 1080, true, 2, 1, 0x60, 0x0205, lines1080, 0},
    {true, signal1080, false, 576000, 1440, 1080, true, 2, 1, 0x61, 0x0206, lines1080, 0},
    {false, signal720, false, 240000, 960, 720, false, 2, 1, 0x62, 0x0207, lines720, 0},
    {true, signal720, false, 288000, 960, 720, false, 2, 1, 0x63, 0x0208, lines720, 0},
};

// Places in the first DIF sequence: blocks of 80 bytes, packs of 5 bytes behind three of identification.
constexpr std::size_t blockBytes = 80, sequenceBytes = 150 * blockBytes;
constexpr std::size_t placeSystem = 3, placeApplication = 4, placeSource = 5 * blockBytes + 48 + 3,
                      placeControl = 5 * blockBytes + 48 + 5;
constexpr std::uint8_t headerSection = 0x1F, packControl = 0x61;

bool isWidePicture(std::span<const std::uint8_t> sample) {
    if (sample[placeControl] != packControl) return false;
    const unsigned mode = sample[placeControl + 2] & 7;
    return mode == 2 || ((sample[placeApplication] & 7) == 0 && mode == 7);
}

const DVKind* kindOf(bool is625, std::uint8_t signal, bool isIEC) {
    for (const DVKind& kind : kinds) {
        if (kind.is625 == is625 && kind.signal == signal && kind.isIEC == (isIEC && signal == signal25))
            return &kind;
    }
    return nullptr;
}

}  // namespace

std::optional<DVFrame> DVFrame::read(std::span<const std::uint8_t> sample, bool prefersIEC,
                                     std::string& why) {
    if (sample.size() < sequenceBytes || sample[0] != headerSection) {
        why = "it does not begin with a DV header block";
        return std::nullopt;
    }
    const bool is625 = (sample[placeSystem] & 0x80) != 0;
    // With 625 lines the application tells 4:2:0 from 4:1:1; with 525 both are 4:1:1 and coders write either
    // application.
    const bool isIEC = is625 ? (sample[placeApplication] & 7) == 0 : prefersIEC;
    const DVKind* kind = kindOf(is625, sample[placeSource] & 0x1F, isIEC);
    if (kind == nullptr) {
        why = "its DV header tells a signal that is not known";
        return std::nullopt;
    }
    if (sample.size() != kind->frameBytes) {
        why = "its size is not that of its DV format's frames";
        return std::nullopt;
    }
    return DVFrame{kind, isWidePicture(sample)};
}

std::optional<UnitFacts> DVTrack::add(std::span<const std::uint8_t> sample, std::uint64_t, std::string& why) {
    const std::optional<DVFrame> frame = DVFrame::read(sample, format().codec != codec::dvcPro25, why);
    if (!frame) return std::nullopt;
    if (units() == 0) frame_ = *frame;
    return countIntra(0x80);
}

UL DVTrack::container() const {
    UL label = containerTemplate;
    if (frame_.kind != nullptr) label[14] = frame_.kind->containerByte;
    return label;
}

std::uint32_t DVTrack::constantBytes() const {
    return frame_.kind == nullptr ? 0 : frame_.kind->frameBytes;
}

MetadataSet& DVTrack::describe(HeaderMetadata& metadata) const {
    PictureDescription picture;
    UL coding = codingTemplate;
    if (const DVKind* kind = frame_.kind) {
        coding[13] = static_cast<std::uint8_t>(kind->codingBytes >> 8);
        coding[14] = static_cast<std::uint8_t>(kind->codingBytes);
        picture.storedWidth = kind->width;
        picture.storedHeight = kind->height;
        picture.isInterlaced = kind->isInterlaced;
        picture.horizontalSubsampling = kind->horizontalSubsampling;
        picture.verticalSubsampling = kind->verticalSubsampling;
        picture.lineMap = kind->lines;
        picture.siting = kind->siting;
        if (kind->height <= 576) {
            picture.aspectX = frame_.isWide ? 16 : 4;
            picture.aspectY = frame_.isWide ? 9 : 3;
        }
    }
    return addDescriptor(metadata, SetKind::CDCIEssenceDescriptor, coding, picture);
}

}  // namespace zenquor::mxf::detail
