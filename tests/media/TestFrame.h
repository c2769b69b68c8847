#pragma once
// A frame whose answers a test sets.

#include "zenquor/media/ZQRFrame.h"

namespace zenquor {

class TestFrame final : public ZQRFrame {
public:
    std::optional<ZQData> audio;
    std::uint32_t bytesPerFrame = 0;
    std::uint32_t channels = 0;
    std::uint32_t height = 0;
    std::optional<ZQRVPID> payloadIdentifier;

    std::optional<ZQData> frameAudioData() const override { return audio; }
    std::uint32_t audioBytesPerFrame() const override { return bytesPerFrame; }
    std::uint32_t audioChannels() const override { return channels; }
    std::uint32_t videoWidth() const override { return 0; }
    std::uint32_t videoHeight() const override { return height; }
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
    std::uint32_t frameStatus() const override { return 0; }
    void setFrameStatus(std::uint32_t) override {}
    std::optional<ZQRVPID> vpID() const override { return payloadIdentifier; }
    ZQRVANCPacketList vancPackets() const override { return {}; }
    void setVancPackets(ZQRVANCPacketList) override {}
};

}  // namespace zenquor
