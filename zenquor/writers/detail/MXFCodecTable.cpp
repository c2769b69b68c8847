#include "zenquor/writers/detail/MXFCodecTable.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "zenquor/mxf/SampleRecord.h"
#include "zenquor/mxf/StreamFormat.h"

namespace zenquor::detail {
namespace {

namespace codec = mxf::codec;
namespace wrapping = mxf::wrapping;

struct Row {
    FourCC component;
    MXFCodec codec;
};

constexpr MXFCodec d10(std::uint32_t frameBytes) {
    return {wrapping::d10, codec::mpeg2Video, false, frameBytes};
}
constexpr MXFCodec xdcamHD{wrapping::xdcam, codec::mpeg2Video, true, 0};
constexpr MXFCodec xdcam{wrapping::xdcam, codec::mpeg2Video, false, 0};
constexpr MXFCodec dv25{wrapping::dvAndAVCIntra, codec::dv25, false, 0};
constexpr MXFCodec dvcPro25{wrapping::dvAndAVCIntra, codec::dvcPro25, false, 0};
constexpr MXFCodec dv50{wrapping::dvAndAVCIntra, codec::dv50, false, 0};
constexpr MXFCodec dv100{wrapping::dvAndAVCIntra, codec::dv100, false, 0};
constexpr MXFCodec avcIntra100{wrapping::dvAndAVCIntra, codec::avcIntra100, false, 0};
constexpr MXFCodec avcIntra50{wrapping::dvAndAVCIntra, codec::avcIntra50, false, 0};
constexpr MXFCodec xavcLongGOP{wrapping::xavcLongGOP, codec::avcLongGOP, false, 0};
constexpr MXFCodec xavcIntra50{wrapping::xavcIntra, codec::avcIntra50, false, 0};
constexpr MXFCodec xavcIntra100{wrapping::xavcIntra, codec::avcIntra100, false, 0};
constexpr MXFCodec xavcIntra200{wrapping::xavcIntra, codec::avcIntra200, false, 0};
constexpr MXFCodec xavcIntra480{wrapping::xavcIntra, codec::avcIntra480, false, 0};
constexpr MXFCodec vc3{wrapping::vc3, codec::vc3, false, 0};
constexpr MXFCodec proRes{wrapping::proRes, codec::proRes, false, 0};

// Family by family.
constexpr Row rows[] = {
    {fourCC("mx3n"), d10(125125)},  {fourCC("mx3p"), d10(150000)},  {fourCC("mx4n"), d10(166832)},
    {fourCC("mx4p"), d10(200000)},  {fourCC("mx5n"), d10(208540)},  {fourCC("mx5p"), d10(250000)},

    {fourCC("xdv2"), xdcamHD},      {fourCC("xdv3"), xdcamHD},      {fourCC("xdv6"), xdcamHD},
    {fourCC("xdv7"), xdcamHD},      {fourCC("xdv8"), xdcamHD},

    {fourCC("xdv9"), xdcam},        {fourCC("xdva"), xdcam},        {fourCC("xdvb"), xdcam},
    {fourCC("xdvc"), xdcam},        {fourCC("xdvd"), xdcam},        {fourCC("xdve"), xdcam},
    {fourCC("xdvf"), xdcam},        {fourCC("xd59"), xdcam},        {fourCC("xd5a"), xdcam},
    {fourCC("xd5b"), xdcam},        {fourCC("xd5c"), xdcam},        {fourCC("xd5d"), xdcam},
    {fourCC("xd5e"), xdcam},        {fourCC("xd5f"), xdcam},

    {fourCC("dvc "), dv25},         {fourCC("dvcp"), dv25},         {fourCC("dvpp"), dvcPro25},
    {fourCC("dv5n"), dv50},         {fourCC("dv5p"), dv50},         {fourCC("dvh5"), dv100},
    {fourCC("dvh6"), dv100},        {fourCC("dvhp"), dv100},        {fourCC("dvhq"), dv100},

    {fourCC("ai12"), avcIntra100},  {fourCC("ai13"), avcIntra100},  {fourCC("ai15"), avcIntra100},
    {fourCC("ai16"), avcIntra100},  {fourCC("ai1p"), avcIntra100},  {fourCC("ai1q"), avcIntra100},
    {fourCC("ai23"), avcIntra100},  {fourCC("ai2p"), avcIntra100},  {fourCC("ai2q"), avcIntra100},
    {fourCC("ai3p"), avcIntra100},  {fourCC("ai62"), avcIntra100},  {fourCC("ai64"), avcIntra100},

    {fourCC("ai52"), avcIntra50},   {fourCC("ai53"), avcIntra50},   {fourCC("ai55"), avcIntra50},
    {fourCC("ai56"), avcIntra50},   {fourCC("ai5p"), avcIntra50},   {fourCC("ai5q"), avcIntra50},
    {fourCC("ai60"), avcIntra50},   {fourCC("ai61"), avcIntra50},   {fourCC("ai63"), avcIntra50},
    {fourCC("ai6p"), avcIntra50},   {fourCC("ai6q"), avcIntra50},   {fourCC("ai7p"), avcIntra50},

    {fourCC("xv00"), xavcLongGOP},  {fourCC("xv01"), xavcLongGOP},  {fourCC("xv02"), xavcLongGOP},
    {fourCC("xv03"), xavcLongGOP},  {fourCC("xv04"), xavcLongGOP},  {fourCC("xv05"), xavcLongGOP},
    {fourCC("xv06"), xavcLongGOP},  {fourCC("xalg"), xavcLongGOP},

    {fourCC("xv07"), xavcIntra50},  {fourCC("xv08"), xavcIntra50},  {fourCC("xv09"), xavcIntra50},
    {fourCC("xv10"), xavcIntra50},  {fourCC("xv11"), xavcIntra50},  {fourCC("xv12"), xavcIntra50},
    {fourCC("xv13"), xavcIntra50},

    {fourCC("xv14"), xavcIntra100}, {fourCC("xv15"), xavcIntra100}, {fourCC("xv16"), xavcIntra100},
    {fourCC("xv17"), xavcIntra100}, {fourCC("xv18"), xavcIntra100}, {fourCC("xv19"), xavcIntra100},
    {fourCC("xv20"), xavcIntra100},

    {fourCC("xv21"), xavcIntra200}, {fourCC("xv22"), xavcIntra200}, {fourCC("xv23"), xavcIntra200},
    {fourCC("xv24"), xavcIntra200}, {fourCC("xv25"), xavcIntra200}, {fourCC("xv26"), xavcIntra200},
    {fourCC("xv27"), xavcIntra200},

    {fourCC("xa02"), xavcIntra480}, {fourCC("xa03"), xavcIntra480}, {fourCC("xa05"), xavcIntra480},
    {fourCC("xa06"), xavcIntra480},

    {fourCC("d7q8"), vc3},          {fourCC("d7s8"), vc3},          {fourCC("d7t8"), vc3},
    {fourCC("d7x1"), vc3},          {fourCC("diq8"), vc3},          {fourCC("dis8"), vc3},
    {fourCC("dit8"), vc3},          {fourCC("dix1"), vc3},          {fourCC("dihr"), vc3},
    {fourCC("dpq8"), vc3},          {fourCC("dps8"), vc3},          {fourCC("dpt8"), vc3},
    {fourCC("dpx1"), vc3},          {fourCC("drl1"), vc3},          {fourCC("drx1"), vc3},
    {fourCC("hrsq"), vc3},          {fourCC("hrhq"), vc3},          {fourCC("hrlb"), vc3},
    {fourCC("rhqx"), vc3},          {fourCC("rr41"), vc3},

    {fourCC("apch"), proRes},       {fourCC("apcn"), proRes},       {fourCC("apco"), proRes},
    {fourCC("apcs"), proRes},       {fourCC("ap4h"), proRes},
};

}  // namespace

std::optional<MXFCodec> mxfCodecForComponent(FourCC component) {
    const auto* const row = std::ranges::find(rows, component, &Row::component);
    return row == std::end(rows) ? std::nullopt : std::optional(row->codec);
}

bool componentIsQuickTimeIMX(FourCC component) {
    const auto mapped = mxfCodecForComponent(component);
    return mapped && mapped->imxFrameSize != 0;
}

std::uint64_t mxfSampleFlagsForFrameType(std::uint32_t frameType) {
    // Standalone, sync, partial sync or MPEG-2 I, reference, disposable.
    static constexpr std::array<std::uint64_t, 5> flags = {mxf::sampleFlagIntra, 0, mxf::sampleFlagIntra,
                                                           mxf::sampleFlagPredicted,
                                                           mxf::sampleFlagBidirectional};
    return frameType < flags.size() ? flags[frameType] : 0;
}

}  // namespace zenquor::detail
