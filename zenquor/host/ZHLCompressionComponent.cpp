#include "zenquor/host/ZHLCompressionComponent.h"

#include <algorithm>

#include <fmt/format.h>

namespace zenquor {
namespace {

using Entry = ZHLCompressionComponent::Entry;

// Where makers gave several codes to one family without publishing what tells them apart, the code is in the
// name.
constexpr Entry entries[] = {
    {fourCC("2vuy"), "Uncompressed 8-bit 4:2:2"},
    {fourCC("v210"), "Uncompressed 10-bit 4:2:2"},
    {fourCC("jpeg"), "Photo - JPEG"},
    {fourCC("avc1"), "H.264"},
    {fourCC("hvc1"), "HEVC"},
    {fourCC("mp2v"), "MPEG-2 Video"},
    {fourCC("AVmp"), "MPEG-2 50 Mbit/s I-frame"},

    {fourCC("apco"), "Apple ProRes 422 Proxy"},
    {fourCC("apcs"), "Apple ProRes 422 LT"},
    {fourCC("apcn"), "Apple ProRes 422"},
    {fourCC("apch"), "Apple ProRes 422 HQ"},
    {fourCC("ap4h"), "Apple ProRes 4444"},

    {fourCC("dvc "), "DV - NTSC"},
    {fourCC("dvcp"), "DV - PAL"},
    {fourCC("dvpp"), "DVCPRO - PAL"},
    {fourCC("dv5n"), "DVCPRO50 - NTSC"},
    {fourCC("dv5p"), "DVCPRO50 - PAL"},
    {fourCC("dvh5"), "DVCPRO HD 1080i50"},
    {fourCC("dvh6"), "DVCPRO HD 1080i60"},
    {fourCC("dvhq"), "DVCPRO HD 720p50"},
    {fourCC("dvhp"), "DVCPRO HD 720p60"},

    {fourCC("mx3n"), "MPEG IMX 525/60 (30 Mb/s)"},
    {fourCC("mx3p"), "MPEG IMX 625/50 (30 Mb/s)"},
    {fourCC("mx4n"), "MPEG IMX 525/60 (40 Mb/s)"},
    {fourCC("mx4p"), "MPEG IMX 625/50 (40 Mb/s)"},
    {fourCC("mx5n"), "MPEG IMX 525/60 (50 Mb/s)"},
    {fourCC("mx5p"), "MPEG IMX 625/50 (50 Mb/s)"},

    {fourCC("xdv2"), "XDCAM HD 1440x1080i60 (35 Mb/s)"},
    {fourCC("xdv3"), "XDCAM HD 1440x1080i50 (35 Mb/s)"},
    {fourCC("xdv6"), "XDCAM HD 1440x1080p24 (35 Mb/s)"},
    {fourCC("xdv7"), "XDCAM HD 1440x1080p25 (35 Mb/s)"},
    {fourCC("xdv8"), "XDCAM HD 1440x1080p30 (35 Mb/s)"},
    {fourCC("xdv9"), "XDCAM EX 720p60 (35 Mb/s)"},
    {fourCC("xdva"), "XDCAM EX 720p50 (35 Mb/s)"},
    {fourCC("xdvb"), "XDCAM EX 1080i60 (35 Mb/s)"},
    {fourCC("xdvc"), "XDCAM EX 1080i50 (35 Mb/s)"},
    {fourCC("xdvd"), "XDCAM EX 1080p24 (35 Mb/s)"},
    {fourCC("xdve"), "XDCAM EX 1080p25 (35 Mb/s)"},
    {fourCC("xdvf"), "XDCAM EX 1080p30 (35 Mb/s)"},
    {fourCC("xd59"), "XDCAM HD422 720p60 (50 Mb/s)"},
    {fourCC("xd5a"), "XDCAM HD422 720p50 (50 Mb/s)"},
    {fourCC("xd5b"), "XDCAM HD422 1080i60 (50 Mb/s)"},
    {fourCC("xd5c"), "XDCAM HD422 1080i50 (50 Mb/s)"},
    {fourCC("xd5d"), "XDCAM HD422 1080p24 (50 Mb/s)"},
    {fourCC("xd5e"), "XDCAM HD422 1080p25 (50 Mb/s)"},
    {fourCC("xd5f"), "XDCAM HD422 1080p30 (50 Mb/s)"},

    {fourCC("ai12"), "AVC-Intra 100 1080p25"},
    {fourCC("ai13"), "AVC-Intra 100 1080p30/24"},
    {fourCC("ai15"), "AVC-Intra 100 1080i50"},
    {fourCC("ai16"), "AVC-Intra 100 1080i60"},
    {fourCC("ai1p"), "AVC-Intra 100 720p60"},
    {fourCC("ai1q"), "AVC-Intra 100 720p50"},
    {fourCC("ai23"), "AVC-Intra 100 (ai23)"},
    {fourCC("ai2p"), "AVC-Intra 100 (ai2p)"},
    {fourCC("ai2q"), "AVC-Intra 100 (ai2q)"},
    {fourCC("ai3p"), "AVC-Intra 100 (ai3p)"},
    {fourCC("ai62"), "AVC-Intra 100 (ai62)"},
    {fourCC("ai64"), "AVC-Intra 100 (ai64)"},
    {fourCC("ai52"), "AVC-Intra 50 1080p25"},
    {fourCC("ai53"), "AVC-Intra 50 1080p30/24"},
    {fourCC("ai55"), "AVC-Intra 50 1080i50"},
    {fourCC("ai56"), "AVC-Intra 50 1080i60"},
    {fourCC("ai5p"), "AVC-Intra 50 720p60"},
    {fourCC("ai5q"), "AVC-Intra 50 720p50"},
    {fourCC("ai60"), "AVC-Intra 50 (ai60)"},
    {fourCC("ai61"), "AVC-Intra 50 (ai61)"},
    {fourCC("ai63"), "AVC-Intra 50 (ai63)"},
    {fourCC("ai6p"), "AVC-Intra 50 (ai6p)"},
    {fourCC("ai6q"), "AVC-Intra 50 (ai6q)"},
    {fourCC("ai7p"), "AVC-Intra 50 (ai7p)"},

    {fourCC("xalg"), "XAVC Long GOP"},
    {fourCC("xv00"), "XAVC Long GOP (xv00)"},
    {fourCC("xv01"), "XAVC Long GOP (xv01)"},
    {fourCC("xv02"), "XAVC Long GOP (xv02)"},
    {fourCC("xv03"), "XAVC Long GOP (xv03)"},
    {fourCC("xv04"), "XAVC Long GOP (xv04)"},
    {fourCC("xv05"), "XAVC Long GOP (xv05)"},
    {fourCC("xv06"), "XAVC Long GOP (xv06)"},
    {fourCC("xv07"), "XAVC Intra Class 50 (xv07)"},
    {fourCC("xv08"), "XAVC Intra Class 50 (xv08)"},
    {fourCC("xv09"), "XAVC Intra Class 50 (xv09)"},
    {fourCC("xv10"), "XAVC Intra Class 50 (xv10)"},
    {fourCC("xv11"), "XAVC Intra Class 50 (xv11)"},
    {fourCC("xv12"), "XAVC Intra Class 50 (xv12)"},
    {fourCC("xv13"), "XAVC Intra Class 50 (xv13)"},
    {fourCC("xv14"), "XAVC Intra Class 100 (xv14)"},
    {fourCC("xv15"), "XAVC Intra Class 100 (xv15)"},
    {fourCC("xv16"), "XAVC Intra Class 100 (xv16)"},
    {fourCC("xv17"), "XAVC Intra Class 100 (xv17)"},
    {fourCC("xv18"), "XAVC Intra Class 100 (xv18)"},
    {fourCC("xv19"), "XAVC Intra Class 100 (xv19)"},
    {fourCC("xv20"), "XAVC Intra Class 100 (xv20)"},
    {fourCC("xv21"), "XAVC Intra Class 200 (xv21)"},
    {fourCC("xv22"), "XAVC Intra Class 200 (xv22)"},
    {fourCC("xv23"), "XAVC Intra Class 200 (xv23)"},
    {fourCC("xv24"), "XAVC Intra Class 200 (xv24)"},
    {fourCC("xv25"), "XAVC Intra Class 200 (xv25)"},
    {fourCC("xv26"), "XAVC Intra Class 200 (xv26)"},
    {fourCC("xv27"), "XAVC Intra Class 200 (xv27)"},
    {fourCC("xa02"), "XAVC Intra 4K (xa02)"},
    {fourCC("xa03"), "XAVC Intra 4K (xa03)"},
    {fourCC("xa05"), "XAVC Intra 4K (xa05)"},
    {fourCC("xa06"), "XAVC Intra 4K (xa06)"},

    {fourCC("d7x1"), "DNxHD 720p HQX 10-bit"},
    {fourCC("d7q8"), "DNxHD 720p HQ 8-bit"},
    {fourCC("d7s8"), "DNxHD 720p SQ 8-bit"},
    {fourCC("d7t8"), "DNxHD 720p TR 8-bit"},
    {fourCC("dix1"), "DNxHD 1080i HQX 10-bit"},
    {fourCC("diq8"), "DNxHD 1080i HQ 8-bit"},
    {fourCC("dis8"), "DNxHD 1080i SQ 8-bit"},
    {fourCC("dihr"), "DNxHD 1080i TR+ 8-bit"},
    {fourCC("dit8"), "DNxHD 1080i TR 8-bit"},
    {fourCC("dpx1"), "DNxHD 1080p HQX 10-bit"},
    {fourCC("dpq8"), "DNxHD 1080p HQ 8-bit"},
    {fourCC("dps8"), "DNxHD 1080p SQ 8-bit"},
    {fourCC("dpt8"), "DNxHD 1080p TR 8-bit"},
    {fourCC("drl1"), "DNxHD 1080p LB 8-bit"},
    {fourCC("drx1"), "DNxHD 1080p 444 10-bit"},
    {fourCC("hrlb"), "DNxHR LB"},
    {fourCC("hrsq"), "DNxHR SQ"},
    {fourCC("hrhq"), "DNxHR HQ"},
    {fourCC("rhqx"), "DNxHR HQX"},
    {fourCC("rr41"), "DNxHR 444"},
};

}  // namespace

std::shared_ptr<const ZHLCompressionComponent> ZHLCompressionComponent::componentWithCode(FourCC code) {
    const std::string_view name = displayNameForCode(code);
    return componentWithCode(code, name.empty() ? fourCCString(code) : std::string(name));
}

std::shared_ptr<const ZHLCompressionComponent> ZHLCompressionComponent::componentWithCode(FourCC code,
                                                                                          std::string name) {
    return std::shared_ptr<const ZHLCompressionComponent>(new ZHLCompressionComponent(code, std::move(name)));
}

std::string_view ZHLCompressionComponent::displayNameForCode(FourCC code) {
    const auto* const found = std::find_if(std::begin(entries), std::end(entries),
                                           [&](const Entry& entry) { return entry.code == code; });
    return found == std::end(entries) ? std::string_view() : found->name;
}

std::span<const ZHLCompressionComponent::Entry> ZHLCompressionComponent::knownComponents() {
    return entries;
}

std::string ZHLCompressionComponent::description() const {
    return fmt::format("{} ({})", name_, fourCCString(code_));
}

}  // namespace zenquor
