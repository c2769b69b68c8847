// XDCAM recordings: every code decoded by libavcodec, order and companions of frames, constant bit rate.
#include "zenquor/encoders/ZQRMCMPEG2Encoder.h"

#include <algorithm>
#include <random>

#include "encoders/EncoderTestSupport.h"
#include "zenquor/core/ZQUserDefaults.h"
#include "zenquor/platform/detail/Libav.h"

namespace zenquor::test {
namespace {

using platform::detail::Libav;

struct Code {
    FourCC code;
    std::uint32_t width, height, framerate;
    AVRational rate;
    bool isInterlaced, is422;
    int gopSize;
};
constexpr AVRational r24{24000, 1001}, r25{25, 1}, r30{30000, 1001}, r50{50, 1}, r60{60000, 1001};
// Rasters, rates and chroma of the XDCAM family as the makers publish them.
constexpr Code codes[] = {
    {fourCC("xdv2"), 1440, 1080, 2997, r30, true, false, 15},
    {fourCC("xdv3"), 1440, 1080, 2500, r25, true, false, 12},
    {fourCC("xdv6"), 1440, 1080, 2398, r24, false, false, 12},
    {fourCC("xdv7"), 1440, 1080, 2500, r25, false, false, 12},
    {fourCC("xdv8"), 1440, 1080, 2997, r30, false, false, 15},
    {fourCC("xdv9"), 1280, 720, 5994, r60, false, false, 15},
    {fourCC("xdva"), 1280, 720, 5000, r50, false, false, 12},
    {fourCC("xdvb"), 1920, 1080, 2997, r30, true, false, 15},
    {fourCC("xdvc"), 1920, 1080, 2500, r25, true, false, 12},
    {fourCC("xdvd"), 1920, 1080, 2398, r24, false, false, 12},
    {fourCC("xdve"), 1920, 1080, 2500, r25, false, false, 12},
    {fourCC("xdvf"), 1920, 1080, 2997, r30, false, false, 15},
    {fourCC("xd59"), 1280, 720, 5994, r60, false, true, 15},
    {fourCC("xd5a"), 1280, 720, 5000, r50, false, true, 12},
    {fourCC("xd5b"), 1920, 1080, 2997, r30, true, true, 15},
    {fourCC("xd5c"), 1920, 1080, 2500, r25, true, true, 12},
    {fourCC("xd5d"), 1920, 1080, 2398, r24, false, true, 12},
    {fourCC("xd5e"), 1920, 1080, 2500, r25, false, true, 12},
    {fourCC("xd5f"), 1920, 1080, 2997, r30, false, true, 15},
};

ZQRVideoPropertiesPtr properties(FourCC code, std::uint32_t framerate) {
    auto preset = ZHLIngestCapturePreset::capturePreset();
    preset->setVideoWidth(1920);
    preset->setVideoHeight(1080);
    preset->setFramerate(framerate);
    preset->setTvNorm(framerate == 2500 || framerate == 5000 ? 2 : 3);
    preset->setCompressionComponent(ZHLCompressionComponent::componentWithCode(code));
    return ZQRVideoProperties::initWithCapturePreset(preset);
}

// One value for the whole picture, by which a decoded picture is known again.
std::uint8_t lumaOf(int n) {
    return static_cast<std::uint8_t>(40 + n * 8);
}
TestFramePtr flatFrame(int n, std::uint32_t width = 1920, std::uint32_t height = 1080) {
    auto made = frame(n, platform::pixelFormat2vuy, 16, 16);
    EXPECT_EQ(platform::PixelBuffer::create(width, height, platform::pixelFormat2vuy, made->picture), 0);
    std::uint8_t* const bytes = made->picture->mutableBaseAddress();
    for (std::size_t i = 0; i < made->picture->dataSize(); i += 2) {
        bytes[i] = 128;
        bytes[i + 1] = lumaOf(n);
    }
    return made;
}

struct Recording {
    std::shared_ptr<ZQRMCMPEG2Encoder> encoder;
    std::vector<TestFramePtr> given;
    std::vector<ZQRFramePtr> delivered;

