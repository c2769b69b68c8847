// The encoder that hands pictures on.
#include "zenquor/encoders/ZQRPassthroughEncoder.h"

#include "encoders/EncoderTestSupport.h"

namespace zenquor::test {
namespace {

TEST(PassthroughEncoder, SharesThePictureAndCallsBackBeforeItReturns) {
    int calls = 0;
    const auto encoder = ZQRPassthroughEncoder::initWithVideoProperties(
        recording(platform::pixelFormat2vuy),
        [&](ZQRVideoEncoderProtocol&, const ZQRFramePtr&, const std::shared_ptr<void>& context) {
            EXPECT_FALSE(context) << "what the callback belongs to may be gone";
            ++calls;
        },
        std::make_shared<int>(1), 25);
    encoder->setName("A");
    const auto packet = ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(
        ZQData::copying(std::vector<std::uint8_t>{0x80, 0x80}), 0);
    struct Case {
        bool writes, has;
    };
    int n = 4;
    for (const auto& [writes, has] : {Case{true, true}, Case{true, false}, Case{false, true}}) {
        const auto f = frame(++n);
        f->captions = writes;
        if (has) f->packets = {packet};
        ASSERT_TRUE(encoder->encodeFrame(f));
        const auto store = storeOf(*f, "A");
        ASSERT_TRUE(store);
        EXPECT_EQ(calls, n - 4);
        EXPECT_EQ(store->rawData()->data(), f->picture->baseAddress()) << "no copy";
        EXPECT_EQ(store->type(), 0U);
        EXPECT_EQ(store->frameType(), ZQRFrameTypeStandalone);
        EXPECT_EQ((*store->audioData())[0], n);
        EXPECT_EQ(store->timecode(), f->timecode);
        EXPECT_EQ(store->decodeTimestamp(), 1000 * n);
        EXPECT_EQ(store->displayTimestamp(), 1000 * n);
        EXPECT_EQ(store->closedCaptionData(), writes && has ? packet : nullptr);
    }
}

TEST(PassthroughEncoder, RefusesFramesInEveryStateButReadyAndEncoding) {
    const auto encoder =
        ZQRPassthroughEncoder::initWithVideoProperties(recording(platform::pixelFormat2vuy), nullptr, {}, 25);
    encoder->setState(ZQRVideoEncoderStateEncoding);
    EXPECT_TRUE(encoder->encodeFrame(frame(0)));
    encoder->finishEncoding();
    for (const std::int32_t state : {3, 2, -1}) {
        encoder->setState(state);
        const auto f = frame(1);
        ZQErrorPtr error;
        EXPECT_FALSE(encoder->encodeFrame(f, &error));
        EXPECT_EQ(error->code(), -53001);
        EXPECT_EQ(error->localizedDescription(),
                  "ZQRPassthroughEncoder tried to push a frame into encoder while its state is " +
                      std::to_string(state));
        EXPECT_FALSE(storeOf(*f, ""));
    }
    EXPECT_EQ(encoder->totalCapacity(), -1);
}

}  // namespace
}  // namespace zenquor::test
