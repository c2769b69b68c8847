#include "zenquor/mxf/detail/EssenceTrack.h"

#include "zenquor/mxf/detail/AVCTrack.h"
#include "zenquor/mxf/detail/AncillaryTrack.h"
#include "zenquor/mxf/detail/D10PictureTrack.h"
#include "zenquor/mxf/detail/D10SoundTrack.h"
#include "zenquor/mxf/detail/DVTrack.h"
#include "zenquor/mxf/detail/MPEG2Track.h"
#include "zenquor/mxf/detail/PCMTrack.h"
#include "zenquor/mxf/detail/ProResTrack.h"
#include "zenquor/mxf/detail/VC3Track.h"

namespace zenquor::mxf::detail {
namespace {

using Context = EssenceTrack::Context;
using Maker = std::unique_ptr<EssenceTrack> (*)(const StreamFormat&, const Context&);

template <class Track>
std::unique_ptr<EssenceTrack> makePicture(const StreamFormat& format, const Context& context) {
    return std::make_unique<Track>(format, context);
}

std::unique_ptr<EssenceTrack> makeMPEG2(const StreamFormat& format, const Context& context) {
    if (context.profile == wrapping::d10) return makePicture<D10PictureTrack>(format, context);
    return makePicture<MPEG2Track>(format, context);
}

std::unique_ptr<EssenceTrack> makeWave(const StreamFormat& format, const Context& context) {
    const std::optional<SoundLayout> layout = SoundLayout::fromFormat(format);
    if (!layout) return nullptr;
    return std::make_unique<PCMTrack>(*layout, context, PCMTrack::Mapping::Wave);
}

std::unique_ptr<EssenceTrack> makeAES3(const StreamFormat& format, const Context& context) {
    const std::optional<SoundLayout> layout = SoundLayout::fromFormat(format);
    if (!layout) return nullptr;
    if (context.profile != wrapping::d10)
        return std::make_unique<PCMTrack>(*layout, context, PCMTrack::Mapping::AES3);
    if (layout->channelCount > D10SoundTrack::mostChannels || layout->bytesPerSample > 3) return nullptr;
    return std::make_unique<D10SoundTrack>(*layout, context);
}

template <AncillaryTrack::Content content>
std::unique_ptr<EssenceTrack> makeData(const StreamFormat&, const Context& context) {
    return std::make_unique<AncillaryTrack>(context, content);
}

struct MakerRow {
    std::int32_t streamKind;
    std::int32_t codec;
    Maker make;
};
constexpr MakerRow makerRows[] = {
    {streamKindVideo, codec::mpeg2Video, makeMPEG2},
    {streamKindVideo, codec::avcIntra50, makePicture<AVCTrack>},
    {streamKindVideo, codec::avcIntra100, makePicture<AVCTrack>},
    {streamKindVideo, codec::avcIntra200, makePicture<AVCTrack>},
    {streamKindVideo, codec::avcIntra480, makePicture<AVCTrack>},
    {streamKindVideo, codec::avcLongGOP, makePicture<AVCTrack>},
    {streamKindVideo, codec::dv25, makePicture<DVTrack>},
    {streamKindVideo, codec::dvcPro25, makePicture<DVTrack>},
    {streamKindVideo, codec::dv50, makePicture<DVTrack>},
    {streamKindVideo, codec::dv100, makePicture<DVTrack>},
    {streamKindVideo, codec::vc3, makePicture<VC3Track>},
    {streamKindVideo, codec::proRes, makePicture<ProResTrack>},
    {streamKindAudio, 0, makeWave},
    {streamKindAudio, codec::pcmWave, makeWave},
    {streamKindAudio, codec::pcmAES3, makeAES3},
    {streamKindData, codec::ancillary436M, makeData<AncillaryTrack::Content::Packets>},
    {streamKindData, codec::vbi436M, makeData<AncillaryTrack::Content::Lines>},
};

}  // namespace

std::unique_ptr<EssenceTrack> EssenceTrack::create(const StreamFormat& format, const Context& context) {
    for (const MakerRow& row : makerRows) {
        if (row.streamKind == format.streamKind && row.codec == format.codec)
            return row.make(format, context);
    }
    return nullptr;
}

}  // namespace zenquor::mxf::detail
