#pragma once
// A frame that lies in memory.

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "zenquor/core/Guarded.h"
#include "zenquor/media/ZQRFrame.h"

namespace zenquor {

/// A frame made of a picture in memory and what belongs to it.
///
/// Thread-safety: Safe. Helpers, status, packets, relative time and the caption flag may change while writers
/// read;
///                everything else is fixed at creation.
/// Ownership:     shares the picture, the audio bytes and the packets.
class MemoryFrame final : public ZQRFrame {
public:
    /// What a frame is made of; everything may be left out.
    struct Contents {
        platform::PixelBufferPtr picture{};
        std::optional<ZQData> audio{};         ///< as ZQRFrame::frameAudioData()
        std::uint32_t audioBytesPerFrame = 0;  ///< bytes of one sample of all channels
        std::uint32_t audioChannels = 0;
        std::uint64_t frameID = 0;
        std::uint32_t flags = 0;
        std::int64_t duration = 0;  ///< times in units of the recording's time base
        std::int64_t absoluteTime = 0;
        std::int64_t relativeTime = 0;
        std::optional<ZQCKTimecode> timecode{};
        bool writeCaptions = false;
        std::uint32_t status = 0;  ///< bits of ZQRFrameStatus
        std::optional<ZQRVPID> vpID{};
        ZQRVANCPacketList packets{};
    };

    static std::shared_ptr<MemoryFrame> frameWithContents(Contents contents);

    std::optional<ZQData> frameAudioData() const override { return contents_.audio; }
    std::uint32_t audioBytesPerFrame() const override { return contents_.audioBytesPerFrame; }
    std::uint32_t audioChannels() const override { return contents_.audioChannels; }
    std::uint32_t videoWidth() const override;
    std::uint32_t videoHeight() const override;
    std::size_t videoRowBytes() const override;
    FourCC videoPixelFormat() const override;
    std::optional<ZQData> videoData() const override;
    const std::uint8_t* videoDataPointer() const override;
    platform::PixelBufferPtr videoPixelBuffer() const override { return contents_.picture; }
    std::uint64_t frameID() const override { return contents_.frameID; }
    std::uint32_t flags() const override { return contents_.flags; }
    std::int64_t frameDuration() const override { return contents_.duration; }
    std::int64_t absoluteFrameTime() const override { return contents_.absoluteTime; }
    std::int64_t relativeFrameTime() const override { return relativeTime_.load(std::memory_order_relaxed); }
    void setRelativeFrameTime(std::int64_t time) override {
        relativeTime_.store(time, std::memory_order_relaxed);
    }
    std::optional<ZQCKTimecode> frameTimecode() const override { return contents_.timecode; }
    bool writeCaptions() const override { return writeCaptions_.load(std::memory_order_relaxed); }
    void setWriteCaptions(bool write) override { writeCaptions_.store(write, std::memory_order_relaxed); }
    void setFrameHelper(ZQObjectPtr helper, std::string_view key) override;
    ZQObjectPtr helperForKey(std::string_view key) const override;
    std::uint32_t ancillaryDataFlags() const override;
    std::uint32_t frameStatus() const override { return status_.load(std::memory_order_acquire); }
    void setFrameStatus(std::uint32_t status) override { status_.store(status, std::memory_order_release); }
    std::optional<ZQRVPID> vpID() const override { return contents_.vpID; }
    ZQRVANCPacketList vancPackets() const override { return packets_.load(); }
    void setVancPackets(ZQRVANCPacketList packets) override { packets_.store(std::move(packets)); }
    /// Names the frame's number and timecode.
    std::string description() const override;

private:
    explicit MemoryFrame(Contents contents);

    using Helpers = std::vector<std::pair<std::string, ZQObjectPtr>>;

    Contents contents_;  // its packets move to packets_
    std::atomic<std::int64_t> relativeTime_;
    std::atomic<std::uint32_t> status_;
    std::atomic<bool> writeCaptions_;
    Guarded<Helpers> helpers_;
    Guarded<ZQRVANCPacketList> packets_;
};

}  // namespace zenquor
