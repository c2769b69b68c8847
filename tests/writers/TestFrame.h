#pragma once
// What the writers' tests share: a frame in memory, and an ear on the log.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "zenquor/core/Guarded.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/media/ZQRFrame.h"
#include "zenquor/media/ZQRFrameStore.h"

namespace zenquor::test {

/// A frame whose fields a test fills before it shares it.
class TestFrame final : public ZQRFrame {
public:
    std::int64_t time = 0;
    std::int64_t length = 1000;
    std::optional<ZQData> audio;
    std::uint32_t bytesPerAudioFrame = 0;
    std::uint32_t channels = 0;
    platform::PixelBufferPtr picture;
    std::optional<ZQCKTimecode> timecode;
    bool captions = false;
    ZQRVANCPacketList packets;
    std::atomic<std::uint32_t> status{0};

    std::optional<ZQData> frameAudioData() const override { return audio; }
    std::uint32_t audioBytesPerFrame() const override { return bytesPerAudioFrame; }
    std::uint32_t audioChannels() const override { return channels; }
    std::uint32_t videoWidth() const override { return picture ? picture->width() : 0; }
    std::uint32_t videoHeight() const override { return picture ? picture->height() : 0; }
    std::size_t videoRowBytes() const override { return picture ? picture->bytesPerRow() : 0; }
    FourCC videoPixelFormat() const override { return picture ? picture->pixelFormat() : 0; }
    std::optional<ZQData> videoData() const override {
        return picture ? std::optional(picture->data()) : std::nullopt;
    }
    const std::uint8_t* videoDataPointer() const override { return nullptr; }
    platform::PixelBufferPtr videoPixelBuffer() const override { return picture; }
    std::uint64_t frameID() const override { return 0; }
    std::uint32_t flags() const override { return 0; }
    std::int64_t frameDuration() const override { return length; }
    std::int64_t absoluteFrameTime() const override { return time; }
    std::int64_t relativeFrameTime() const override { return time; }
    void setRelativeFrameTime(std::int64_t t) override { time = t; }
    std::optional<ZQCKTimecode> frameTimecode() const override { return timecode; }
    bool writeCaptions() const override { return captions; }
    void setWriteCaptions(bool write) override { captions = write; }
    void setFrameHelper(ZQObjectPtr helper, std::string_view key) override {
        helpers_.with([&](auto& helpers) { helpers[std::string(key)] = std::move(helper); });
    }
    ZQObjectPtr helperForKey(std::string_view key) const override {
        return helpers_.with([&](const auto& helpers) {
            const auto found = helpers.find(std::string(key));
            return found == helpers.end() ? nullptr : found->second;
        });
    }
    std::uint32_t ancillaryDataFlags() const override { return 0; }
    std::uint32_t frameStatus() const override { return status.load(); }
    void setFrameStatus(std::uint32_t s) override { status.store(s); }
    std::optional<ZQRVPID> vpID() const override { return std::nullopt; }
    ZQRVANCPacketList vancPackets() const override { return packets; }
    void setVancPackets(ZQRVANCPacketList list) override { packets = std::move(list); }

private:
    Guarded<std::map<std::string, ZQObjectPtr>> helpers_;
};

using TestFramePtr = std::shared_ptr<TestFrame>;

/// Collects the library's log lines of every level while it lives.
class LogEar {
public:
    LogEar() : lines_(std::make_shared<Guarded<std::vector<std::string>>>()) {
        level_ = ZLGGetHandle().setLevel(ZLGLevel::Debug);
        ZLGGetHandle().setSink([lines = lines_](ZLGLevel, std::string_view text) {
            lines->with([&](auto& all) { all.emplace_back(text); });
        });
    }
    ~LogEar() {
        ZLGGetHandle().setSink({});
        ZLGGetHandle().setLevel(level_);
    }
    std::vector<std::string> lines() const { return lines_->load(); }
    /// Lines that contain @p part.
    int count(std::string_view part) const {
        int found = 0;
        for (const auto& line : lines()) found += line.find(part) != std::string::npos;
        return found;
    }

private:
    std::shared_ptr<Guarded<std::vector<std::string>>> lines_;
    ZLGLevel level_;
};

}  // namespace zenquor::test
