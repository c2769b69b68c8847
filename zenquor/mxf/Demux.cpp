#include "zenquor/mxf/Demux.h"

#include <exception>
#include <new>
#include <utility>

#include "zenquor/mxf/detail/Demuxer.h"

namespace zenquor {
namespace {

/// Runs an operation of a demuxer; nothing is thrown to the host.
template <typename Operation>
std::int32_t guarded(mxf::Demuxer* demuxer, mxf::Status onException, Operation operation) {
    if (demuxer == nullptr) return mxf::StatusBadArgument;
    try {
        return operation(*demuxer);
    } catch (const std::exception&) {
        return onException;
    }
}

}  // namespace

mxf::Demuxer* mxfDemuxNew() {
    return new (std::nothrow) mxf::Demuxer;
}

std::int32_t mxfDemuxOpen(mxf::Demuxer* demuxer, const char* utf8Path, const mxf::DemuxParameters& parameters,
                          ZQRMXFLoggerPtr logger) {
    return guarded(demuxer, mxf::StatusCannotOpen,
                   [&](mxf::Demuxer& d) { return d.open(utf8Path, parameters, std::move(logger)); });
}

std::int32_t mxfDemuxGetFileInfo(mxf::Demuxer* demuxer, mxf::FileInfo& info) {
    return guarded(demuxer, mxf::StatusReadFailed, [&](mxf::Demuxer& d) -> std::int32_t {
        if (!d.file()) return mxf::StatusBadArgument;
        info = d.file()->info();
        return mxf::StatusOK;
    });
}

std::int32_t mxfDemuxGetStreamFormat(mxf::Demuxer* demuxer, std::int32_t stream, mxf::StreamFormat& format) {
    if (!demuxer || !demuxer->hasStream(stream)) return mxf::StatusBadArgument;
    format = demuxer->file()->formatOf(stream);
    return mxf::StatusOK;
}

const mxf::FileReport* mxfDemuxGetReport(mxf::Demuxer* demuxer) {
    const mxf::FileReport* report = nullptr;
    guarded(demuxer, mxf::StatusReadFailed, [&](mxf::Demuxer& d) {
        if (d.file()) report = &d.file()->report();
        return mxf::StatusOK;
    });
    return report;
}

std::int32_t mxfDemuxCreateParser(mxf::Demuxer* demuxer, std::int32_t stream, std::int32_t& parser) {
    parser = -1;
    return guarded(demuxer, mxf::StatusReadFailed,
                   [&](mxf::Demuxer& d) { return d.createParser(stream, parser); });
}

std::int32_t mxfDemuxAddStream(mxf::Demuxer* demuxer, std::int32_t parser, std::int32_t stream,
                               mxf::MemoryStream* sink) {
    return guarded(demuxer, mxf::StatusReadFailed,
                   [&](mxf::Demuxer& d) { return d.addStream(parser, stream, sink); });
}

std::int32_t mxfDemuxSeek(mxf::Demuxer* demuxer, std::int32_t parser, std::int64_t frame, std::int32_t mode) {
    return guarded(demuxer, mxf::StatusReadFailed,
                   [&](mxf::Demuxer& d) { return d.seek(parser, frame, mode); });
}

std::int32_t mxfDemuxPush(mxf::Demuxer* demuxer, std::int32_t parser) {
    return guarded(demuxer, mxf::StatusReadFailed, [&](mxf::Demuxer& d) { return d.push(parser); });
}

std::int32_t mxfDemuxRefresh(mxf::Demuxer* demuxer) {
    return guarded(demuxer, mxf::StatusReadFailed, [](mxf::Demuxer& d) { return d.refresh(); });
}

std::int32_t mxfDemuxRemoveStream(mxf::Demuxer* demuxer, std::int32_t parser, std::int32_t stream) {
    return guarded(demuxer, mxf::StatusReadFailed,
                   [&](mxf::Demuxer& d) { return d.removeStream(parser, stream); });
}

std::int32_t mxfDemuxFreeParser(mxf::Demuxer* demuxer, std::int32_t parser) {
    return guarded(demuxer, mxf::StatusReadFailed, [&](mxf::Demuxer& d) { return d.freeParser(parser); });
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
