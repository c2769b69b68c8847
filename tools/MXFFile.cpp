#include "MXFFile.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <string>

#include <fmt/format.h>

#include "CaptionErrors.h"
#include "zenquor/vanc/ZQRVANCHelper.h"

namespace zenquor::tools {
namespace {

constexpr std::size_t longestRunIn = 65536;
// The first eleven bytes of a partition pack's key, the registry version left out of the search by its second half.
constexpr std::string_view packStart("\x06\x0E\x2B\x34\x02\x05\x01", 7);

/// One sample at a time, in memory that grows to the largest.
class SampleSink final : public mxf::MemoryStream {
public:
    std::int32_t Write(std::span<const std::uint8_t> bytes) override {
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
        return static_cast<std::int32_t>(bytes.size());
    }
    std::int32_t Control(std::int32_t command, const mxf::SampleRecord::Bytes&) override {
        isReady_ = isReady_ || command == commandSampleReady;
        return mxf::StatusOK;
    }
    bool isReady() const { return isReady_; }
    std::span<const std::uint8_t> sample() const { return bytes_; }
    void clear() {
        bytes_.clear();
        isReady_ = false;
    }

private:
    std::vector<std::uint8_t> bytes_;
    bool isReady_ = false;
};

std::string sentenceFor(std::int32_t status, const std::filesystem::path& path) {
    switch (status) {
        case mxf::StatusCannotOpen:
            return fmt::format("\"{}\" cannot be opened.", path.string());
        case mxf::StatusReadFailed:
            return fmt::format("\"{}\" cannot be read: the disk or the connection to it fails.",
                               path.string());
        case mxf::StatusNotMXF:
            return fmt::format("\"{}\" is no MXF file: it has no header partition.", path.string());
        default:
            return fmt::format("\"{}\" is too damaged to be read as MXF.", path.string());
    }
}

/// The rate whose exact value is nearest.
ZQCKTimebase nearestTimebase(double rate) {
    ZQCKTimebase nearest;
    for (int code = 0; code < ZQCKTimebase::frameRateCount; ++code) {
        const auto timebase = ZQCKTimebase::timebaseForFramerate(code);
        if (std::abs(timebase.realFramesPerSecond() - rate) < std::abs(nearest.realFramesPerSecond() - rate))
            nearest = timebase;
    }
    return nearest;
}

}  // namespace

bool isMXF(const std::filesystem::path& path) {
    std::string extension = path.extension().string();
    std::ranges::transform(extension, extension.begin(), [](unsigned char c) { return std::tolower(c); });
    if (extension == ".mxf") return true;
    std::string start(longestRunIn, '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(start.data(), static_cast<std::streamsize>(start.size()));
    start.resize(static_cast<std::size_t>(file.gcount()));
    return start.starts_with(packStart);
}

std::unique_ptr<MXFFile> MXFFile::open(const std::filesystem::path& path, ZQErrorPtr* error) {
    if (!canBeRead(path, error)) return nullptr;
    auto file = std::make_unique<MXFFile>();
    file->demuxer_.reset(mxfDemuxNew());
    const auto logger = ZQRMXFLogger::loggerWithMode(ZQRMXFLogger::Mode::Forwarding);
    auto status = mxfDemuxOpen(file->demuxer_.get(), path.c_str(), {}, logger);
    if (status == mxf::StatusOK) status = mxfDemuxGetFileInfo(file->demuxer_.get(), file->info_);
    if (status == mxf::StatusOK) return file;
    failCaption(error, sentenceFor(status, path));
    return nullptr;
}

ZQCKTimebase MXFFile::timebase() const {
    const auto nearest = nearestTimebase(info_.editRate);
    if (!info_.hasTimecode) return nearest;
    // Timecode that counts 30 or 60 labels without dropping any is counted as such, whatever the real rate.
    if (info_.timecodeBase == 30) return ZQCKTimebase::timebaseForFramerate(info_.dropFrame ? 3 : 4);
    if (info_.timecodeBase == 60) return ZQCKTimebase::timebaseForFramerate(info_.dropFrame ? 6 : 7);
    return nearest;
}

std::optional<ZQCKTimecode> MXFFile::timecodeOf(std::int64_t frame) const {
    if (!info_.hasTimecode) return std::nullopt;
    return timeOf(frame);
}

ZQCKTimecode MXFFile::timeOf(std::int64_t frame) const {
    return ZQCKTimecode::timecodeWithFrames(info_.startTimecodeFrames + frame, timebase());
}

double MXFFile::seconds() const {
    return info_.editRate > 0 ? static_cast<double>(info_.duration) / info_.editRate : 0;
}

void MXFFile::forEachPacket(const PacketVisit& visit) const {
    bool goesOn = true;
    const auto visitElement = [&](std::int64_t frame, std::span<const std::uint8_t> element) {
        auto bytes = ZQRDataStream::initWithData(ZQData::copying(element));
        ZQRVANCHelper::extractVANCDataPacketFromSMPTE436MStream(
            bytes, [&](std::int32_t line, std::uint8_t did, std::uint8_t sdid, const ZQData& data) {
                goesOn = goesOn && visit(frame, line, did, sdid, data);
            });
        return goesOn;
    };
    for (std::int32_t stream = 0; goesOn && stream < info_.streamCount; ++stream) {
        mxf::StreamFormat format;
        if (mxfDemuxGetStreamFormat(demuxer_.get(), stream, format) == mxf::StatusOK &&
            format.streamKind == mxf::streamKindData)
            forEachSample(stream, visitElement);
    }
}

/// Hands over the samples in stored order.
void MXFFile::forEachSample(std::int32_t stream, const SampleVisit& visit) const {
    std::int32_t parser = -1;
    if (mxfDemuxCreateParser(demuxer_.get(), stream, parser) != mxf::StatusOK) return;
    SampleSink sink;
    std::int64_t frame = 0;
    if (mxfDemuxAddStream(demuxer_.get(), parser, stream, &sink) == mxf::StatusOK) {
        for (bool goesOn = true; goesOn && mxfDemuxPush(demuxer_.get(), parser) == mxf::StatusOK; ++frame) {
            if (sink.isReady()) goesOn = visit(frame, sink.sample());
            sink.clear();
        }
        mxfDemuxRemoveStream(demuxer_.get(), parser, stream);
    }
    mxfDemuxFreeParser(demuxer_.get(), parser);
}

}  // namespace zenquor::tools
