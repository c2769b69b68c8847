#include "zenquor/audio/ZQRAudioHelper.h"

#include <cmath>

#include <gtest/gtest.h>

#include "zenquor/core/ZQProjectTimecode.h"

using namespace zenquor;

namespace {

platform::AudioStreamBasicDescription atRate(double rate) {
    platform::AudioStreamBasicDescription format;
    format.sampleRate = rate;
    return format;
}

}  // namespace

TEST(ZQRAudioHelper, WeavesSamplesOverFramesOfEveryRate) {
    using Weave = std::vector<std::uint32_t>;
    const Weave weaves[] = {
        {2002}, {2000}, {1920}, {1602, 1602, 1602, 1601, 1601}, {1600}, {960}, {801, 801, 801, 801, 800},
        {800}};
    for (int code = 0; code < 8; ++code) {
        ZQProjectTimecode::setCurrentFrameRate(code);
        const auto helper = ZQRAudioHelper::initWithAudioFormat(atRate(48000));
        EXPECT_EQ(helper->audioWeave(), weaves[code]) << code;
        EXPECT_EQ(helper->audioWeaveMaximumSize(), static_cast<std::int32_t>(weaves[code][0]));
    }
    ZQProjectTimecode::setCurrentFrameRate(3);
    EXPECT_EQ(ZQRAudioHelper::initWithAudioFormat(atRate(44100))->audioWeaveCount(), 100U);
    EXPECT_LE(ZQRAudioHelper::initWithAudioFormat(atRate(44100.12345678))->audioWeaveCount(), 1000U);
    for (const double rate :
         {0.0, -48000.0, static_cast<double>(NAN), static_cast<double>(INFINITY), 1e300}) {
        EXPECT_EQ(ZQRAudioHelper::initWithAudioFormat(atRate(rate))->audioFramesForNextVideoFrame(), 0U);
    }
    ZQProjectTimecode::setCurrentFrameRate(2);
}

TEST(ZQRAudioHelper, CopiesOfTheSharedHelperEachStartTheCycle) {
    EXPECT_FALSE(ZQRAudioHelper::isInitialised());
    EXPECT_EQ(ZQRAudioHelper::audioHelper()->audioFramesForNextVideoFrame(), 0U);
    ZQProjectTimecode::setCurrentFrameRate(3);
    ZQRAudioHelper::setAudioFormat(atRate(48000));
    ZQProjectTimecode::setCurrentFrameRate(2);
    EXPECT_TRUE(ZQRAudioHelper::isInitialised());
    const auto first = ZQRAudioHelper::audioHelper();
    for (const std::uint32_t frames : {1602U, 1602U, 1602U, 1601U, 1601U, 1602U}) {
        EXPECT_EQ(first->audioFramesForNextVideoFrame(), frames);
    }
    EXPECT_EQ(first->audioWeaveCurrent(), 1U);
    EXPECT_EQ(ZQRAudioHelper::audioHelper()->audioWeaveCurrent(), 0U);
    EXPECT_DOUBLE_EQ(first->timescale(), 30000.0 / 1001.0);
    first->setAudioWeaveCurrent(99);
    EXPECT_EQ(first->audioFramesForNextVideoFrame(), 1602U) << "an index beyond the cycle starts it";
    EXPECT_FALSE(first->audioPacketWeaveForFormat(atRate(44100))) << "100 counts do not fit in 5";
    EXPECT_TRUE(first->audioPacketWeaveForFormat(atRate(96000)));
    EXPECT_EQ(first->audioWeave()[1], 3203U);
    EXPECT_EQ(ZQRAudioHelper::audioHelper()->audioWeave()[1], 1602U) << "the shared weave is untouched";
}