    explicit Recording(const ZQRVideoPropertiesPtr& recorded, ZHLXDCAMPreferencesPtr preferences = nullptr) {
        encoder = ZQRMCMPEG2Encoder::initWithVideoProperties(
            recorded,
            [this](ZQRVideoEncoderProtocol&, const ZQRFramePtr& f, const auto&) { delivered.push_back(f); },
            {}, 50);
        encoder->setName("A");
        encoder->setXDCAMPreferences(std::move(preferences));
    }
    Recording(const Recording&) = delete;
    void push(const TestFramePtr& f) {
        given.push_back(f);
        ZQErrorPtr error;
        ASSERT_TRUE(encoder->encodeFrame(f, &error)) << error->description();
    }
    ZQRFrameStorePtr store(std::size_t n) const { return storeOf(*delivered.at(n), "A"); }
    std::string types() const {
        std::string letters;
        for (const auto& f : delivered) letters += "??IPB"[storeOf(*f, "A")->frameType()];
        return letters;
    }
};

struct Decoded {
    Libav<AVCodecContext> context;
    std::vector<Libav<AVFrame>> frames;
};
Decoded decode(const Recording& run) {
    Decoded result;
    result.context.reset(avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_MPEG2VIDEO)));
    EXPECT_EQ(avcodec_open2(result.context.get(), nullptr, nullptr), 0);
    for (std::size_t n = 0; n <= run.delivered.size(); ++n) {
        const Libav<AVPacket> packet(av_packet_alloc());
        if (n < run.delivered.size()) {
            const ZQData data = *run.store(n)->rawData();
            EXPECT_EQ(av_new_packet(packet.get(), static_cast<int>(data.size())), 0);
            std::copy(data.begin(), data.end(), packet->data);
        }
        EXPECT_EQ(
            avcodec_send_packet(result.context.get(), n < run.delivered.size() ? packet.get() : nullptr), 0);
        for (Libav<AVFrame> frame(av_frame_alloc());
             avcodec_receive_frame(result.context.get(), frame.get()) == 0; frame.reset(av_frame_alloc())) {
            result.frames.push_back(std::move(frame));
        }
    }
    return result;
}

/// The bits of a start code's payload: @p offset and @p count in bits.
unsigned headerBits(const ZQData& data, std::uint8_t startCode, unsigned extension, unsigned offset,
                    unsigned count) {
    for (std::size_t i = 0; i + 24 < data.size(); ++i) {
        const std::uint8_t* const p = data.data() + i;
        if (p[0] != 0 || p[1] != 0 || p[2] != 1 || p[3] != startCode) continue;
        if (startCode == 0xB5 && p[4] >> 4 != static_cast<int>(extension)) continue;
        unsigned value = 0;
        for (unsigned bit = offset; bit < offset + count; ++bit)
            value = value << 1 | (p[4 + bit / 8] >> (7 - bit % 8) & 1U);
        return value;
    }
    ADD_FAILURE() << "no start code " << int{startCode} << " extension " << extension;
    return 0;
}

TEST(MPEG2Encoder, EveryXDCAMCodeIsCodedAsItPrescribes) {
    for (const Code& code : codes) {
        SCOPED_TRACE(fourCCString(code.code));
        Recording run(properties(code.code, code.framerate));
        for (int n = 0; n < 7; ++n) run.push(flatFrame(n));
        run.encoder->finishEncoding();
        ASSERT_EQ(run.types(), "IPBBPBB");
        const Decoded decoded = decode(run);
        const AVCodecContext& c = *decoded.context;
        EXPECT_EQ(c.width, static_cast<int>(code.width));
        EXPECT_EQ(c.height, static_cast<int>(code.height));
        EXPECT_EQ(c.pix_fmt, code.is422 ? AV_PIX_FMT_YUV422P : AV_PIX_FMT_YUV420P);
        EXPECT_EQ(c.profile, code.is422 ? FF_PROFILE_MPEG2_422 : FF_PROFILE_MPEG2_MAIN);
        EXPECT_EQ(c.level, code.is422 ? 2 : 4) << "High";
        EXPECT_EQ(av_cmp_q(c.framerate, code.rate), 0) << c.framerate.num << "/" << c.framerate.den;
        EXPECT_EQ(c.color_primaries, AVCOL_PRI_BT709);
        EXPECT_EQ(c.colorspace, AVCOL_SPC_BT709);
        EXPECT_EQ(c.width * c.sample_aspect_ratio.num * 9, c.height * c.sample_aspect_ratio.den * 16)
            << "16:9";
        const ZQData first = *run.store(0)->rawData();
        EXPECT_EQ(headerBits(first, 0xB3, 0, 32, 18), code.is422 ? 125'000U : 87'500U)
            << "units of 400 bits/s";
        EXPECT_EQ(headerBits(first, 0xB5, 8, 27, 1), 1U) << "non-linear quantiser scale";
        EXPECT_EQ(headerBits(first, 0xB5, 8, 28, 1), 1U) << "table of intra coefficients";
        EXPECT_EQ(headerBits(first, 0xB5, 8, 29, 1), code.isInterlaced ? 1U : 0U) << "alternate scan";
        EXPECT_EQ(headerBits(first, 0xB5, 8, 20, 2), 2U) << "10 bits of intra DC";
        ASSERT_EQ(decoded.frames.size(), 7U);
        for (int n = 0; n < 7; ++n) {
            const AVFrame& shown = *decoded.frames[static_cast<std::size_t>(n)];
            EXPECT_EQ(shown.interlaced_frame != 0, code.isInterlaced);
            EXPECT_EQ(shown.top_field_first != 0, code.isInterlaced);
            EXPECT_NEAR(shown.data[0][shown.linesize[0] * 300 + 300], lumaOf(n), 2) << n;
        }
    }
}

