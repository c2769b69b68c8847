#include "zenquor/platform/codec/EncoderTable.h"

#include <map>
#include <string_view>

#include "zenquor/platform/codec/CodecContext.h"
#include "zenquor/platform/codec/EncoderSettings.h"

#ifndef ZENQUOR_HARDWARE_ENCODERS
#define ZENQUOR_HARDWARE_ENCODERS 0
#endif

namespace zenquor::platform::detail {
namespace {

constexpr FourCC avc1 = fourCC("avc1");
constexpr FourCC hvc1 = fourCC("hvc1");
constexpr FourCC appl = fourCC("appl");
constexpr std::array<const char*, 3> noPresets{};
// ffmpeg's -preset names. The fastest x265 preset is the only one near real time on a small machine.
constexpr std::array<const char*, 3> x264Presets = {"superfast", "veryfast", "medium"};
constexpr std::array<const char*, 3> x265Presets = {"ultrafast", "veryfast", "medium"};

constexpr EncoderRow h26x(FourCC codec, const char* name, bool hardware, AVPixelFormat format,
                          AVHWDeviceType device = AV_HWDEVICE_TYPE_NONE,
                          std::array<const char*, 3> presets = noPresets) {
    const bool avc = codec == avc1;
    return {codec,
            name,
            hardware,
            avc ? Bitstream::AVC : Bitstream::HEVC,
            format,
            AV_PIX_FMT_NONE,
            device,
            FF_PROFILE_UNKNOWN,
            avc ? "H.264" : "HEVC",
            0,
            512,
            512,
            presets};
}

// Of libavcodec's two ProRes encoders prores_aw is three to ten times faster than prores_ks (1080p HQ on two
// cores: 33 against 3 pictures a second) and does 4:4:4:4 as well; its pictures are larger.
constexpr EncoderRow proRes(FourCC codec, const char* formatName, int profile, AVPixelFormat format,
                            AVPixelFormat alphaFormat = AV_PIX_FMT_NONE) {
    return {codec,
            "prores_aw",
            false,
            Bitstream::Frames,
            format,
            alphaFormat,
            AV_HWDEVICE_TYPE_NONE,
            profile,
            formatName,
            appl,
            0,
            1023,
            noPresets};
}

constexpr EncoderRow table[] = {
    h26x(avc1, "libx264", false, AV_PIX_FMT_NV12, AV_HWDEVICE_TYPE_NONE, x264Presets),
    h26x(hvc1, "libx265", false, AV_PIX_FMT_YUV420P, AV_HWDEVICE_TYPE_NONE, x265Presets),
    proRes(fourCC("apco"), "Apple ProRes 422 Proxy", FF_PROFILE_PRORES_PROXY, AV_PIX_FMT_YUV422P10),
    proRes(fourCC("apcs"), "Apple ProRes 422 LT", FF_PROFILE_PRORES_LT, AV_PIX_FMT_YUV422P10),
    proRes(fourCC("apcn"), "Apple ProRes 422", FF_PROFILE_PRORES_STANDARD, AV_PIX_FMT_YUV422P10),
    proRes(fourCC("apch"), "Apple ProRes 422 HQ", FF_PROFILE_PRORES_HQ, AV_PIX_FMT_YUV422P10),
    proRes(fourCC("ap4h"), "Apple ProRes 4444", FF_PROFILE_PRORES_4444, AV_PIX_FMT_YUV444P10,
           AV_PIX_FMT_YUVA444P10),
#if ZENQUOR_HARDWARE_ENCODERS
    h26x(avc1, "h264_nvenc", true, AV_PIX_FMT_NV12),
    h26x(avc1, "h264_qsv", true, AV_PIX_FMT_NV12),
    h26x(avc1, "h264_vaapi", true, AV_PIX_FMT_NV12, AV_HWDEVICE_TYPE_VAAPI),
    h26x(avc1, "h264_v4l2m2m", true, AV_PIX_FMT_NV12),
    h26x(hvc1, "hevc_nvenc", true, AV_PIX_FMT_NV12),
    h26x(hvc1, "hevc_qsv", true, AV_PIX_FMT_NV12),
    h26x(hvc1, "hevc_vaapi", true, AV_PIX_FMT_NV12, AV_HWDEVICE_TYPE_VAAPI),
    h26x(hvc1, "hevc_v4l2m2m", true, AV_PIX_FMT_NV12),
#endif
};

/// Codes that differ in nothing that the encoder knows.
struct BroadcastGroup {
    std::string_view codes;  // of four characters, with one space between
    const char* encoder;
    AVPixelFormat pixelFormat;
    const char* formatName;
    BroadcastCodec codec;
};

constexpr AVRational rate25{25, 1};
constexpr AVRational rate2997{30000, 1001};
constexpr AVRational rate50{50, 1};
constexpr AVRational rate5994{60000, 1001};

// 32 lines of the blanking interval stand above a 576-line picture. In 525 lines the stored picture begins 13
// lines a field above line 20/283 (SMPTE ST 356, lines 7 and 270).
constexpr BroadcastCodec d10(bool is625, std::uint32_t frameBytes, std::int64_t bitRate) {
    return is625 ? BroadcastCodec{.kind = BroadcastKind::D10,
                                  .raster = {720, 608},
                                  .frameRate = rate25,
                                  .fullHeight = 576,
                                  .firstRow = 32,
                                  .frameBytes = frameBytes,
                                  .bitRate = bitRate}
                 : BroadcastCodec{.kind = BroadcastKind::D10,
                                  .raster = {720, 512},
                                  .frameRate = rate2997,
                                  .fullHeight = 486,
                                  .firstRow = 26,
                                  .frameBytes = frameBytes,
                                  .bitRate = bitRate};
}

// Both standard-definition rasters begin with a line of the second field: 285 of 525, 335 of 625.
constexpr BroadcastCodec dv525{.kind = BroadcastKind::DV,
                               .raster = {720, 480},
                               .frameRate = rate2997,
                               .fullHeight = 486,
                               .firstRow = -4,
                               .fieldDetail = FieldDetail::SpatialFirstLineLate};
constexpr BroadcastCodec dv625{.kind = BroadcastKind::DV,
                               .raster = {720, 576},
                               .frameRate = rate25,
                               .fullHeight = 576,
                               .fieldDetail = FieldDetail::SpatialFirstLineLate};

constexpr BroadcastCodec dvHD(std::uint32_t width, std::uint32_t height, AVRational rate) {
    return {.kind = BroadcastKind::DV,
            .raster = {width, height},
            .frameRate = rate,
            .fieldDetail = FieldDetail::SpatialFirstLineEarly};
}

constexpr BroadcastCodec avcIntra(int intraClass, std::uint32_t height = 0, int classUHD = 0) {
    return {.kind = BroadcastKind::AVCIntra,
            .raster = {0, height},
            .intraClass = intraClass,
            .intraClassUHD = classUHD};
}

constexpr AVPixelFormat high10 = AV_PIX_FMT_YUV420P10;
constexpr AVPixelFormat high422 = AV_PIX_FMT_YUV422P10;

// Makers have not published what tells the codes of one family apart; those take the session's raster.
constexpr BroadcastGroup groups[] = {
    {"mx3n", "mpeg2video", AV_PIX_FMT_YUV422P, "MPEG IMX 525/60 (30 Mb/s)", d10(false, 125125, 30'000'000)},
    {"mx3p", "mpeg2video", AV_PIX_FMT_YUV422P, "MPEG IMX 625/50 (30 Mb/s)", d10(true, 150000, 30'000'000)},
    {"mx4n", "mpeg2video", AV_PIX_FMT_YUV422P, "MPEG IMX 525/60 (40 Mb/s)", d10(false, 166832, 40'000'000)},
    {"mx4p", "mpeg2video", AV_PIX_FMT_YUV422P, "MPEG IMX 625/50 (40 Mb/s)", d10(true, 200000, 40'000'000)},
    {"mx5n", "mpeg2video", AV_PIX_FMT_YUV422P, "MPEG IMX 525/60 (50 Mb/s)", d10(false, 208540, 50'000'000)},
    {"mx5p", "mpeg2video", AV_PIX_FMT_YUV422P, "MPEG IMX 625/50 (50 Mb/s)", d10(true, 250000, 50'000'000)},
    {"dvc ", "dvvideo", AV_PIX_FMT_YUV411P, "DV - NTSC", dv525},
    {"dvcp", "dvvideo", AV_PIX_FMT_YUV420P, "DV - PAL", dv625},
    {"dvpp", "dvvideo", AV_PIX_FMT_YUV411P, "DVCPRO - PAL", dv625},
    {"dv5n", "dvvideo", AV_PIX_FMT_YUV422P, "DVCPRO50 - NTSC", dv525},
    {"dv5p", "dvvideo", AV_PIX_FMT_YUV422P, "DVCPRO50 - PAL", dv625},
    {"dvh5", "dvvideo", AV_PIX_FMT_YUV422P, "DVCPRO HD 1080i50", dvHD(1440, 1080, rate25)},
    {"dvh6", "dvvideo", AV_PIX_FMT_YUV422P, "DVCPRO HD 1080i60", dvHD(1280, 1080, rate2997)},
    {"dvhq", "dvvideo", AV_PIX_FMT_YUV422P, "DVCPRO HD 720p50", dvHD(960, 720, rate50)},
    {"dvhp", "dvvideo", AV_PIX_FMT_YUV422P, "DVCPRO HD 720p60", dvHD(960, 720, rate5994)},
    {"ai12 ai13 ai15 ai16", "libx264", high422, "AVC-Intra 100", avcIntra(100, 1080)},
    {"ai1p ai1q", "libx264", high422, "AVC-Intra 100", avcIntra(100, 720)},
    {"ai23 ai2p ai2q ai3p ai62 ai64", "libx264", high422, "AVC-Intra 100", avcIntra(100)},
    {"ai52 ai53 ai55 ai56", "libx264", high10, "AVC-Intra 50", avcIntra(50, 1080)},
    {"ai5p ai5q", "libx264", high10, "AVC-Intra 50", avcIntra(50, 720)},
    {"ai60 ai61 ai63 ai6p ai6q ai7p", "libx264", high10, "AVC-Intra 50", avcIntra(50)},
    {"xv07 xv08 xv09 xv10 xv11 xv12 xv13", "libx264", high10, "XAVC Intra Class 50", avcIntra(50)},
    {"xv14 xv15 xv16 xv17 xv18 xv19 xv20", "libx264", high422, "XAVC Intra Class 100", avcIntra(100)},
    {"xv21 xv22 xv23 xv24 xv25 xv26 xv27", "libx264", high422, "XAVC Intra Class 200/300",
     avcIntra(200, 0, 300)},
    {"xa02 xa03 xa05 xa06", "libx264", high422, "XAVC Intra Class 480", avcIntra(480)},
    {"xv00 xv01 xv02 xv03 xv04 xv05 xv06 xalg",
     "libx264",
     high422,
     "XAVC Long GOP",
     {.kind = BroadcastKind::AVCLong}},
    {"jpeg", "mjpeg", AV_PIX_FMT_YUVJ422P, "Photo - JPEG", {.kind = BroadcastKind::JPEG}},
};

EncoderRow broadcastRow(const BroadcastGroup& group, FourCC code) {
    constexpr std::uint32_t middleQuality = 512;
    const bool isPredicted = group.codec.kind == BroadcastKind::AVCLong;
    return {code,
            group.encoder,
            false,
            isPredicted ? Bitstream::AVCByteStream : Bitstream::Frames,
            group.pixelFormat,
            AV_PIX_FMT_NONE,
            AV_HWDEVICE_TYPE_NONE,
            FF_PROFILE_UNKNOWN,
            group.formatName,
            0,
            isPredicted ? middleQuality : 0,
            middleQuality,
            group.pixelFormat == high10 || group.pixelFormat == high422 ? x264Presets : noPresets,
            &group.codec};
}

std::vector<EncoderRow> allRows() {
    constexpr std::size_t codeLength = 4;
    std::vector<EncoderRow> rows(std::begin(table), std::end(table));
    for (const BroadcastGroup& group : groups) {
        for (std::size_t i = 0; i < group.codes.size(); i += codeLength + 1)
            rows.push_back(
                broadcastRow(group, fourCCFromString(std::string(group.codes.substr(i, codeLength)))));
    }
    return rows;
}

/// A picture size that every code has a way for, at 50 pictures a second.
RasterSize probeSize(const EncoderRow& row) {
    constexpr int firstUHDClass = 300;
    if (!row.broadcast) return {640, 480};
    return row.broadcast->intraClass >= firstUHDClass ? RasterSize{3840, 2160} : RasterSize{1280, 720};
}

bool opens(const EncoderRow& row) {
    const RasterSize size = probeSize(row);
    const bool hasRate = row.broadcast && row.broadcast->frameRate.num != 0;
    EncoderSettings settings(row, size.width, size.height);
    settings.setFrameRate(hasRate ? row.broadcast->frameRate : rate50);
    CodecContext context;
    return context.open(row, settings, row.pixelFormat) == noErr;
}

}  // namespace

std::span<const EncoderRow> encoderTable() {
    static const std::vector<EncoderRow> rows = allRows();
    return rows;
}

const std::vector<const EncoderRow*>& openableEncoders() {
    static const std::vector<const EncoderRow*> encoders = [] {
        const LibavLogMute mute;
        std::vector<const EncoderRow*> found;
        std::map<const BroadcastCodec*, bool> known;
        for (const EncoderRow& row : encoderTable()) {
            const auto before = row.broadcast ? known.find(row.broadcast) : known.end();
            const bool isOpenable = before != known.end() ? before->second : opens(row);
            if (row.broadcast) known[row.broadcast] = isOpenable;
            if (isOpenable) found.push_back(&row);
        }
        return found;
    }();
    return encoders;
}

const EncoderRow* chooseEncoder(FourCC codec, const EncoderSpecification& specification) {
    const EncoderRow* software = nullptr;
    for (const EncoderRow* row : openableEncoders()) {
        if (row->codec != codec) continue;
        const bool wantsHardware = specification.requireHardwareAcceleratedVideoEncoder ||
                                   specification.enableHardwareAcceleratedVideoEncoder;
        if (row->hardware && wantsHardware) return row;
        if (!row->hardware && !software) software = row;
    }
    return specification.requireHardwareAcceleratedVideoEncoder ? nullptr : software;
}

}  // namespace zenquor::platform::detail
