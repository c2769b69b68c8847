#pragma once
// Ancillary data out of MXF files.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>

#include "zenquor/core/ZQProjectTimecode.h"
#include "zenquor/sidecar/ZQRSidecar.h"

namespace zenquor {

class ZQRMXFLogger;

namespace mxf {
class Demuxer;
}
namespace detail {
class SampleSink;
}

/// Plays the ancillary data track of an MXF file: each frame that the host asks for gets the packets of the file's next
/// frame, whatever its timecode.
///
/// Of several data tracks the first is played that can be read. Packets of unknown kinds are passed over.
///
/// Lifecycle:     as ZQRSidecar. Playback starts at the file's first frame; prepareToReadFromFrame() moves it.
/// Thread-safety: One thread at a time.
/// Standards:     SMPTE ST 377-1 (MXF), ST 436-1 (ancillary data in it).
class ZQRMXFVANCSidecar final : public ZQRSidecar {
public:
    /// Opens a file. valid() is false when it is not named ".mxf", is no MXF file, or has no data track.
    static std::shared_ptr<ZQRMXFVANCSidecar> initWithURL(const std::filesystem::path& url);
    ~ZQRMXFVANCSidecar() override;
    ZQRMXFVANCSidecar(const ZQRMXFVANCSidecar&) = delete;
    ZQRMXFVANCSidecar& operator=(const ZQRMXFVANCSidecar&) = delete;

    /// Closes what was open and opens the file. @return whether there is a data track to read.
    bool setupWithURL(const std::filesystem::path& url);
    /// Adds the packets of one 436M element to those of the frame at hand. The bytes are not kept.
    void receivedDataSample(std::span<const std::uint8_t> sample);

    /// The packets of the next frame of the file; none behind its end.
    ZQRVANCPacketList vancPacketsAtTimecode(const ZQCKTimecode& timecode) override;
    /// Does nothing: MXF files are only played.
    void addVancPackets(const ZQRVANCPacketList&, const ZQCKTimecode&) override {}
    /// The next frame played is @p frame of the file, counted from 0. A failure is logged; the position then stays.
    void prepareToReadFromFrame(std::int32_t frame) override;
    /// Does nothing; the file is closed with the object.
    void close() override {}
    bool valid() const override { return valid_; }
    std::int32_t timecodeType() const override { return 1; }

    /// The timecode of the file's first frame, in the project's frame rate.
    const ZQProjectTimecode& startTimecode() const { return startTimecode_; }

private:
    ZQRMXFVANCSidecar() = default;

    bool openFile(const std::filesystem::path& url);
    bool readFileInfo(std::int32_t& streamCount);
    bool openStream(std::int32_t stream);
    void receive(std::int32_t kind, std::span<const std::uint8_t> sample);
    void release();

    std::unique_ptr<detail::SampleSink> memoryStream_;
    mxf::Demuxer* demuxer_ = nullptr;
    std::int32_t parser_ = -1;
    std::int32_t stream_ = 0;
    std::shared_ptr<ZQRMXFLogger> logger_;
    ZQRVANCPacketList pendingPackets_;
    ZQProjectTimecode startTimecode_;
    bool valid_ = false;
};

using ZQRMXFVANCSidecarPtr = std::shared_ptr<ZQRMXFVANCSidecar>;

}  // namespace zenquor
