#pragma once
// Frames without essence, which steer the pipeline.

#include <atomic>

#include "zenquor/media/ZQRFrame.h"

namespace zenquor {

/// A frame that carries only a status. Every essence, geometry, time and helper query answers nothing or 0;
/// the other setters do nothing.
///
/// Thread-safety: Safe.
class ZQRFrameMarker final : public ZQRFrame {
public:
    /// Status 4: tells the threads that take it from a queue to stop.
    static std::shared_ptr<ZQRFrameMarker> endDummyFrame();
    /// Status 8: stands for missing input.
    static std::shared_ptr<ZQRFrameMarker> lostSyncFrame();

    std::uint32_t frameStatus() const override { return status_.load(std::memory_order_relaxed); }
    void setFrameStatus(std::uint32_t status) override { status_.store(status, std::memory_order_relaxed); }
    std::optional<ZQRVPID> vpID() const override { return std::nullopt; }

    std::optional<ZQData> frameAudioData() const override { return std::nullopt; }
    std::uint32_t audioBytesPerFrame() const override { return 0; }
    std::uint32_t audioChannels() const override { return 0; }
    std::uint32_t videoWidth() const override { return 0; }
    std::uint32_t videoHeight() const override { return 0; }
    std::size_t videoRowBytes() const override { return 0; }
    FourCC videoPixelFormat() const override { return 0; }
    std::optional<ZQData> videoData() const override { return std::nullopt; }
    const std::uint8_t* videoDataPointer() const override { return nullptr; }
    platform::PixelBufferPtr videoPixelBuffer() const override { return nullptr; }
    std::uint64_t frameID() const override { return 0; }
    std::uint32_t flags() const override { return 0; }
    std::int64_t frameDuration() const override { return 0; }
    std::int64_t absoluteFrameTime() const override { return 0; }
    std::int64_t relativeFrameTime() const override { return 0; }
    void setRelativeFrameTime(std::int64_t) override {}
    std::optional<ZQCKTimecode> frameTimecode() const override { return std::nullopt; }
    bool writeCaptions() const override { return false; }
    void setWriteCaptions(bool) override {}
    void setFrameHelper(ZQObjectPtr, std::string_view) override {}
    ZQObjectPtr helperForKey(std::string_view) const override { return nullptr; }
    std::uint32_t ancillaryDataFlags() const override { return 0; }
    ZQRVANCPacketList vancPackets() const override { return {}; }
    void setVancPackets(ZQRVANCPacketList) override {}

private:
    explicit ZQRFrameMarker(std::uint32_t status) : status_(status) {}

    std::atomic<std::uint32_t> status_;
};

}  // namespace zenquor
