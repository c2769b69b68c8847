#include "zenquor/mxf/detail/Labels.h"

#include <algorithm>
#include <iterator>

#include <fmt/core.h>

#include "zenquor/core/ByteOrder.h"

namespace zenquor::mxf::detail::labels {
namespace {

constexpr UL patternPrefix = ul(0x060E2B34, 0x04010101, 0x0D010201, 0x00000000);
constexpr UL containerPrefix = ul(0x060E2B34, 0x04010101, 0x0D010301, 0x02000000);
constexpr UL compressedPrefix = ul(0x060E2B34, 0x04010101, 0x04010202, 0x00000000);
constexpr UL uncompressedPrefix = ul(0x060E2B34, 0x04010101, 0x04010201, 0x00000000);
constexpr UL avidPrefix = ul(0x060E2B34, 0x04010101, 0x0E040201, 0x00000000);

std::uint32_t lastWord(const UL& label) {
    return readBE32(label.bytes.data() + 12);
}

/// Where a container label tells how the essence is cut into elements.
enum class Wrapping { Frame, Clip, Custom, Unsaid, LastByte, LastByteOddOrEven };

/// Containers by bytes 13 and 14 of their label (SMPTE ST 379-1, 381-1, 381-3, 382 to 384, 386, 388, 422, 429-5, 436-1, 2019-4,
/// 2042-4, 2124, RDD 44).
struct ContainerRow {
    std::uint8_t mapping, first, last;
    Wrapping wrapping;
    std::string_view essence;
};

constexpr ContainerRow containerTable[] = {
    {0x01, 0x01, 0x01, Wrapping::Frame, "D-10 50 Mb/s 625"},
    {0x01, 0x02, 0x02, Wrapping::Frame, "D-10 50 Mb/s 525"},
    {0x01, 0x03, 0x03, Wrapping::Frame, "D-10 40 Mb/s 625"},
    {0x01, 0x04, 0x04, Wrapping::Frame, "D-10 40 Mb/s 525"},
    {0x01, 0x05, 0x05, Wrapping::Frame, "D-10 30 Mb/s 625"},
    {0x01, 0x06, 0x06, Wrapping::Frame, "D-10 30 Mb/s 525"},
    {0x02, 0x01, 0x01, Wrapping::LastByte, "IEC DV25 525"},
    {0x02, 0x02, 0x02, Wrapping::LastByte, "IEC DV25 625"},
    {0x02, 0x40, 0x40, Wrapping::LastByte, "DV-based 25 525"},
    {0x02, 0x41, 0x41, Wrapping::LastByte, "DV-based 25 625"},
    {0x02, 0x50, 0x50, Wrapping::LastByte, "DV50 525"},
    {0x02, 0x51, 0x51, Wrapping::LastByte, "DV50 625"},
    {0x02, 0x60, 0x60, Wrapping::LastByte, "DV100 1080i60"},
    {0x02, 0x61, 0x61, Wrapping::LastByte, "DV100 1080i50"},
    {0x02, 0x62, 0x62, Wrapping::LastByte, "DV100 720p60"},
    {0x02, 0x63, 0x63, Wrapping::LastByte, "DV100 720p50"},
    {0x04, 0x60, 0x6F, Wrapping::LastByte, "MPEG-2 video"},
    {0x05, 0x00, 0xFF, Wrapping::LastByteOddOrEven, "uncompressed pictures"},
    {0x06, 0x01, 0x01, Wrapping::Frame, "PCM (wave)"},
    {0x06, 0x02, 0x02, Wrapping::Clip, "PCM (wave)"},
    {0x06, 0x08, 0x08, Wrapping::Custom, "PCM (wave)"},
    {0x06, 0x03, 0x03, Wrapping::Frame, "PCM (AES3)"},
    {0x06, 0x04, 0x04, Wrapping::Clip, "PCM (AES3)"},
    {0x06, 0x09, 0x09, Wrapping::Custom, "PCM (AES3)"},
    {0x0A, 0x01, 0x01, Wrapping::Frame, "A-law sound"},
    {0x0A, 0x02, 0x02, Wrapping::Clip, "A-law sound"},
    {0x0C, 0x01, 0x01, Wrapping::Frame, "JPEG 2000"},
    {0x0C, 0x02, 0x02, Wrapping::Clip, "JPEG 2000"},
    {0x0C, 0x03, 0x06, Wrapping::Frame, "JPEG 2000"},
    {0x0D, 0x00, 0xFF, Wrapping::Frame, "VBI lines (436M)"},
    {0x0E, 0x00, 0xFF, Wrapping::Frame, "ancillary data (436M)"},
    {0x10, 0x60, 0x6F, Wrapping::LastByte, "AVC"},
    {0x11, 0x01, 0x01, Wrapping::Frame, "VC-3"},
    {0x11, 0x02, 0x02, Wrapping::Clip, "VC-3"},
    {0x13, 0x01, 0x01, Wrapping::Clip, "timed text"},
    {0x15, 0x01, 0x01, Wrapping::Frame, "VC-2"},
    {0x15, 0x02, 0x02, Wrapping::Clip, "VC-2"},
    {0x1C, 0x01, 0x01, Wrapping::Frame, "ProRes"},
    {0x21, 0x01, 0x02, Wrapping::Frame, "JPEG XS"},
    {0x21, 0x03, 0x03, Wrapping::Clip, "JPEG XS"},
    {0x7F, 0x00, 0xFF, Wrapping::Unsaid, "multiple wrappings"},
};

std::string_view nameOfWrapping(Wrapping wrapping, std::uint8_t lastByte) {
    switch (wrapping) {
        case Wrapping::Frame:
            return "frame";
        case Wrapping::Clip:
            return "clip";
        case Wrapping::Custom:
            return "custom";
        case Wrapping::LastByte:
            return lastByte == 1 ? "frame" : lastByte == 2 ? "clip" : "";
        case Wrapping::LastByteOddOrEven:
            return lastByte % 2 == 1 ? "frame" : "clip";
        case Wrapping::Unsaid:
            break;
    }
    return "";
}

/// A coding by the last word of its label, so far as the mask reaches; the first row that fits counts.
struct CodingRow {
    std::uint32_t word, mask;
    std::string_view name;
};

constexpr CodingRow compressedTable[] = {
    {0x01011000, 0xFFFFFF00, "MPEG-2 MP@ML intra"},
    {0x01011100, 0xFFFFFF00, "MPEG-2 MP@ML long GOP"},
    {0x01020200, 0xFFFFFF00, "MPEG-2 422P@ML intra"},
    {0x01020300, 0xFFFFFF00, "MPEG-2 422P@ML long GOP"},
    {0x01030200, 0xFFFFFF00, "MPEG-2 MP@HL intra"},
    {0x01030300, 0xFFFFFF00, "MPEG-2 MP@HL long GOP"},
    {0x01040200, 0xFFFFFF00, "MPEG-2 422P@HL intra"},
    {0x01040300, 0xFFFFFF00, "MPEG-2 422P@HL long GOP"},
    {0x01050200, 0xFFFFFF00, "MPEG-2 MP@H14 intra"},
    {0x01050300, 0xFFFFFF00, "MPEG-2 MP@H14 long GOP"},
    {0x01020101, 0xFFFFFFFF, "D-10 50 Mb/s 625"},
    {0x01020102, 0xFFFFFFFF, "D-10 50 Mb/s 525"},
    {0x01020103, 0xFFFFFFFF, "D-10 40 Mb/s 625"},
    {0x01020104, 0xFFFFFFFF, "D-10 40 Mb/s 525"},
    {0x01020105, 0xFFFFFFFF, "D-10 30 Mb/s 625"},
    {0x01020106, 0xFFFFFFFF, "D-10 30 Mb/s 525"},
    {0x01010000, 0xFFFF0000, "MPEG-2 MP@ML"},
    {0x01020000, 0xFFFF0000, "MPEG-2 422P@ML"},
    {0x01030000, 0xFFFF0000, "MPEG-2 MP@HL"},
    {0x01040000, 0xFFFF0000, "MPEG-2 422P@HL"},
    {0x01050000, 0xFFFF0000, "MPEG-2 MP@H14"},
    {0x02010100, 0xFFFFFF00, "IEC DV25 525"},
    {0x02010200, 0xFFFFFF00, "IEC DV25 625"},
    {0x02020100, 0xFFFFFF00, "DV-based 25 525"},
    {0x02020200, 0xFFFFFF00, "DV-based 25 625"},
    {0x02020300, 0xFFFFFF00, "DV50 525"},
    {0x02020400, 0xFFFFFF00, "DV50 625"},
    {0x02020500, 0xFFFFFF00, "DV100 1080i60"},
    {0x02020600, 0xFFFFFF00, "DV100 1080i50"},
    {0x02020700, 0xFFFFFF00, "DV100 720p60"},
    {0x02020800, 0xFFFFFF00, "DV100 720p50"},
    {0x01311000, 0xFFFFFF00, "AVC Baseline"},
    {0x01311100, 0xFFFFFF00, "AVC Constrained Baseline"},
    {0x01312000, 0xFFFFFF00, "AVC Main"},
    {0x01313000, 0xFFFFFF00, "AVC Extended"},
    {0x01314000, 0xFFFFFF00, "AVC High"},
    {0x01315000, 0xFFFFFF00, "AVC High 10"},
    {0x01316000, 0xFFFFFF00, "AVC High 4:2:2"},
    {0x01317000, 0xFFFFFF00, "AVC High 4:4:4"},
    {0x01322001, 0xFFFFFFFF, "AVC High 10 Intra"},
    {0x01323001, 0xFFFFFFFF, "AVC High 4:2:2 Intra"},
    {0x01324001, 0xFFFFFFFF, "AVC High 4:4:4 Intra"},
    {0x01325001, 0xFFFFFFFF, "AVC CAVLC 4:4:4 Intra"},
    {0x01322101, 0xFFFFFFFF, "AVC-Intra 50 1080i60"},
    {0x01322102, 0xFFFFFFFF, "AVC-Intra 50 1080i50"},
    {0x01322103, 0xFFFFFFFF, "AVC-Intra 50 1080p30"},
    {0x01322104, 0xFFFFFFFF, "AVC-Intra 50 1080p25"},
    {0x01322108, 0xFFFFFFFF, "AVC-Intra 50 720p60"},
    {0x01322109, 0xFFFFFFFF, "AVC-Intra 50 720p50"},
    {0x01322100, 0xFFFFFF00, "AVC-Intra 50"},
    {0x01323101, 0xFFFFFFFF, "AVC-Intra 100 1080i60"},
    {0x01323102, 0xFFFFFFFF, "AVC-Intra 100 1080i50"},
    {0x01323103, 0xFFFFFFFF, "AVC-Intra 100 1080p30"},
    {0x01323104, 0xFFFFFFFF, "AVC-Intra 100 1080p25"},
    {0x01323108, 0xFFFFFFFF, "AVC-Intra 100 720p60"},
    {0x01323109, 0xFFFFFFFF, "AVC-Intra 100 720p50"},
    {0x01323100, 0xFFFFFF00, "AVC-Intra 100"},
    {0x01323201, 0xFFFFFFFF, "AVC-Intra 200 1080i60"},
    {0x01323202, 0xFFFFFFFF, "AVC-Intra 200 1080i50"},
    {0x01323203, 0xFFFFFFFF, "AVC-Intra 200 1080p30"},
    {0x01323204, 0xFFFFFFFF, "AVC-Intra 200 1080p25"},
    {0x01323208, 0xFFFFFFFF, "AVC-Intra 200 720p60"},
    {0x01323209, 0xFFFFFFFF, "AVC-Intra 200 720p50"},
    {0x01323200, 0xFFFFFF00, "AVC-Intra 200"},
    {0x03060100, 0xFFFFFF00, "ProRes 422 Proxy"},
    {0x03060200, 0xFFFFFF00, "ProRes 422 LT"},
    {0x03060300, 0xFFFFFF00, "ProRes 422"},
    {0x03060400, 0xFFFFFF00, "ProRes 422 HQ"},
    {0x03060500, 0xFFFFFF00, "ProRes 4444"},
    {0x03060600, 0xFFFFFF00, "ProRes 4444 XQ"},
    {0x03020000, 0xFFFF0000, "VC-3"},  // from before its compression identifiers had labels
    {0x03010801, 0xFFFFFFFF, "High-throughput JPEG 2000"},
    {0x03010000, 0xFFFF0000, "JPEG 2000"},
    {0x03080100, 0xFFFFFF00, "JPEG XS"},
    {0x03080200, 0xFFFFFF00, "JPEG XS Main 422.10"},
    {0x03080300, 0xFFFFFF00, "JPEG XS Main 444.12"},
    {0x03080400, 0xFFFFFF00, "JPEG XS Main 4444.12"},
    {0x03080500, 0xFFFFFF00, "JPEG XS Light 422.10"},
    {0x03080600, 0xFFFFFF00, "JPEG XS Light 444.12"},
    {0x03080700, 0xFFFFFF00, "JPEG XS Light-Subline 422.10"},
    {0x03080800, 0xFFFFFF00, "JPEG XS High 444.12"},
    {0x03080900, 0xFFFFFF00, "JPEG XS High 4444.12"},
};

constexpr CodingRow uncompressedTable[] = {
    {0x01020101, 0xFFFFFFFF, "uncompressed 4:2:2 8 bit (2vuy)"},
    {0x01020102, 0xFFFFFFFF, "uncompressed 4:2:2 8 bit (YUY2)"},
    {0x01020201, 0xFFFFFFFF, "uncompressed 4:2:2 10 bit (v210)"},
};

/// Labels that one maker used before the standard's were there; read, never written.
constexpr CodingRow avidTable[] = {
    {0x02040100, 0xFFFFFF00, "VC-3"},
    {0x02110000, 0xFFFF0000, "ProRes"},
};

template <std::size_t count>
std::string_view nameIn(const CodingRow (&table)[count], std::uint32_t word) {
    const auto row = std::find_if(std::begin(table), std::end(table),
                                  [&](const CodingRow& r) { return (word & r.mask) == (r.word & r.mask); });
    return row == std::end(table) ? std::string_view{} : row->name;
}

/// VC-3 labels carry the compression identifier less 1234.
std::string nameOfVC3(std::uint32_t word) {
    return fmt::format("VC-3 CID {}", 1234 + (word >> 16 & 0xFF));
}

/// A colour by its number in ISO/IEC 23091-2 (H.273); several numbers may share a label.
struct ColorRow {
    std::uint32_t code;
    UL label;
    std::string_view name;
};

constexpr UL color(std::uint32_t version, std::uint32_t last) {
    return ul(0x060E2B34, 0x04010100 | version, 0x04010101, last);
}

constexpr ColorRow primariesTable[] = {
    {1, color(0x06, 0x03030000), "709"},     {6, color(0x06, 0x03010000), "601-525"},
    {7, color(0x06, 0x03010000), "601-525"}, {5, color(0x06, 0x03020000), "601-625"},
    {9, color(0x0D, 0x03040000), "2020"},    {12, color(0x0D, 0x03060000), "P3 D65"},
};

constexpr ColorRow transferTable[] = {
    {1, color(0x01, 0x01020000), "709"},    {6, color(0x01, 0x01020000), "709"},
    {5, color(0x01, 0x01010000), "470"},    {7, color(0x01, 0x01030000), "240M"},
    {8, color(0x06, 0x01060000), "linear"}, {14, color(0x0E, 0x01090000), "2020"},
    {15, color(0x0E, 0x01090000), "2020"},  {16, color(0x0D, 0x010A0000), "PQ"},
    {18, color(0x0D, 0x010B0000), "HLG"},
};

constexpr ColorRow equationsTable[] = {
    {1, color(0x01, 0x02020000), "709"},  {5, color(0x01, 0x02010000), "601"},
    {6, color(0x01, 0x02010000), "601"},  {7, color(0x06, 0x02030000), "240M"},
    {9, color(0x0D, 0x02060000), "2020"}, {0, color(0x0D, 0x02050000), "GBR"},
};

template <std::size_t count>
std::string colorName(const ColorRow (&table)[count], const UL& label) {
    const auto row =
        std::find_if(std::begin(table), std::end(table), [&](const ColorRow& r) { return r.label == label; });
    return row == std::end(table) ? label.text() : std::string(row->name);
}

template <std::size_t count>
std::optional<UL> colorLabel(const ColorRow (&table)[count], std::uint32_t code) {
    const auto row =
        std::find_if(std::begin(table), std::end(table), [&](const ColorRow& r) { return r.code == code; });
    if (row == std::end(table)) return std::nullopt;
    return row->label;
}

}  // namespace

std::string nameOfOperationalPattern(const UL& label) {
    const std::uint8_t items = label[12], packages = label[13];
    if (!label.startsLike(patternPrefix, 12)) return label.text();
    if (items == 0x10) return "OP-Atom";
    if (items < 1 || items > 3 || packages < 1 || packages > 3) return label.text();
    return fmt::format("OP{}{}", items, "abc"[packages - 1]);
}

std::optional<ContainerName> nameOfContainer(const UL& label) {
    if (!label.startsLike(containerPrefix, 13)) return std::nullopt;
    const std::uint8_t mapping = label[13], variant = label[14];
    const auto row =
        std::find_if(std::begin(containerTable), std::end(containerTable), [&](const ContainerRow& r) {
            return r.mapping == mapping && variant >= r.first && variant <= r.last;
        });
    if (row == std::end(containerTable)) return std::nullopt;
    return ContainerName{row->essence, nameOfWrapping(row->wrapping, label[15])};
}

std::string nameOfPictureCoding(const UL& label) {
    const std::uint32_t word = lastWord(label);
    if (label.startsLike(compressedPrefix, 12))
        return word >> 24 == 0x71 ? nameOfVC3(word) : std::string(nameIn(compressedTable, word));
    if (label.startsLike(uncompressedPrefix, 12)) return std::string(nameIn(uncompressedTable, word));
    if (label.startsLike(avidPrefix, 12)) return std::string(nameIn(avidTable, word));
    return {};
}

std::string nameOfPrimaries(const UL& label) {
    return colorName(primariesTable, label);
}

std::string nameOfTransfer(const UL& label) {
    return colorName(transferTable, label);
}

std::string nameOfEquations(const UL& label) {
    return colorName(equationsTable, label);
}

std::optional<UL> primariesForCode(std::uint32_t code) {
    return colorLabel(primariesTable, code);
}

std::optional<UL> transferForCode(std::uint32_t code) {
    return colorLabel(transferTable, code);
}

std::optional<UL> equationsForCode(std::uint32_t code) {
    return colorLabel(equationsTable, code);
}

}  // namespace zenquor::mxf::detail::labels
