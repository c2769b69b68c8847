#include "zenquor/platform/quicktime/CodecTable.h"

#include <algorithm>
#include <iterator>

namespace zenquor::platform::quicktime {
namespace {

constexpr FourCC hd = fourCC("AVdn");
constexpr FourCC hr = fourCC("AVdh");
// What readers know AVC-Intra and XAVC by whose own codes were never published.
constexpr FourCC intra = fourCC("AVin");
constexpr FourCC longGroup = fourCC("xalg");

constexpr CodecEntry table[] = {
    {fourCC("v210"), fourCC("v210"), CodecFamily::Uncompressed, 0},
    {fourCC("2vuy"), fourCC("2vuy"), CodecFamily::Uncompressed, 0},
    {fourCC("yuvs"), fourCC("yuvs"), CodecFamily::Uncompressed, 0},
    {fourCC("v216"), fourCC("v216"), CodecFamily::Uncompressed, 0},
    {fourCC("v308"), fourCC("v308"), CodecFamily::Uncompressed, 0},
    {fourCC("v408"), fourCC("v408"), CodecFamily::Uncompressed, 0},
    {fourCC("v410"), fourCC("v410"), CodecFamily::Uncompressed, 0},
    {fourCC("apco"), fourCC("apco"), CodecFamily::ProRes, 0},
    {fourCC("apcs"), fourCC("apcs"), CodecFamily::ProRes, 0},
    {fourCC("apcn"), fourCC("apcn"), CodecFamily::ProRes, 0},
    {fourCC("apch"), fourCC("apch"), CodecFamily::ProRes, 0},
    {fourCC("ap4h"), fourCC("ap4h"), CodecFamily::ProRes, 0},
    {fourCC("ap4x"), fourCC("ap4x"), CodecFamily::ProRes, 0},
    {fourCC("avc1"), fourCC("avc1"), CodecFamily::AVC, 0},
    {fourCC("avc3"), fourCC("avc3"), CodecFamily::AVC, 0},
    {fourCC("hvc1"), fourCC("hvc1"), CodecFamily::HEVC, 0},
    {fourCC("hev1"), fourCC("hev1"), CodecFamily::HEVC, 0},
    {hd, hd, CodecFamily::DNxHD, 0},
    {hr, hr, CodecFamily::DNxHR, 0},
    {fourCC("dpx1"), hd, CodecFamily::DNxHD, 1235},
    {fourCC("dps8"), hd, CodecFamily::DNxHD, 1237},
    {fourCC("dpq8"), hd, CodecFamily::DNxHD, 1238},
    {fourCC("dix1"), hd, CodecFamily::DNxHD, 1241},
    {fourCC("dis8"), hd, CodecFamily::DNxHD, 1242},
    {fourCC("diq8"), hd, CodecFamily::DNxHD, 1243},
    {fourCC("dihr"), hd, CodecFamily::DNxHD, 1244},
    {fourCC("d7x1"), hd, CodecFamily::DNxHD, 1250},
    {fourCC("d7q8"), hd, CodecFamily::DNxHD, 1251},
    {fourCC("d7s8"), hd, CodecFamily::DNxHD, 1252},
    {fourCC("drl1"), hd, CodecFamily::DNxHD, 1253},
    {fourCC("drx1"), hd, CodecFamily::DNxHD, 1256},
    {fourCC("d7t8"), hd, CodecFamily::DNxHD, 1258},
    {fourCC("dpt8"), hd, CodecFamily::DNxHD, 1259},
    {fourCC("dit8"), hd, CodecFamily::DNxHD, 1260},
    {fourCC("rr41"), hr, CodecFamily::DNxHR, 1270},
    {fourCC("rhqx"), hr, CodecFamily::DNxHR, 1271},
    {fourCC("hrhq"), hr, CodecFamily::DNxHR, 1272},
    {fourCC("hrsq"), hr, CodecFamily::DNxHR, 1273},
    {fourCC("hrlb"), hr, CodecFamily::DNxHR, 1274},
    {fourCC("ai23"), intra, CodecFamily::Other, 0},
    {fourCC("ai2p"), intra, CodecFamily::Other, 0},
    {fourCC("ai2q"), intra, CodecFamily::Other, 0},
    {fourCC("ai3p"), intra, CodecFamily::Other, 0},
    {fourCC("ai62"), intra, CodecFamily::Other, 0},
    {fourCC("ai64"), intra, CodecFamily::Other, 0},
    {fourCC("ai60"), intra, CodecFamily::Other, 0},
    {fourCC("ai61"), intra, CodecFamily::Other, 0},
    {fourCC("ai63"), intra, CodecFamily::Other, 0},
    {fourCC("ai6p"), intra, CodecFamily::Other, 0},
    {fourCC("ai6q"), intra, CodecFamily::Other, 0},
    {fourCC("ai7p"), intra, CodecFamily::Other, 0},
    {fourCC("xv07"), intra, CodecFamily::Other, 0},
    {fourCC("xv08"), intra, CodecFamily::Other, 0},
    {fourCC("xv09"), intra, CodecFamily::Other, 0},
    {fourCC("xv10"), intra, CodecFamily::Other, 0},
    {fourCC("xv11"), intra, CodecFamily::Other, 0},
    {fourCC("xv12"), intra, CodecFamily::Other, 0},
    {fourCC("xv13"), intra, CodecFamily::Other, 0},
    {fourCC("xv14"), intra, CodecFamily::Other, 0},
    {fourCC("xv15"), intra, CodecFamily::Other, 0},
    {fourCC("xv16"), intra, CodecFamily::Other, 0},
    {fourCC("xv17"), intra, CodecFamily::Other, 0},
    {fourCC("xv18"), intra, CodecFamily::Other, 0},
    {fourCC("xv19"), intra, CodecFamily::Other, 0},
    {fourCC("xv20"), intra, CodecFamily::Other, 0},
    {fourCC("xv21"), intra, CodecFamily::Other, 0},
    {fourCC("xv22"), intra, CodecFamily::Other, 0},
    {fourCC("xv23"), intra, CodecFamily::Other, 0},
    {fourCC("xv24"), intra, CodecFamily::Other, 0},
    {fourCC("xv25"), intra, CodecFamily::Other, 0},
    {fourCC("xv26"), intra, CodecFamily::Other, 0},
    {fourCC("xv27"), intra, CodecFamily::Other, 0},
    {fourCC("xa02"), intra, CodecFamily::Other, 0},
    {fourCC("xa03"), intra, CodecFamily::Other, 0},
    {fourCC("xa05"), intra, CodecFamily::Other, 0},
    {fourCC("xa06"), intra, CodecFamily::Other, 0},
    {fourCC("xv00"), longGroup, CodecFamily::Other, 0},
    {fourCC("xv01"), longGroup, CodecFamily::Other, 0},
    {fourCC("xv02"), longGroup, CodecFamily::Other, 0},
    {fourCC("xv03"), longGroup, CodecFamily::Other, 0},
    {fourCC("xv04"), longGroup, CodecFamily::Other, 0},
    {fourCC("xv05"), longGroup, CodecFamily::Other, 0},
    {fourCC("xv06"), longGroup, CodecFamily::Other, 0},
};

}  // namespace

CodecEntry codecEntry(FourCC code) {
    const auto* found = std::ranges::find(table, code, &CodecEntry::code);
    return found != std::end(table) ? *found : CodecEntry{code, code, CodecFamily::Other, 0};
}

}  // namespace zenquor::platform::quicktime