TEST(MPEG2Encoder, CodedPicturesGoOntoFramesInTheirOrderAndCompanionsStayInDisplayOrder) {
    Recording run(properties(fourCC("xd5a"), 5000));
    for (int n = 0; n < 27; ++n) {
        const auto given = flatFrame(n % 20, 1280, 720);
        given->time = 1000 * n;
        given->audio = ZQData::copying(std::vector<std::uint8_t>{static_cast<std::uint8_t>(n)});
        given->timecode = ZQCKTimecode::timecodeWithFrames(n, ZQCKTimebase::timebaseForFramerate(5));
        given->captions = n % 2 == 0;
        given->packets = {ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(
            ZQData::copying(std::vector<std::uint8_t>{0x80, 0x80}), 0)};
        run.push(given);
        EXPECT_LE(run.given.size() - run.delivered.size(), 4U) << "frames are not held for long";
    }
    run.encoder->finishEncoding();
    EXPECT_EQ(run.encoder->state(), ZQRVideoEncoderStateFinished);
    // The first GOP begins with its I picture; those behind it have two B pictures in front of theirs.
    EXPECT_EQ(run.types(), "IPBBPBBPBBIBBPBBPBBPBBIBBPB");
    const int displayed[] = {0,  3,  1,  2,  6,  4,  5,  9,  7,  8,  12, 10, 11, 15,
                             13, 14, 18, 16, 17, 21, 19, 20, 24, 22, 23, 26, 25};
    ASSERT_EQ(run.delivered.size(), std::size(displayed));
    for (std::size_t n = 0; n < std::size(displayed); ++n) {
        SCOPED_TRACE(n);
        EXPECT_EQ(run.delivered[n], run.given[n]) << "the n-th coded picture is on the n-th frame";
        const auto store = run.store(n);
        EXPECT_EQ(store->type(), 0U);
        EXPECT_EQ(store->decodeTimestamp(), static_cast<std::int64_t>(n) * 1000);
        EXPECT_EQ(store->displayTimestamp(), displayed[n] * 1000);
        EXPECT_EQ(store->audioData(), run.given[n]->audio);
        EXPECT_EQ(store->timecode(), run.given[n]->timecode);
        EXPECT_EQ(store->closedCaptionData() != nullptr, n % 2 == 0);
        const bool isI = run.types()[n] == 'I';
        const ZQData data = *store->rawData();
        EXPECT_EQ(data[3] == 0xB3, isI)
            << "a sequence header stands in front of every I picture and no other";
        if (!isI) continue;
        EXPECT_EQ(headerBits(data, 0xB8, 0, 25, 1), n == 0 ? 1U : 0U) << "closed GOP";
    }
}

