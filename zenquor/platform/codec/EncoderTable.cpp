#include "zenquor/platform/codec/EncoderTable.h"

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

bool opens(const EncoderRow& row) {
    EncoderSettings settings(row, 640, 480);
    settings.setFrameRate({25, 1});
    CodecContext context;
    return context.open(row, settings, row.pixelFormat) == noErr;
}

}  // namespace

std::span<const EncoderRow> encoderTable() {
    return table;
}

const std::vector<const EncoderRow*>& openableEncoders() {
    static const std::vector<const EncoderRow*> encoders = [] {
        const LibavLogMute mute;
        std::vector<const EncoderRow*> found;
        for (const EncoderRow& row : encoderTable()) {
            if (opens(row)) found.push_back(&row);
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
