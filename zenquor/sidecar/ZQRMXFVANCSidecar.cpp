#include "zenquor/sidecar/ZQRMXFVANCSidecar.h"

#include <algorithm>
#include <string>
#include <utility>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/mxf/Demux.h"
#include "zenquor/sidecar/detail/SampleSink.h"
#include "zenquor/vanc/ZQRVANCHelper.h"

namespace zenquor {
namespace {

constexpr std::size_t sinkCapacity = 4096;

bool isNamedMXF(const std::filesystem::path& url) {
    std::string extension = url.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; });
    return extension == ".mxf";
}

}  // namespace

std::shared_ptr<ZQRMXFVANCSidecar> ZQRMXFVANCSidecar::initWithURL(const std::filesystem::path& url) {
    std::shared_ptr<ZQRMXFVANCSidecar> sidecar(new ZQRMXFVANCSidecar);
    sidecar->valid_ = sidecar->setupWithURL(url);
    return sidecar;
}

ZQRMXFVANCSidecar::~ZQRMXFVANCSidecar() {
    release();
}

void ZQRMXFVANCSidecar::release() {
    memoryStream_.reset();
    if (parser_ != -1) {
        mxfDemuxRemoveStream(demuxer_, parser_, stream_);
        mxfDemuxFreeParser(demuxer_, parser_);
        parser_ = -1;
    }
    mxfDemuxClose(demuxer_);
    mxfDemuxFree(std::exchange(demuxer_, nullptr));
    pendingPackets_.clear();
    startTimecode_ = {};
}

bool ZQRMXFVANCSidecar::setupWithURL(const std::filesystem::path& url) {
    release();
    valid_ = false;
    std::int32_t streamCount = 0;
    if (!isNamedMXF(url) || !openFile(url) || !readFileInfo(streamCount)) return false;
    for (std::int32_t stream = 0; stream < streamCount; ++stream) {
        mxf::StreamFormat format;
        if (mxfDemuxGetStreamFormat(demuxer_, stream, format) != 0) continue;
        if (format.streamKind == mxf::streamKindData && openStream(stream)) break;
    }
    return valid_ = parser_ != -1;
}

bool ZQRMXFVANCSidecar::openFile(const std::filesystem::path& url) {
    logger_ = ZQRMXFLogger::loggerWithMode(ZQRMXFLogger::Mode::Silent);
    demuxer_ = mxfDemuxNew();
    if (!demuxer_) {
        ZLGGetHandle().error("ZQRMXFVANCSidecar unable to create MXF Demuxer");
        return false;
    }
    const std::int32_t error = mxfDemuxOpen(demuxer_, url.c_str(), {}, logger_);
    if (error != 0)
        ZLGGetHandle().error("ZQRMXFVANCSidecar unable to open MXF Demuxer with error {}\n", error);
    return error == 0;
}

bool ZQRMXFVANCSidecar::readFileInfo(std::int32_t& streamCount) {
    mxf::FileInfo info;
    const std::int32_t error = mxfDemuxGetFileInfo(demuxer_, info);
    if (error != 0) {
        ZLGGetHandle().error("ZQRMXFVANCSidecar unable to obtain file info from MXF Demuxer with error {}\n",
                             error);
        return false;
    }
    startTimecode_ = ZQProjectTimecode::timecodeWithFrames(info.startTimecodeFrames);
    streamCount = info.streamCount;
    return true;
}

/// @return whether the search for a stream ends here.
bool ZQRMXFVANCSidecar::openStream(std::int32_t stream) {
    if (mxfDemuxCreateParser(demuxer_, stream, parser_) != 0) {
        ZLGGetHandle().error("ZQRMXFVANCSidecar unable to create parser for stream {}\n", stream);
        parser_ = -1;
        return false;
    }
    stream_ = stream;
    memoryStream_ = detail::SampleSink::sinkWithCapacity(
        sinkCapacity,
        [this](std::int32_t kind, std::span<const std::uint8_t> sample) { receive(kind, sample); });
    if (!memoryStream_) {
        ZLGGetHandle().error("ZQRMXFVANCSidecar unable to create memory stream for stream {}\n", stream);
        return false;
    }
    mxfDemuxAddStream(demuxer_, parser_, stream, memoryStream_.get());
    return true;
}

void ZQRMXFVANCSidecar::receive(std::int32_t kind, std::span<const std::uint8_t> sample) {
    if (kind != mxf::MemoryStream::commandSampleReady) return;
    receivedDataSample(sample);
    memoryStream_->release(sample.size());
}

void ZQRMXFVANCSidecar::receivedDataSample(std::span<const std::uint8_t> sample) {
    auto stream = ZQRDataStream::initWithData(ZQData::wrapping(sample, [] {}));
    ZQRVANCHelper::extractVANCDataPacketFromSMPTE436MStream(
        stream, [this](std::int32_t line, std::uint8_t did, std::uint8_t sdid, const ZQData& data) {
            auto packet = ZQRVANCHelper::vancPacketWithLine(line, did, sdid, data);
            if (packet) pendingPackets_.push_back(std::move(packet));
        });
}

ZQRVANCPacketList ZQRMXFVANCSidecar::vancPacketsAtTimecode(const ZQCKTimecode&) {
    mxfDemuxPush(demuxer_, parser_);
    // What is left of a sample that broke off must not stand in front of the next one.
    if (memoryStream_) memoryStream_->release(memoryStream_->pendingCount());
    return std::exchange(pendingPackets_, {});
}

void ZQRMXFVANCSidecar::prepareToReadFromFrame(std::int32_t frame) {
    if (!valid_) return;
    const std::int32_t error = mxfDemuxSeek(demuxer_, parser_, frame, mxf::SeekModeExact);
    if (error != 0)
        ZLGGetHandle().error("ZQRMXFVANCSidecar could not seek to frame {} with error {}", frame, error);
    pendingPackets_.clear();
}

}  // namespace zenquor
