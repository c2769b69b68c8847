#include "zenquor/platform/quicktime/CodecTable.h"

#include <algorithm>
#include <iterator>

namespace zenquor::platform::quicktime {
namespace {

constexpr FourCC hd = fourCC("AVdn");
constexpr FourCC hr = fourCC("AVdh");

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
};

}  // namespace

CodecEntry codecEntry(FourCC code) {
    const auto* found = std::ranges::find(table, code, &CodecEntry::code);
    return found != std::end(table) ? *found : CodecEntry{code, code, CodecFamily::Other, 0};
}

}  // namespace zenquor::platform::quicktime
