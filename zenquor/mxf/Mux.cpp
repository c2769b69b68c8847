#include "zenquor/mxf/Mux.h"

#include <exception>
#include <new>
#include <utility>

#include "zenquor/mxf/detail/Muxer.h"

namespace zenquor {
namespace {

/// Runs an operation of a muxer; nothing is thrown to the host.
template <typename Operation>
std::int32_t guarded(mxf::Muxer* muxer, mxf::Status onException, Operation operation) {
    if (muxer == nullptr) return mxf::StatusBadArgument;
    try {
        return operation(*muxer);
    } catch (const std::exception&) {
        return onException;
    }
}

}  // namespace

mxf::Muxer* mxfMuxNew(ZQRMXFLoggerPtr logger) {
    return new (std::nothrow) mxf::Muxer(std::move(logger));
}

std::int32_t mxfMuxOpen(mxf::Muxer* muxer, const char* utf8Path, const mxf::MuxSettings& settings) {
    return guarded(muxer, mxf::StatusCannotOpen, [&](mxf::Muxer& m) { return m.open(utf8Path, settings); });
}

std::int32_t mxfMuxAddInputStream(mxf::Muxer* muxer, mxf::InputStream* stream,
                                  const mxf::StreamFormat& format) {
    return guarded(muxer, mxf::StatusBadArgument, [&](mxf::Muxer& m) { return m.addStream(stream, format); });
}

std::int32_t mxfMuxClose(mxf::Muxer* muxer) {
    return guarded(muxer, mxf::StatusWriteFailed, [](mxf::Muxer& m) { return m.close(); });
}

void mxfMuxFree(mxf::Muxer* muxer) {
    delete muxer;
}

}  // namespace zenquor
