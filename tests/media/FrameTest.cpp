// Scratch memory, markers and frame stores.

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "media/LogCapture.h"
#include "zenquor/media/ZQRFrameMarker.h"
#include "zenquor/media/ZQRFrameStore.h"
#include "zenquor/media/ZQTFrameMemoryManagement.h"

namespace zenquor {
namespace {

TEST(FrameMemory, AFreedBufferComesBackWhateverSizeIsAskedFor) {
    const auto memory = ZQTFrameMemoryManagement::init();
    auto* const first = memory->allocatePointer(1 << 20);
    auto* const second = memory->allocatePointer(1 << 20);
    ASSERT_NE(first, second);
    memory->freePointer(first);
    EXPECT_EQ(memory->allocatePointer(4 << 20), first);
    EXPECT_NE(memory->allocatePointer(16), first);
}

TEST(FrameMemory, ABufferIsReadyAfterItsLastUse) {
    const auto memory = ZQTFrameMemoryManagement::init();
    auto* const buffer = memory->allocatePointer(64);
    memory->retainPointer(buffer);
    memory->freePointer(buffer);
    auto* const other = memory->allocatePointer(64);
    EXPECT_NE(other, buffer);
    memory->freePointer(buffer);
    memory->freePointer(buffer);  // once too often: it stays ready, once
    EXPECT_EQ(memory->allocatePointer(64), buffer);
    EXPECT_NE(memory->allocatePointer(64), buffer);
}

TEST(FrameMemory, AnUnknownPointerIsLoggedWhenFreedAndIgnoredWhenRetained) {
    LogCapture log;
    const auto memory = ZQTFrameMemoryManagement::init();
    const auto* const stranger = reinterpret_cast<const std::uint8_t*>(std::uintptr_t{4711});
    memory->retainPointer(stranger);
    memory->freePointer(stranger);
    const auto lines = log.take();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].first, ZLGLevel::Error);
    EXPECT_EQ(lines[0].second, "ZQTFrameMemoryManagement could not free unknown pointer 4711");
}

TEST(FrameMemory, ThreadsNeverShareABuffer) {
    const auto memory = ZQTFrameMemoryManagement::init();
    const auto use = [&](std::uint8_t mark) {
        for (int i = 0; i < 2000; ++i) {
            auto* const buffer = memory->allocatePointer(16);
            std::fill_n(buffer, 16, mark);
            EXPECT_TRUE(std::all_of(buffer, buffer + 16, [&](std::uint8_t b) { return b == mark; }));
            memory->freePointer(buffer);
        }
    };
    std::thread other(use, std::uint8_t{1});
    use(2);
    other.join();
}

TEST(FrameMarker, AMarkerCarriesOnlyItsStatus) {
    const auto marker = ZQRFrameMarker::endDummyFrame();
    EXPECT_EQ(ZQRFrameMarker::lostSyncFrame()->frameStatus(), 8U);
    EXPECT_EQ(marker->frameStatus(), 4U);
    marker->setFrameStatus(6);
    EXPECT_EQ(marker->frameStatus(), 6U);
    marker->setRelativeFrameTime(99);
    marker->setWriteCaptions(true);
    marker->setFrameHelper(ZQRFrameStore::helperWithData(ZQData()), "1");
    EXPECT_EQ(marker->relativeFrameTime(), 0);
    EXPECT_FALSE(marker->writeCaptions());
    EXPECT_FALSE(marker->helperForKey("1"));
    EXPECT_FALSE(marker->frameAudioData());
    EXPECT_FALSE(marker->videoPixelBuffer());
    EXPECT_FALSE(marker->vpID());
}

platform::SampleBufferPtr emptyPictureSample() {
    platform::PixelBufferPtr picture;
    EXPECT_EQ(platform::PixelBuffer::create(16, 16, platform::pixelFormat2vuy, picture), platform::noErr);
    platform::SampleBufferPtr sample;
    const platform::SampleTiming timing{{1, 25}, {3, 25}, {}};
    EXPECT_EQ(platform::SampleBuffer::createForImageBuffer(
                  picture, platform::FormatDescription::video(fourCC("2vuy"), {}), timing, sample),
              platform::noErr);
    return sample;
}

TEST(FrameStore, ASampleIsKeptAsACopyThatSharesThePicture) {
    const auto sample = emptyPictureSample();
    const auto store = ZQRFrameStore::helperWithCMSampleBuffer(sample);
    ASSERT_TRUE(store->cmSampleBuffer());
    EXPECT_EQ(store->type(), 1U);
    EXPECT_NE(store->cmSampleBuffer(), sample);
    EXPECT_EQ(store->cmSampleBuffer()->imageBuffer(), sample->imageBuffer());
    EXPECT_EQ(ZQRFrameStore::helperWithData(std::nullopt)->type(), 0U);
}

TEST(FrameStore, ANullSampleClearsTheFieldAndIsLogged) {
    const auto store = ZQRFrameStore::helperWithCMSampleBuffer(emptyPictureSample());
    LogCapture log;
    store->setCMSampleBuffer(nullptr);
    EXPECT_FALSE(store->cmSampleBuffer());
    const std::vector<LogCapture::Line> lines{
        {ZLGLevel::Error, "Trying to set a NULL CMSampleBuffer! - FAIL!"}};
    EXPECT_EQ(log.take(), lines);
}

}  // namespace
}  // namespace zenquor
