#include <cmath>
#include <cstdlib>
#include <optional>
#include <string>

#include "zenquor/platform/quicktime/CodecTable.h"
#include "zenquor/platform/quicktime/SampleEntry.h"

namespace zenquor::platform::quicktime {
namespace {

using detail::BoxWriter;

constexpr std::uint32_t losslessQuality = 1024;
constexpr std::uint16_t uncompressedVersion = 2;
constexpr std::uint16_t unspecified = 2;  // of ISO/IEC 23091-2, for all three codes

struct Rational {
    std::int32_t numerator;
    std::int32_t denominator;
};

/// The fraction of the smallest denominator that a double stands for: 702.915254… is 41472/59.
Rational rationalOf(double value) {
    constexpr double tolerance = 1e-6;
    constexpr std::int32_t largestDenominator = 10000;
    for (std::int32_t d = 1; d <= largestDenominator; ++d) {
        const double n = std::round(value * d);
        if (std::abs(n / d - value) < tolerance && std::abs(n) < 2147483647.0)
            return {static_cast<std::int32_t>(n), d};
    }
    return {static_cast<std::int32_t>(std::lround(value)), 1};
}

// The codes of ISO/IEC 23091-2 (ITU-T H.273), as QuickTime uses them: 2020 shares the transfer function of
// 709.
std::uint16_t codeOf(ColorPrimaries value) {
    switch (value) {
        case ColorPrimaries::ITU_R_709_2:
            return 1;
        case ColorPrimaries::EBU_3213:
            return 5;
        case ColorPrimaries::SMPTE_C:
            return 6;
        case ColorPrimaries::P22:
            return 22;
        case ColorPrimaries::DCI_P3:
            return 11;
        case ColorPrimaries::P3_D65:
            return 12;
        case ColorPrimaries::ITU_R_2020:
            return 9;
    }
    return unspecified;
}

std::uint16_t codeOf(TransferFunction value) {
    switch (value) {
        case TransferFunction::ITU_R_709_2:
        case TransferFunction::EBU_3213:
        case TransferFunction::SMPTE_C:
        case TransferFunction::ITU_R_2020:
            return 1;
        case TransferFunction::SMPTE_240M_1995:
            return 7;
        case TransferFunction::UseGamma:
            return unspecified;
        case TransferFunction::sRGB:
            return 13;
        case TransferFunction::SMPTE_ST_428_1:
            return 17;
        case TransferFunction::SMPTE_ST_2084_PQ:
            return 16;
        case TransferFunction::ITU_R_2100_HLG:
            return 18;
        case TransferFunction::Linear:
            return 8;
    }
    return unspecified;
}

std::uint16_t codeOf(YCbCrMatrix value) {
    switch (value) {
        case YCbCrMatrix::ITU_R_709_2:
            return 1;
        case YCbCrMatrix::ITU_R_601_4:
            return 6;
        case YCbCrMatrix::SMPTE_240M_1995:
            return 7;
        case YCbCrMatrix::ITU_R_2020:
            return 9;
    }
    return unspecified;
}

template <typename Tag>
std::uint16_t codeOrUnspecified(const std::optional<Tag>& tag) {
    return tag ? codeOf(*tag) : unspecified;
}

/// Field order of interlaced pictures. Interleaved lines of uncompressed video and ProRes carry QuickTime's
/// own values (9: the spatially first line is shown first, 14: shown last); other codecs the values that name
/// the field stored first (1: top, 6: bottom). Readers take 1 and 9, and 6 and 14, for the same.
struct FieldOrder {
    std::uint8_t firstLineEarly;
    std::uint8_t firstLineLate;
};
constexpr FieldOrder interleavedOrder{9, 14};
constexpr FieldOrder storedOrder{1, 6};

void writeFields(BoxWriter& out, const VideoFormat& format, CodecFamily family) {
    if (!format.fieldCount) return;
    const bool interlaced = *format.fieldCount >= 2;
    const bool interleaved = family == CodecFamily::Uncompressed || family == CodecFamily::ProRes;
    const FieldOrder order = interleaved ? interleavedOrder : storedOrder;
    out.box(fourCC("fiel"), [&] {
        out.u8(interlaced ? 2 : 1);
        if (!interlaced || !format.fieldDetail) return out.u8(0);
        out.u8(*format.fieldDetail == FieldDetail::SpatialFirstLineEarly ? order.firstLineEarly
                                                                         : order.firstLineLate);
    });
}

void writeColor(BoxWriter& out, const VideoFormat& format, FileType type) {
    if (!format.colorPrimaries && !format.transferFunction && !format.yCbCrMatrix) return;
    const bool movie = type == FileType::QuickTimeMovie;
    out.box(fourCC("colr"), [&] {
        out.u32(movie ? fourCC("nclc") : fourCC("nclx"));
        out.u16(codeOrUnspecified(format.colorPrimaries));
        out.u16(codeOrUnspecified(format.transferFunction));
        out.u16(codeOrUnspecified(format.yCbCrMatrix));
        if (!movie) out.u8(0);  // not full range
    });
}

void writePixelAspect(BoxWriter& out, const VideoFormat& format) {
    if (!format.pixelAspectRatio) return;
    out.box(fourCC("pasp"), [&] {
        out.u32(format.pixelAspectRatio->horizontalSpacing);
        out.u32(format.pixelAspectRatio->verticalSpacing);
    });
}

/// An aperture of no size means that none is known.
bool hasCleanAperture(const VideoFormat& format) {
    return format.cleanAperture && format.cleanAperture->width > 0 && format.cleanAperture->height > 0;
}

void writeCleanAperture(BoxWriter& out, const VideoFormat& format) {
    if (!hasCleanAperture(format)) return;
    const CleanAperture& aperture = *format.cleanAperture;
    out.box(fourCC("clap"), [&] {
        for (const double value :
             {aperture.width, aperture.height, aperture.horizontalOffset, aperture.verticalOffset}) {
            const Rational rational = rationalOf(value);
            out.i32(rational.numerator);
            out.i32(rational.denominator);
        }
    });
}

/// The compression identifier and field coding of a DNxHD or DNxHR picture header (SMPTE ST 2019-1).
struct DNxHeader {
    std::uint32_t compressionID;
    bool interlaced;
};

DNxHeader dnxHeader(std::span<const std::uint8_t> sample, std::uint32_t knownID, const VideoFormat& format) {
    constexpr std::size_t compressionIDOffset = 0x28;
    constexpr std::size_t codingControlOffset = 5;
    constexpr std::uint32_t firstID = 1235;
    constexpr std::uint32_t lastID = 1274;
    const std::uint32_t id =
        sample.size() >= compressionIDOffset + 4 ? readBE32(sample.data() + compressionIDOffset) : 0;
    if (id < firstID || id > lastID) return {knownID, format.fieldCount.value_or(1) >= 2};
    return {id, (sample[codingControlOffset] & 2) != 0};
}

void writeDNxColor(BoxWriter& out) {
    out.box(fourCC("ACLR"), [&] {
        out.text("ACLR0001");
        out.u32(1);  // video levels
        out.u32(0);
    });
}

void writeDNxHD(BoxWriter& out, const VideoFormat& format, const DNxHeader& header) {
    writeDNxColor(out);
    out.box(fourCC("APRG"), [&] {
        out.text("APRG0001");
        out.u32(1);
        out.u32(0);
    });
    out.box(fourCC("ARES"), [&] {
        out.text("ARES0001");
        out.u32(header.compressionID);
        out.u32(format.width);
        out.u32(header.interlaced ? format.height / 2 : format.height);
        out.u32(header.interlaced ? 2 : 1);
        out.u32(0);
        out.u32(header.interlaced ? 4 : format.height == 1080 ? 5 : 6);
        out.zeros(80);
    });
    out.u32(0);
}

void writeDNxHR(BoxWriter& out, const DNxHeader& header) {
    writeDNxColor(out);
    out.box(fourCC("ADHR"), [&] {
        out.text("0001");
        out.u32(header.compressionID);
        out.u32(0);
        out.u32(1);
        out.u32(0);
        out.u32(0);
    });
    out.u32(0);
}

void writeConfiguration(BoxWriter& out, const CodecEntry& codec, const VideoFormat& format) {
    const FourCC type = codec.family == CodecFamily::AVC    ? fourCC("avcC")
                        : codec.family == CodecFamily::HEVC ? fourCC("hvcC")
                                                            : 0;
    if (type == 0 || format.configuration.empty()) return;
    out.box(type, [&] { out.bytes(format.configuration); });
}

/// QuickTime's own fields, which ISO files keep at 0.
void writeQuality(BoxWriter& out, const CodecEntry& codec, const VideoFormat& format, FileType type) {
    if (type == FileType::MPEG4) return out.zeros(16);
    const bool raw = codec.family == CodecFamily::Uncompressed;
    out.u16(format.version != 0 ? static_cast<std::uint16_t>(format.version)
            : raw               ? uncompressedVersion
                                : std::uint16_t{0});
    out.u16(0);  // revision
    out.u32(format.vendor);
    out.u32(format.temporalQuality);
    out.u32(format.spatialQuality != 0 ? format.spatialQuality : raw ? losslessQuality : 0);
}

void writeName(BoxWriter& out, const std::string& name) {
    const std::string_view text = std::string_view(name).substr(0, 31);
    out.pascalText(text);
    out.zeros(31 - text.size());
}

std::uint32_t fixed(double value) {
    return static_cast<std::uint32_t>(std::lround(value * 65536.0));
}

double pixelAspect(const VideoFormat& format) {
    const auto& aspect = format.pixelAspectRatio;
    return aspect && aspect->verticalSpacing != 0
               ? static_cast<double>(aspect->horizontalSpacing) / aspect->verticalSpacing
               : 1.0;
}

}  // namespace

bool hasOblongPixels(const VideoFormat& format) {
    return pixelAspect(format) != 1.0;
}

FixedSize encodedSize(const VideoFormat& format) {
    return {format.width << 16, format.height << 16};
}

FixedSize productionSize(const VideoFormat& format) {
    return {fixed(format.width * pixelAspect(format)), format.height << 16};
}

FixedSize cleanSize(const VideoFormat& format) {
    if (!hasCleanAperture(format)) return productionSize(format);
    return {fixed(format.cleanAperture->width * pixelAspect(format)), fixed(format.cleanAperture->height)};
}

void writeVideoSampleEntry(BoxWriter& out, FileType type, const FormatDescription& format,
                           std::span<const std::uint8_t> firstSample) {
    const VideoFormat& video = *format.videoFormat();
    const CodecEntry codec = codecEntry(format.mediaSubType());
    out.box(video.recordedCode != 0 ? video.recordedCode : codec.recorded, [&] {
        out.zeros(6);
        out.u16(1);  // data reference
        writeQuality(out, codec, video, type);
        out.u16(static_cast<std::uint16_t>(video.width));
        out.u16(static_cast<std::uint16_t>(video.height));
        out.u32(0x00480000);  // 72 dots per inch
        out.u32(0x00480000);
        out.u32(0);
        out.u16(1);  // frames per sample
        writeName(out, video.formatName);
        out.u16(static_cast<std::uint16_t>(video.depth));
        out.i16(-1);  // no colour table
        writeConfiguration(out, codec, video);
        writeFields(out, video, codec.family);
        writeColor(out, video, type);
        writePixelAspect(out, video);
        writeCleanAperture(out, video);
        const DNxHeader header = dnxHeader(firstSample, codec.compressionID, video);
        if (codec.family == CodecFamily::DNxHD) writeDNxHD(out, video, header);
        if (codec.family == CodecFamily::DNxHR) writeDNxHR(out, header);
    });
}

}  // namespace zenquor::platform::quicktime
