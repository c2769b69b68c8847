#include "zenquor/media/detail/CodecTables.h"

#include <algorithm>
#include <array>
#include <span>

namespace zenquor::detail {
namespace {

template <typename... Text>
consteval auto codes(const Text&... texts) {
    return std::array{fourCC(texts)...};
}

constexpr auto uncompressedCodes = codes("2vuy", "v210");
constexpr auto photoJPEGCodes = codes("jpeg");
constexpr auto avcIntraCodes =
    codes("ai12", "ai13", "ai15", "ai16", "ai1p", "ai1q", "ai23", "ai2p", "ai2q", "ai3p", "ai52", "ai53",  //
          "ai55", "ai56", "ai5p", "ai5q", "ai60", "ai61", "ai62", "ai63", "ai64", "ai6p", "ai6q", "ai7p");
constexpr auto xavcCodes =
    codes("xv00", "xv01", "xv02", "xv03", "xv04", "xv05", "xv06", "xv07", "xv08", "xv09", "xv10",  //
          "xv11", "xv12", "xv13", "xv14", "xv15", "xv16", "xv17", "xv18", "xv19", "xv20", "xv21",  //
          "xv22", "xv23", "xv24", "xv25", "xv26", "xv27", "xa02", "xa03", "xa05", "xa06", "xalg");
constexpr auto xdcamCodes =
    codes("xdv2", "xdv3", "xdv6", "xdv7", "xdv8", "xdv9", "xdva", "xdvb", "xdvc", "xdvd", "xdve", "xdvf",  //
          "xd59", "xd5a", "xd5b", "xd5c", "xd5d", "xd5e", "xd5f");
constexpr auto proResCodes = codes("apch", "apcn", "apco", "apcs", "ap4h");
constexpr auto dnxhdCodes =
    codes("d7q8", "d7s8", "d7t8", "d7x1", "dihr", "diq8", "dis8", "dit8", "dix1", "dpq8", "dps8", "dpt8",  //
          "dpx1", "drl1", "drx1", "hrhq", "hrlb", "hrsq", "rhqx", "rr41");

std::span<const FourCC> codesOfFamily(CodecFamily family) {
    switch (family) {
        case CodecFamily::Uncompressed:
            return uncompressedCodes;
        case CodecFamily::PhotoJPEG:
            return photoJPEGCodes;
        case CodecFamily::AVCIntra:
            return avcIntraCodes;
        case CodecFamily::XAVC:
            return xavcCodes;
        case CodecFamily::XDCAM:
            return xdcamCodes;
        case CodecFamily::ProRes:
            return proResCodes;
        case CodecFamily::DNxHD:
            return dnxhdCodes;
    }
    return {};
}

/// Bytes of a coded frame by norm, for HD also by height; 0 where there is no estimate.
struct SampleSize {
    FourCC code;
    std::uint32_t norm625;
    std::uint32_t norm525;
    std::uint32_t hd720;
    std::uint32_t hd2160;  // a UHD picture under an HD norm
    std::uint32_t hd;
    std::uint32_t other;
};

constexpr SampleSize fixed(FourCC code, std::uint32_t size) {
    return {code, size, size, size, size, size, size};
}

constexpr SampleSize sampleSizes[] = {
    fixed(fourCC("dvc "), 120000),
    fixed(fourCC("dvcp"), 144000),
    fixed(fourCC("dvpp"), 144000),
    fixed(fourCC("dv5n"), 240000),
    fixed(fourCC("dvhp"), 240000),
    fixed(fourCC("dv5p"), 288000),
    fixed(fourCC("dvhq"), 288000),
    fixed(fourCC("dvh6"), 480000),
    fixed(fourCC("dvh5"), 576000),
    fixed(fourCC("jpeg"), 25000),
    fixed(fourCC("mx3n"), 125440),
    fixed(fourCC("mx3p"), 150528),
    fixed(fourCC("mx4n"), 166912),
    fixed(fourCC("mx4p"), 200192),
    fixed(fourCC("mx5n"), 208896),
    fixed(fourCC("mx5p"), 250368),
    fixed(fourCC("AVmp"), 253952),
    fixed(fourCC("ai15"), 568832),
    fixed(fourCC("ai16"), 472576),
    fixed(fourCC("ai55"), 281088),
    fixed(fourCC("ai56"), 232960),
    fixed(fourCC("xdvc"), 1),
    {fourCC("2vuy"), 829440, 699840, 1843200, 4147200, 4147200, 2000000},
    {fourCC("v210"), 1105920, 933120, 2465280, 5529600, 5529600, 2000000},
    {fourCC("apco"), 90000, 70000, 125000, 1000000, 250000, 0},
    {fourCC("apcs"), 159744, 330000, 250000, 2000000, 500000, 0},
    {fourCC("apcn"), 229376, 196608, 350000, 2800000, 700000, 0},
    {fourCC("apch"), 350000, 300000, 525000, 1050000, 1050000, 0},  // UHD is not estimated higher than HD
    {fourCC("ap4h"), 344064, 300000, 525000, 4200000, 1050000, 0},
};

std::uint32_t sizeForNorm(const SampleSize& row, std::uint32_t tvNorm, std::uint64_t height) {
    switch (tvNorm) {
        case 0:
            return row.norm625;
        case 1:
            return row.norm525;
        case 2:
        case 3:
            return height == 720 ? row.hd720 : height == 2160 ? row.hd2160 : row.hd;
        default:
            return row.other;
    }
}

}  // namespace

bool isCodecOfFamily(FourCC code, CodecFamily family) {
    const auto list = codesOfFamily(family);
    return std::find(list.begin(), list.end(), code) != list.end();
}

std::optional<std::uint64_t> sampleSizeForCodec(FourCC code, std::uint32_t tvNorm, std::uint64_t height) {
    const auto* const row = std::find_if(std::begin(sampleSizes), std::end(sampleSizes),
                                         [&](const auto& r) { return r.code == code; });
    if (row == std::end(sampleSizes)) return std::nullopt;
    const std::uint32_t size = sizeForNorm(*row, tvNorm, height);
    return size == 0 ? std::nullopt : std::optional<std::uint64_t>(size);
}

}  // namespace zenquor::detail
