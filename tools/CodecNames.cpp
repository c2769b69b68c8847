#include "CodecNames.h"

#include <algorithm>

#include <fmt/format.h>

#include "zenquor/host/ZHLCompressionComponent.h"

namespace zenquor::tools {
namespace {

struct CodecName {
    std::string_view name;
    std::string_view title;
    /// "FORMAT=CODE" with one space between; a FORMAT may end in "*" for all that begin so, one of "*" is all.
    std::string_view codes;
};

constexpr CodecName names[] = {
    {"h264", "H.264", "*=avc1"},
    {"hevc", "HEVC", "*=hvc1"},
    {"proresproxy", "ProRes 422 Proxy", "*=apco"},
    {"proreslt", "ProRes 422 LT", "*=apcs"},
    {"prores", "ProRes 422", "*=apcn"},
    {"proreshq", "ProRes 422 HQ", "*=apch"},
    {"prores4444", "ProRes 4444", "*=ap4h"},
    {"dnxhrlb", "DNxHR LB", "525p*=hrlb 625p*=hrlb 720p*=hrlb 1080p*=hrlb 2160p*=hrlb 4320p*=hrlb"},
    {"dnxhrsq", "DNxHR SQ", "525p*=hrsq 625p*=hrsq 720p*=hrsq 1080p*=hrsq 2160p*=hrsq 4320p*=hrsq"},
    {"dnxhrhq", "DNxHR HQ", "525p*=hrhq 625p*=hrhq 720p*=hrhq 1080p*=hrhq 2160p*=hrhq 4320p*=hrhq"},
    {"dnxhrhqx", "DNxHR HQX, 10 bits",
     "525p*=rhqx 625p*=rhqx 720p*=rhqx 1080p*=rhqx 2160p*=rhqx 4320p*=rhqx"},
    {"dnxhr444", "DNxHR 4:4:4", "525p*=rr41 625p*=rr41 720p*=rr41 1080p*=rr41 2160p*=rr41 4320p*=rr41"},
    {"dnxhdsq", "DNxHD SQ", "720p*=d7s8 1080i*=dis8 1080p*=dps8"},
    {"dnxhdhq", "DNxHD HQ", "720p*=d7q8 1080i*=diq8 1080p*=dpq8"},
    {"dnxhdhqx", "DNxHD HQX, 10 bits", "720p*=d7x1 1080i*=dix1 1080p*=dpx1"},
    {"dnxhdtr", "DNxHD TR, thin raster", "720p*=d7t8 1080p*=dpt8"},
    {"xdcamhd", "XDCAM HD 35 Mb/s, 1440 pixels wide",
     "1080i50=xdv3 1080i5994=xdv2 1080p25=xdv7 1080p2398=xdv6 1080p2997=xdv8"},
    {"xdcam35", "XDCAM EX 35 Mb/s",
     "720p50=xdva 720p5994=xdv9 1080i50=xdvc 1080i5994=xdvb 1080p25=xdve 1080p2398=xdvd 1080p2997=xdvf"},
    {"xdcam422", "XDCAM HD422 50 Mb/s",
     "720p50=xd5a 720p5994=xd59 1080i50=xd5c 1080i5994=xd5b 1080p25=xd5e 1080p2398=xd5d 1080p2997=xd5f"},
    {"imx30", "MPEG IMX (D-10) 30 Mb/s", "525i5994=mx3n 525p2997=mx3n 625*=mx3p"},
    {"imx40", "MPEG IMX (D-10) 40 Mb/s", "525i5994=mx4n 525p2997=mx4n 625*=mx4p"},
    {"imx50", "MPEG IMX (D-10) 50 Mb/s", "525i5994=mx5n 525p2997=mx5n 625*=mx5p"},
    {"dv", "DV 25 Mb/s", "525i5994=dvc 525p2997=dvc 625*=dvcp"},
    {"dvcpro", "DVCPRO 25 Mb/s", "525i5994=dvc 525p2997=dvc 625*=dvpp"},
    {"dvcpro50", "DVCPRO50", "525i5994=dv5n 525p2997=dv5n 625*=dv5p"},
    {"dvcprohd", "DVCPRO HD",
     "720p50=dvhq 720p5994=dvhp 1080i50=dvh5 1080p25=dvh5 1080i5994=dvh6 1080p2997=dvh6"},
    {"avci50", "AVC-Intra 50",
     "720p50=ai5q 720p5994=ai5p 1080i50=ai55 1080i5994=ai56 1080p25=ai52 1080p2398=ai53 1080p2997=ai53"},
    {"avci100", "AVC-Intra 100",
     "720p50=ai1q 720p5994=ai1p 1080i50=ai15 1080i5994=ai16 1080p25=ai12 1080p2398=ai13 1080p2997=ai13"},
    {"xavc50", "XAVC Intra class 50", "*=xv07"},
    {"xavc100", "XAVC Intra class 100", "*=xv14"},
    {"xavc200", "XAVC Intra class 200, in UHD 300", "*=xv21"},
    {"xavc480", "XAVC Intra class 480, UHD", "*=xa02"},
    {"xavclong", "XAVC Long GOP 4:2:2 10 bits", "*=xalg"},
    {"jpeg", "Photo JPEG", "*=jpeg"},
};

FourCC padded(std::string_view code) {
    std::string text(code);
    text.resize(4, ' ');
    return fourCCFromString(text);
}

bool matches(std::string_view pattern, std::string_view format) {
    if (!pattern.ends_with('*')) return pattern == format;
    return format.starts_with(pattern.substr(0, pattern.size() - 1));
}

/// Calls @p visit with each pattern and code of an entry.
template <typename Visit>
void forEachCode(const CodecName& entry, const Visit& visit) {
    std::string_view rest = entry.codes;
    while (!rest.empty()) {
        const std::string_view pair = rest.substr(0, rest.find(' '));
        const std::size_t equals = pair.find('=');
        visit(pair.substr(0, equals), pair.substr(equals + 1));
        rest.remove_prefix(std::min(rest.size(), pair.size() + 1));
    }
}

/// The code of an entry for a format; empty when the codec does not have the format.
std::string_view codeFor(const CodecName& entry, std::string_view format) {
    std::string_view found;
    forEachCode(entry, [&](std::string_view pattern, std::string_view code) {
        if (found.empty() && matches(pattern, format)) found = code;
    });
    return found;
}

/// The formats of an entry, or of one of its codes.
std::string formatsOf(const CodecName& entry, std::string_view only = {}) {
    std::string formats;
    forEachCode(entry, [&](std::string_view pattern, std::string_view code) {
        if (only.empty() || only == code) formats += fmt::format("{}{}", formats.empty() ? "" : " ", pattern);
    });
    return formats;
}

/// Why a code cannot have a format; empty when it can, or when nothing is known of it.
std::string mistakeOfCode(std::string_view code, std::string_view format) {
    std::string formats;
    for (const CodecName& entry : names) {
        bool isRight = false;
        forEachCode(entry, [&](std::string_view pattern, std::string_view other) {
            isRight = isRight || (code == other && matches(pattern, format));
        });
        if (isRight) return {};
        const std::string more = formatsOf(entry, code);
        if (!more.empty()) formats += (formats.empty() ? "" : " ") + more;
    }
    if (formats.empty()) return {};
    return fmt::format("{} doesn't come in {}, only in {}.", code, format, formats);
}

}  // namespace

FourCC codecNamed(std::string_view name, const ZHLVideoFormat& format, std::string& mistake) {
    const auto* const entry = std::ranges::find(names, name, &CodecName::name);
    if (entry != std::end(names)) {
        const std::string_view code = codeFor(*entry, format.name);
        if (!code.empty()) return padded(code);
        mistake =
            fmt::format("{} doesn't come in {}, only in {}.", entry->title, format.name, formatsOf(*entry));
        return 0;
    }
    const FourCC code = name.size() <= 4 ? padded(name) : 0;
    if (code != 0 && !ZHLCompressionComponent::displayNameForCode(code).empty()) {
        mistake = mistakeOfCode(name, format.name);
        return mistake.empty() ? code : 0;
    }
    std::string known;
    for (const CodecName& other : names) known += fmt::format(" {}", other.name);
    mistake = fmt::format("There is no codec \"{}\". Give a four-character code or one of these names:{}.",
                          name, known);
    return 0;
}

std::string codecNameList() {
    std::string list;
    for (const CodecName& entry : names) list += fmt::format("  {:<12} {}\n", entry.name, entry.title);
    return list;
}

}  // namespace zenquor::tools
