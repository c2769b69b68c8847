#include "zenquor/platform/dnx/CompressionIDs.h"

#include <algorithm>
#include <iterator>

namespace zenquor::platform::detail {
namespace {

constexpr AVPixelFormat bits8 = AV_PIX_FMT_YUV422P;
constexpr AVPixelFormat bits10 = AV_PIX_FMT_YUV422P10;
constexpr AVPixelFormat rgb10 = AV_PIX_FMT_GBRP10;
constexpr std::uint32_t macroblockSize = 16;

constexpr DNXCompression progressive(std::uint32_t id, std::uint32_t width, std::uint32_t height,
                                     AVPixelFormat format, int megabits, std::uint32_t frameBytes) {
    const std::uint32_t fullWidth = height * 16 / 9;
    return {id,         width,      height,           fullWidth,
            false,      format,     FF_PROFILE_DNXHD, megabits * 1'000'000LL,
            frameBytes, DNX_NoError};
}
constexpr DNXCompression interlaced(std::uint32_t id, std::uint32_t width, AVPixelFormat format, int megabits,
                                    std::uint32_t frameBytes, Status refusal = DNX_NoError) {
    DNXCompression row = progressive(id, width, 1080, format, megabits, frameBytes);
    row.isInterlaced = true;
    row.refusal = refusal;
    return row;
}
constexpr DNXCompression refused(DNXCompression row, Status refusal) {
    row.refusal = refusal;
    return row;
}
constexpr DNXCompression resolutionIndependent(std::uint32_t id, AVPixelFormat format, int profile,
                                               std::uint32_t bytesOf255Macroblocks) {
    return {id, 0, 0, 0, false, format, profile, 0, bytesOf255Macroblocks, DNX_NoError};
}

// 1256 is in libavcodec's tables for its decoder alone. 1260 is coded with macroblocks that choose between frame
// and field; libavcodec would code two fields instead, each of a whole frame's size.
constexpr DNXCompression table[] = {
    progressive(1235, 1920, 1080, bits10, 185, 917504),
    progressive(1237, 1920, 1080, bits8, 120, 606208),
    progressive(1238, 1920, 1080, bits8, 185, 917504),
    interlaced(1241, 1920, bits10, 185, 917504),
    interlaced(1242, 1920, bits8, 120, 606208),
    interlaced(1243, 1920, bits8, 185, 917504),
    interlaced(1244, 1440, bits8, 120, 606208),
    progressive(1250, 1280, 720, bits10, 90, 458752),
    progressive(1251, 1280, 720, bits8, 90, 458752),
    progressive(1252, 1280, 720, bits8, 60, 303104),
    progressive(1253, 1920, 1080, bits8, 36, 188416),
    refused(progressive(1256, 1920, 1080, rgb10, 440, 1835008), DNX_RGB444NotSupported),
    progressive(1258, 960, 720, bits8, 42, 212992),
    progressive(1259, 1440, 1080, bits8, 63, 417792),
    interlaced(1260, 1440, bits8, 80, 417792, DNX_AdaptiveFieldsNotSupported),
    resolutionIndependent(1270, rgb10, FF_PROFILE_DNXHR_444, 57344),
    resolutionIndependent(1271, bits10, FF_PROFILE_DNXHR_HQX, 28672),
    resolutionIndependent(1272, bits8, FF_PROFILE_DNXHR_HQ, 28672),
    resolutionIndependent(1273, bits8, FF_PROFILE_DNXHR_SQ, 18944),
    resolutionIndependent(1274, bits8, FF_PROFILE_DNXHR_LB, 5888),
};

}  // namespace

const DNXCompression* findDNXCompression(std::uint32_t compressionID) {
    const auto* const found =
        std::find_if(std::begin(table), std::end(table),
                     [&](const DNXCompression& row) { return row.compressionID == compressionID; });
    return found == std::end(table) ? nullptr : found;
}

// DNxHR frames are whole pages of 4096 bytes, to the nearest, and never less than two.
std::uint32_t dnxFrameBytes(const DNXCompression& compression, std::uint32_t width, std::uint32_t height) {
    constexpr std::uint64_t page = 4096;
    if (!compression.isResolutionIndependent()) return compression.frameBytes;
    const auto macroblocks = [](std::uint32_t samples) {
        return (std::uint64_t{samples} + macroblockSize - 1) / macroblockSize;
    };
    const std::uint64_t bytes = macroblocks(width) * macroblocks(height) * compression.frameBytes / 255;
    return static_cast<std::uint32_t>(std::max((bytes + page / 2) / page * page, 2 * page));
}

}  // namespace zenquor::platform::detail
