#include "zenquor/mxf/Demux.h"

#include <utility>

#include "zenquor/mxf/detail/Demuxer.h"

namespace zenquor {

mxf::Demuxer* mxfDemuxNew() {
    return new mxf::Demuxer;
}

std::int32_t mxfDemuxOpen(mxf::Demuxer* demuxer, const char* utf8Path, const mxf::DemuxParameters& parameters,
                          ZQRMXFLoggerPtr logger) {
    if (!demuxer) return mxf::StatusBadArgument;
    return demuxer->open(utf8Path, parameters, std::move(logger));
}

std::int32_t mxfDemuxGetFileInfo(mxf::Demuxer* demuxer, mxf::FileInfo& info) {
    if (!demuxer || !demuxer->file()) return mxf::StatusBadArgument;
    info = demuxer->file()->info();
    return mxf::StatusOK;
}

std::int32_t mxfDemuxGetStreamFormat(mxf::Demuxer* demuxer, std::int32_t stream, mxf::StreamFormat& format) {
    if (!demuxer || !demuxer->hasStream(stream)) return mxf::StatusBadArgument;
    format = demuxer->file()->formatOf(stream);
    return mxf::StatusOK;
}

const mxf::FileReport* mxfDemuxGetReport(mxf::Demuxer* demuxer) {
    return demuxer && demuxer->file() ? &demuxer->file()->report() : nullptr;
}

std::int32_t mxfDemuxCreateParser(mxf::Demuxer* demuxer, std::int32_t stream, std::int32_t& parser) {
    parser = -1;
    return demuxer ? demuxer->createParser(stream, parser) : mxf::StatusBadArgument;
}

std::int32_t mxfDemuxAddStream(mxf::Demuxer* demuxer, std::int32_t parser, std::int32_t stream,
                               mxf::MemoryStream* sink) {
    return demuxer ? demuxer->addStream(parser, stream, sink) : mxf::StatusBadArgument;
}

std::int32_t mxfDemuxSeek(mxf::Demuxer* demuxer, std::int32_t parser, std::int64_t frame, std::int32_t mode) {
    return demuxer ? demuxer->seek(parser, frame, mode) : mxf::StatusBadArgument;
}

std::int32_t mxfDemuxPush(mxf::Demuxer* demuxer, std::int32_t parser) {
    return demuxer ? demuxer->push(parser) : mxf::StatusBadArgument;
}

std::int32_t mxfDemuxRefresh(mxf::Demuxer* demuxer) {
    return demuxer && demuxer->file() ? demuxer->file()->refresh() : mxf::StatusBadArgument;
}

std::int32_t mxfDemuxRemoveStream(mxf::Demuxer* demuxer, std::int32_t parser, std::int32_t stream) {
    return demuxer ? demuxer->removeStream(parser, stream) : mxf::StatusBadArgument;
}

std::int32_t mxfDemuxFreeParser(mxf::Demuxer* demuxer, std::int32_t parser) {
    return demuxer ? demuxer->freeParser(parser) : mxf::StatusBadArgument;
}

std::int32_t mxfDemuxClose(mxf::Demuxer* demuxer) {
    if (!demuxer || !demuxer->file()) return mxf::StatusBadArgument;
    demuxer->close();
    return mxf::StatusOK;
}

void mxfDemuxFree(mxf::Demuxer* demuxer) {
    delete demuxer;
}

}  // namespace zenquor
