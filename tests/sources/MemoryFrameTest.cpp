#include "zenquor/sources/MemoryFrame.h"

#include <gtest/gtest.h>

#include <thread>

#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"

namespace zenquor {
namespace {

struct Helper final : ZQObject {};

TEST(MemoryFrame, HelpersComeAndGoWhileOtherThreadsRead) {
    const auto frame = MemoryFrame::frameWithContents({});
    const auto helper = std::make_shared<Helper>();
    std::thread reader([&] {
        for (int i = 0; i < 2000; ++i) {
            const auto found = frame->helperForKey("1");
            EXPECT_TRUE(!found || found == helper);
            static_cast<void>(frame->vancPackets());
            static_cast<void>(frame->frameStatus());
        }
    });
    for (int i = 0; i < 2000; ++i) {
        frame->setFrameHelper(i % 2 == 0 ? helper : nullptr, "1");
        frame->setVancPackets(ZQRVANCPacketList(static_cast<std::size_t>(i % 3)));
        frame->setFrameStatus(static_cast<std::uint32_t>(i));
    }
    reader.join();
    EXPECT_FALSE(frame->helperForKey("1"));
    frame->setFrameHelper(helper, "1");
    frame->setFrameHelper(std::make_shared<Helper>(), "2");
    EXPECT_EQ(frame->helperForKey("1"), helper);
    EXPECT_NE(frame->helperForKey("2"), helper);
    EXPECT_FALSE(frame->helperForKey("3"));
}

TEST(MemoryFrame, AFrameWithoutPictureAndSoundAnswersNothing) {
    const auto frame = MemoryFrame::frameWithContents({.frameID = 3, .status = 8});
    EXPECT_EQ(frame->videoWidth() + frame->videoHeight() + frame->videoRowBytes() + frame->videoPixelFormat(),
              0U);
    EXPECT_FALSE(frame->videoData());
    EXPECT_FALSE(frame->videoDataPointer());
    EXPECT_FALSE(frame->frameAudioData());
    EXPECT_FALSE(frame->frameTimecode());
    EXPECT_EQ(frame->frameStatus(), 8U);
    EXPECT_EQ(frame->ancillaryDataFlags(), 0U);
    EXPECT_EQ(frame->description(), "<MemoryFrame 3 (null)>");
}

TEST(MemoryFrame, ItsPacketsSayWhichKindsItCarries) {
    const auto frame = MemoryFrame::frameWithContents({});
    frame->setVancPackets({ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(
        ZQRVANCClosedCaptionPacket::empty608PacketData(), ZQRVANCClosedCaptionPacket::TypeCEA608)});
    EXPECT_EQ(frame->ancillaryDataFlags(), 1U);
}

}  // namespace
}  // namespace zenquor