TEST(MPEG2Encoder, PreferencesReplaceBitRateAndDistanceOfIPictures) {
    const auto preferences = ZHLXDCAMPreferences::preferences();
    preferences->setBitrate(25'000'000);
    preferences->setGopSize(7);
    Recording run(properties(fourCC("xdva"), 5000), preferences);
    for (int n = 0; n < 16; ++n) run.push(flatFrame(n, 1280, 720));
    run.encoder->finishEncoding();
    std::vector<std::int64_t> intra;
    for (std::size_t n = 0; n < run.delivered.size(); ++n) {
        if (run.types()[n] == 'I') intra.push_back(run.store(n)->displayTimestamp() / 1000);
    }
    EXPECT_EQ(intra, (std::vector<std::int64_t>{0, 7, 14}));
    EXPECT_EQ(headerBits(*run.store(0)->rawData(), 0xB3, 0, 32, 18), 62'500U);
    const Decoded decoded = decode(run);
    ASSERT_EQ(decoded.frames.size(), 16U);
    for (std::size_t n = 0; n < 16; ++n)
        EXPECT_NEAR(decoded.frames[n]->data[0][1000], lumaOf(static_cast<int>(n)), 2) << n;
}

// The decoder's buffer as ISO/IEC 13818-2, annex C fills and empties it.
void expectConstantRate(const Recording& run, double bitRate, double framesPerSecond) {
    const ZQData first = *run.store(0)->rawData();
    const unsigned low = headerBits(first, 0xB3, 0, 51, 10), high = headerBits(first, 0xB5, 1, 32, 8);
    const double buffer = (high << 10 | low) * 16384.0;
    const double delay = headerBits(first, 0x00, 0, 13, 16) / 90'000.0;
    ASSERT_LT(delay, 0.728) << "the delay of the first picture is told, the rate is constant";
    double fullness = delay * bitRate;
    for (std::size_t n = 0; n < run.delivered.size(); ++n) {
        const ZQData data = *run.store(n)->rawData();
        EXPECT_LE(fullness, buffer + bitRate / 90'000 * 2) << "picture " << n << " comes too late";
        const double told = headerBits(data, 0x00, 0, 13, 16) / 90'000.0 * bitRate;
        EXPECT_NEAR(told, fullness, bitRate / framesPerSecond * 0.02) << "picture " << n;
        fullness -= static_cast<double>(data.size()) * 8;
        EXPECT_GE(fullness, 0) << "picture " << n << " is not there in time";
        fullness += bitRate / framesPerSecond;
    }
}

TEST(MPEG2Encoder, NoiseAndBlackKeepTheBufferAtTheConstantRate) {
    struct Case {
        FourCC code;
        std::uint32_t framerate;
        std::uint32_t width, height;
        int frames;
        double bitRate, framesPerSecond;
    };
    std::mt19937 random(7);
    for (const Case& c : {Case{fourCC("xdv3"), 2500, 1440, 1080, 50, 35e6, 25},
                          Case{fourCC("xd5a"), 5000, 1280, 720, 100, 50e6, 50}}) {
        SCOPED_TRACE(fourCCString(c.code));
        Recording run(properties(c.code, c.framerate));
        const auto flat = flatFrame(0, c.width, c.height);
        for (int n = 0; n < c.frames; ++n) {
            const auto given = flatFrame(0, c.width, c.height);
            given->time = 1000 * n;
            std::uint8_t* const bytes = given->picture->mutableBaseAddress();
            // A quarter black at the end, where only stuffing keeps the rate.
            for (std::size_t i = 0; n < c.frames * 3 / 4 && i < given->picture->dataSize(); i += 4) {
                const unsigned word = static_cast<unsigned>(random());
                for (unsigned k = 0; k < 4; ++k)
                    bytes[i + k] =
                        static_cast<std::uint8_t>(128 + static_cast<int>(word >> (8 * k) & 63U) - 32);
            }
            run.push(given);
        }
        run.encoder->finishEncoding();
        ASSERT_EQ(run.delivered.size(), static_cast<std::size_t>(c.frames));
        expectConstantRate(run, c.bitRate, c.framesPerSecond);
    }
}

TEST(MPEG2Encoder, GOPHeadersCarryTheTimecodeOfTheFirstFrame) {
    Recording run(properties(fourCC("xdv9"), 5994));
    Recording interlaced(properties(fourCC("xdvb"), 2997));
    const auto drop = ZQCKTimebase::timebaseForFramerate(3);
    const auto start =
        ZQCKTimecode::timecodeWithHours(10, 11, 0, 2, drop);  // 10:11:00;02 follows 10:10:59;29
    for (int n = 0; n < 3; ++n) {
        const auto given = flatFrame(n);
        given->timecode = start.addingFrames(n);
        interlaced.push(given);
    }
    interlaced.encoder->finishEncoding();
    const ZQData first = *interlaced.store(0)->rawData();
    EXPECT_EQ(headerBits(first, 0xB8, 0, 0, 1), 1U) << "drop frame";
    EXPECT_EQ(headerBits(first, 0xB8, 0, 1, 5), 10U);
    EXPECT_EQ(headerBits(first, 0xB8, 0, 6, 6), 11U);
    EXPECT_EQ(headerBits(first, 0xB8, 0, 13, 6), 0U);
    EXPECT_EQ(headerBits(first, 0xB8, 0, 19, 6), 2U);
    const auto given = flatFrame(0);
    given->timecode = ZQCKTimecode::timecodeWithFrames(7, ZQCKTimebase::timebaseForFramerate(6));
    run.push(given);
    run.encoder->finishEncoding();
    EXPECT_EQ(run.delivered.size(), 1U) << "labels of 60 frames do not keep the encoder from opening";
}

TEST(MPEG2Encoder, TheUserDefaultChoosesEffortAndValuesBeyondItsLevelsDoToo) {
    const std::string key(ZQRXDCAMEncoderPerformanceDefault);
    EXPECT_EQ(key, "xdcamEncoderPerformance");
    std::vector<std::vector<ZQData>> streams;
    for (const std::int64_t level : {0, 1, 2, 3}) {
        ZQUserDefaults::standardUserDefaults().setValue(key, level);
        Recording run(properties(fourCC("xdva"), 5000));
        for (int n = 0; n < 4; ++n) run.push(frame(n, platform::pixelFormat2vuy, 1280, 720));
        run.encoder->finishEncoding();
        auto& stream = streams.emplace_back();
        for (std::size_t n = 0; n < run.delivered.size(); ++n) stream.push_back(*run.store(n)->rawData());
    }
    ZQUserDefaults::standardUserDefaults().removeValue(key);
    EXPECT_NE(streams[0], streams[1]);
    EXPECT_NE(streams[1], streams[2]);
    EXPECT_EQ(streams[2], streams[3]);
}

TEST(MPEG2Encoder, WhatTheCodeForbidsIsRefusedAndTheFrameStays) {
    struct Case {
        FourCC code;
        std::uint32_t framerate;
        std::uint64_t bitRate;
        std::uint32_t gopSize;
        const char* says;
    };
    for (const Case& c : {Case{fourCC("xd5b"), 2500, 0, 0, "can't record xd5b at 25.00 frames per second"},
                          Case{fourCC("xdva"), 0, 0, 0, "can't record xdva at 0.00"},
                          Case{fourCC("xd5c"), 2500, 400'000'000, 0, "failed to setup encoder with error"},
                          Case{fourCC("xd5c"), 2500, 0, 601, "failed to setup encoder with error"}}) {
        const auto preferences = ZHLXDCAMPreferences::preferences();
        preferences->setBitrate(c.bitRate);
        preferences->setGopSize(c.gopSize);
        Recording run(properties(c.code, c.framerate), preferences);
        ZQErrorPtr error;
        EXPECT_FALSE(run.encoder->encodeFrame(flatFrame(0, 64, 64), &error));
        ASSERT_TRUE(error) << c.says;
        EXPECT_EQ(error->domain(), "ZQRVideoEncoderErrorDomain");
        EXPECT_EQ(error->code(), -53004);
        EXPECT_NE(error->localizedDescription().find(c.says), std::string::npos)
            << error->localizedDescription();
        run.encoder->finishEncoding();
        EXPECT_TRUE(run.delivered.empty());
    }
    Recording run(properties(fourCC("xd5a"), 5000));
    ZQErrorPtr error;
    EXPECT_FALSE(run.encoder->encodeFrame(std::make_shared<TestFrame>(), &error));
    EXPECT_EQ(error->code(), -53001);
    run.push(flatFrame(0, 1280, 720));
    run.encoder->finishEncoding();
    EXPECT_EQ(run.types(), "I");
    EXPECT_FALSE(run.encoder->encodeFrame(flatFrame(1, 1280, 720), &error)) << "after the end";
    EXPECT_EQ(error->code(), -53001);
}

}  // namespace
}  // namespace zenquor::test
