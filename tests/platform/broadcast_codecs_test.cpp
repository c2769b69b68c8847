// The codecs of broadcast recorders: rasters, fields and sizes as an independent decoder finds them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

extern "C" {
#include <libavcodec/bsf.h>
}

#include "codec_support.h"
#include "zenquor/core/ByteOrder.h"
#include "zenquor/core/ZLGHandle.h"

namespace zenquor::platform {
namespace {

using namespace test;

enum class Scan { Progressive, TopFirst, BottomFirst };

struct Case {
    const char* codec;
    std::uint32_t width, height;  // of the session and of its pictures
    const char* rate;
    Scan scan;
    AVCodecID id;
    int codedWidth, codedHeight;
    AVPixelFormat format;
    int profile;
    Scan found;
    std::size_t bytes;        // of every sample; 0 when they vary
    std::uint32_t aspect[2];  // of the coded pixels, where those of the session's are square
};

constexpr AVCodecID mpeg2 = AV_CODEC_ID_MPEG2VIDEO, dv = AV_CODEC_ID_DVVIDEO, h264 = AV_CODEC_ID_H264;
constexpr Scan p = Scan::Progressive, top = Scan::TopFirst, bottom = Scan::BottomFirst;
constexpr int any = FF_PROFILE_UNKNOWN, intra10 = FF_PROFILE_H264_HIGH_10_INTRA,
              intra422 = FF_PROFILE_H264_HIGH_422_INTRA;
constexpr AVPixelFormat f411 = AV_PIX_FMT_YUV411P, f420 = AV_PIX_FMT_YUV420P, f422 = AV_PIX_FMT_YUV422P,
                        f42010 = AV_PIX_FMT_YUV420P10, f42210 = AV_PIX_FMT_YUV422P10;
constexpr const char *r25 = "25", *r2997 = "30000/1001", *r50 = "50", *r5994 = "60000/1001",
                     *r2398 = "24000/1001";

// Sizes: SMPTE ST 356 and 386, ST 314 and 370, RP 2027.
const Case cases[] = {
    {"mx3n", 720, 486, r2997, bottom, mpeg2, 720, 512, f422, 0, bottom, 20 + 125125, {}},
    {"mx4n", 720, 480, r2997, bottom, mpeg2, 720, 512, f422, 0, bottom, 20 + 166832, {}},
    {"mx5n", 720, 486, r2997, bottom, mpeg2, 720, 512, f422, 0, bottom, 20 + 208540, {}},
    {"mx3p", 720, 576, r25, top, mpeg2, 720, 608, f422, 0, top, 20 + 150000, {}},
    {"mx4p", 720, 576, r25, p, mpeg2, 720, 608, f422, 0, top, 20 + 200000, {}},
    {"mx5p", 720, 576, r25, top, mpeg2, 720, 608, f422, 0, top, 20 + 250000, {}},
    {"dvc ", 720, 486, r2997, bottom, dv, 720, 480, f411, any, bottom, 120000, {}},
    {"dvcp", 720, 576, r25, top, dv, 720, 576, f420, any, bottom, 144000, {}},
    {"dvpp", 720, 576, r25, top, dv, 720, 576, f411, any, bottom, 144000, {}},
    {"dv5n", 720, 480, r2997, bottom, dv, 720, 480, f422, any, bottom, 240000, {}},
    {"dv5p", 720, 576, r25, top, dv, 720, 576, f422, any, bottom, 288000, {}},
    {"dvh5", 1920, 1080, r25, top, dv, 1440, 1080, f422, any, top, 576000, {4, 3}},
    {"dvh6", 1920, 1080, r2997, top, dv, 1280, 1080, f422, any, top, 480000, {3, 2}},
    {"dvhq", 1280, 720, r50, p, dv, 960, 720, f422, any, p, 288000, {4, 3}},
    {"dvhp", 1280, 720, r5994, p, dv, 960, 720, f422, any, p, 240000, {4, 3}},
    {"ai15", 1920, 1080, r25, top, h264, 1920, 1080, f42210, intra422, top, 568832, {1, 1}},
    {"ai16", 1920, 1080, r2997, top, h264, 1920, 1080, f42210, intra422, top, 472576, {1, 1}},
    {"ai13", 1920, 1080, r2398, p, h264, 1920, 1080, f42210, intra422, p, 472576, {1, 1}},
    {"ai1q", 1280, 720, r50, p, h264, 1280, 720, f42210, intra422, p, 284672, {1, 1}},
    {"ai1p", 1280, 720, r5994, p, h264, 1280, 720, f42210, intra422, p, 236544, {1, 1}},
    {"ai55", 1920, 1080, r25, top, h264, 1440, 1080, f42010, intra10, top, 281088, {4, 3}},
    {"ai53", 1920, 1080, r2997, p, h264, 1440, 1080, f42010, intra10, p, 232960, {4, 3}},
    {"ai5q", 1280, 720, r50, p, h264, 960, 720, f42010, intra10, p, 140800, {4, 3}},
    {"ai7p", 1280, 720, r5994, p, h264, 960, 720, f42010, intra10, p, 116736, {4, 3}},
    {"xv07", 1920, 1080, r2997, top, h264, 1440, 1080, f42010, intra10, top, 232960, {4, 3}},
    {"xv14", 1920, 1080, r50, p, h264, 1920, 1080, f42210, intra422, p, 568832, {1, 1}},
    {"xv21", 1920, 1080, r25, top, h264, 1920, 1080, f42210, intra422, top, 1144320, {1, 1}},
    {"xv27", 3840, 2160, r50, p, h264, 3840, 2160, f42210, intra422, p, 1260032, {1, 1}},
    {"xa02", 3840, 2160, r5994, p, h264, 3840, 2160, f42210, intra422, p, 2009600, {1, 1}},
    {"xalg", 1920, 1080, r25, top, h264, 1920, 1080, f42210, FF_PROFILE_H264_HIGH_422, top, 0, {1, 1}},
    {"jpeg", 1280, 720, r25, p, AV_CODEC_ID_MJPEG, 1280, 720, AV_PIX_FMT_YUVJ422P, 0xC0, p, 0, {1, 1}},
};

/// Sets what a host knows of its pictures.
void describePictures(Session& s, const char* rate, Scan scan) {
    ASSERT_EQ(s.session->setProperty(Property::ExpectedFrameRate, std::string(rate)), noErr);
    ASSERT_EQ(s.session->setProperty(Property::FieldCount, std::int64_t{scan == p ? 1 : 2}), noErr);
    ASSERT_EQ(
        s.session->setProperty(Property::FieldDetail, scan == bottom ? FieldDetail::SpatialFirstLineLate
                                                                     : FieldDetail::SpatialFirstLineEarly),
        noErr);
}

Scan scanOf(const Decoded& decoded) {
    return !decoded.first.interlaced_frame ? p : decoded.first.top_field_first ? top : bottom;
}

TEST(BroadcastCodecs, ComeBackWithTheirRasterProfileFieldsAndSizes) {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.codec);
        Session s(fourCCFromString(c.codec), c.width, c.height);
        ASSERT_EQ(s.status, noErr);
        describePictures(s, c.rate, c.scan);
        s.encode(c.codedHeight > 1080 ? 1 : 2, pixelFormat2vuy, c.width, c.height);
        ASSERT_TRUE(s.coded.failures.empty());
        for (const SampleBufferPtr& sample : s.coded.samples) {
            EXPECT_TRUE(c.bytes == 0 || sample->dataBuffer()->data().size() == c.bytes);
            EXPECT_EQ(sample->attachments().any(), std::string_view(c.codec) == "xalg") << "stands alone";
        }
        const Decoded decoded = decode(c.id, s.coded);
        EXPECT_EQ(decoded.pictures(), s.coded.samples.size());
        EXPECT_EQ(decoded.first.width, c.codedWidth);
        EXPECT_EQ(decoded.first.height, c.codedHeight);
        EXPECT_EQ(decoded.first.format, c.format);
        EXPECT_TRUE(c.profile == any || decoded.profile == c.profile) << decoded.profile;
        EXPECT_EQ(scanOf(decoded), c.found);
        EXPECT_EQ(s.format().fieldCount, c.scan == p ? 1U : 2U);
        if (c.aspect[0] == 0) continue;
        EXPECT_EQ(s.format().pixelAspectRatio, (PixelAspectRatio{c.aspect[0], c.aspect[1]}));
    }
}

// Each row has a luma of its own kind: the field and the part of the picture tell where it came from.
constexpr int markedRow = 100;
std::uint8_t lumaOfRow(int row) {
    const bool isLower = row >= markedRow;
    return row % 2 == 0 ? (isLower ? 120 : 200) : (isLower ? 150 : 50);
}

PixelBufferPtr rowPicture(std::uint32_t width, std::uint32_t height) {
    PixelBufferPtr picture;
    EXPECT_EQ(PixelBuffer::create(width, height, pixelFormat2vuy, picture), noErr);
    for (std::uint32_t y = 0; y < height; ++y) {
        std::uint8_t* const row = picture->mutableRow(y);
        for (std::uint32_t x = 0; x < width; ++x) {
            row[2 * x] = 128;
            row[2 * x + 1] = lumaOfRow(static_cast<int>(y));
        }
    }
    return picture;
}

TEST(BroadcastCodecs, HaveEveryRowWhereTheFormatHasIt) {
    struct Place {
        const char* codec;
        std::uint32_t height;
        const char* rate;
        Scan scan;
        AVCodecID id;
        int firstRow;  // of the decoded picture, for the first row of the given one
    };
    for (const Place& c :
         {Place{"mx5p", 576, r25, top, mpeg2, 32}, Place{"mx5n", 486, r2997, bottom, mpeg2, 26},
          Place{"mx5n", 480, r2997, bottom, mpeg2, 30}, Place{"dv5n", 486, r2997, bottom, dv, -4},
          Place{"dv5n", 480, r2997, bottom, dv, 0}, Place{"dv5p", 576, r25, top, dv, 1},
          Place{"dv5p", 576, r25, bottom, dv, 0}, Place{"dvcp", 576, r25, top, dv, 1},
          Place{"dv5p", 576, r25, p, dv, 0}}) {
        SCOPED_TRACE(::testing::Message() << c.codec << ' ' << c.height);
        Session s(fourCCFromString(c.codec), 720, c.height);
        describePictures(s, c.rate, c.scan);
        ASSERT_EQ(
            s.session->encodeFrame(rowPicture(720, c.height), {0, 25}, {1, 25}, std::make_shared<int>(0)),
            noErr);
        ASSERT_EQ(s.session->completeFrames(), noErr);
        const Decoded decoded = decode(c.id, s.coded);
        const auto height = static_cast<int>(c.height);
        for (int y = 0; y < static_cast<int>(decoded.rowLuma.size()); ++y) {
            int row = y - c.firstRow;
            if (c.id == dv && row < 0) row += 2;  // the nearest row of the field
            const int expected = row < 0 || row >= height ? 16 : lumaOfRow(row);
            const int tolerance = std::abs(row - markedRow) < 16 || row < 16 || row > height - 16 ? 60 : 14;
            EXPECT_NEAR(decoded.rowLuma[static_cast<std::size_t>(y)], expected, tolerance) << "row " << y;
        }
    }
}

// Also through the scaler, and also for two bits that 8-bit pictures do not have.
TEST(BroadcastCodecs, KeepTenBitsWhereTheyHaveThem) {
    constexpr int luma = 401, chroma = 514;
    PixelBufferPtr picture;
    ASSERT_EQ(PixelBuffer::create(1920, 1080, pixelFormatV210, picture), noErr);
    for (std::uint32_t y = 0; y < 1080; ++y) {
        for (std::uint32_t word = 0; word < 1280; ++word) {
            const std::uint32_t samples[2] = {chroma | luma << 10 | chroma << 20,
                                              luma | chroma << 10 | luma << 20};
            std::memcpy(picture->mutableRow(y) + std::size_t{4} * word, &samples[word % 2], 4);
        }
    }
    for (const char* codec : {"ai15", "ai55", "xv21", "xalg"}) {
        SCOPED_TRACE(codec);
        Session s(fourCCFromString(codec), 1920, 1080);
        describePictures(s, r25, top);
        ASSERT_EQ(s.session->encodeFrame(picture, {0, 25}, {1, 25}, std::make_shared<int>(0)), noErr);
        ASSERT_EQ(s.session->completeFrames(), noErr);
        for (const int found : decode(h264, s.coded).rowLuma) ASSERT_EQ(found, luma);
    }
}

TEST(BroadcastCodecs, TellWidePicturesOfStandardDefinitionFromOthersInTheStream) {
    struct Aspect {
        const char* codec;
        std::uint32_t height;
        const char* rate;
        AVCodecID id;
        PixelAspectRatio narrow, wide;
    };
    for (const Aspect& c : {Aspect{"mx5p", 576, r25, mpeg2, {59, 54}, {118, 81}},
                            Aspect{"mx5n", 486, r2997, mpeg2, {10, 11}, {40, 33}},
                            Aspect{"dvcp", 576, r25, dv, {59, 54}, {118, 81}},
                            Aspect{"dv5n", 486, r2997, dv, {10, 11}, {40, 33}}}) {
        for (const bool isWide : {false, true}) {
            SCOPED_TRACE(::testing::Message() << c.codec << (isWide ? " 16:9" : " 4:3"));
            Session s(fourCCFromString(c.codec), 720, c.height);
            describePictures(s, c.rate, top);
            ASSERT_EQ(s.session->setProperty(Property::PixelAspectRatio, isWide ? c.wide : c.narrow), noErr);
            ASSERT_EQ(s.session->setProperty(Property::CleanAperture, CleanAperture{704, 486, 0, 0}), noErr);
            s.encode(1, pixelFormat2vuy, 720, c.height);
            const Decoded decoded = decode(c.id, s.coded);
            const double aspect = av_q2d(decoded.first.sample_aspect_ratio) * 720 / decoded.first.height;
            EXPECT_NEAR(aspect, isWide ? 16.0 / 9 : 4.0 / 3, 0.05);
            EXPECT_EQ(s.format().pixelAspectRatio, isWide ? c.wide : c.narrow);
            EXPECT_LE(s.format().cleanAperture->height, s.format().height);
        }
    }
}

TEST(BroadcastCodecs, LongGroupsAreByteStreamsWithoutReordering) {
    Session s(fourCC("xv00"), 1280, 720);
    describePictures(s, r25, p);
    ASSERT_EQ(s.session->setProperty(Property::MaxKeyFrameInterval, std::int64_t{4}), noErr);
    EXPECT_EQ(s.session->setProperty(Property::AllowFrameReordering, true), propertyNotSupportedErr);
    s.encode(9, pixelFormatV210, 1280, 720);
    ASSERT_EQ(s.coded.samples.size(), 9U);
    for (std::size_t n = 0; n < s.coded.samples.size(); ++n) {
        const SampleAttachments& a = s.coded.samples[n]->attachments();
        EXPECT_EQ(s.coded.references[n], static_cast<int>(n));
        EXPECT_EQ(a.notSync.value_or(false), n % 4 != 0);
        EXPECT_FALSE(a.earlierDisplayTimesAllowed);
        const auto bytes = s.coded.samples[n]->dataBuffer()->data().span();
        EXPECT_EQ(readBE32(bytes.data()), 1U) << "start code";
        EXPECT_EQ(bytes[4] & 31, 9) << "access unit delimiter";
    }
    EXPECT_TRUE(s.format().configuration.empty());
    EXPECT_EQ(decode(h264, s.coded).pictures(), 9U);
}

TEST(BroadcastCodecs, D10FramesCarryTheHeaderOfLibavcodecsFilter) {
    Session s(fourCC("mx4p"), 720, 576);
    describePictures(s, r25, top);
    s.encode(2, pixelFormatV210, 720, 576);
    constexpr std::size_t header = 20;
    for (const SampleBufferPtr& sample : s.coded.samples) {
        const auto bytes = sample->dataBuffer()->data().span();
        AVBSFContext* filter = nullptr;
        ASSERT_EQ(av_bsf_alloc(av_bsf_get_by_name("imxdump"), &filter), 0);
        filter->par_in->codec_id = mpeg2;
        ASSERT_EQ(av_bsf_init(filter), 0);
        const Libav<AVPacket> packet(av_packet_alloc());
        ASSERT_EQ(av_new_packet(packet.get(), static_cast<int>(bytes.size() - header)), 0);
        std::copy(bytes.begin() + header, bytes.end(), packet->data);
        ASSERT_EQ(av_bsf_send_packet(filter, packet.get()), 0);
        ASSERT_EQ(av_bsf_receive_packet(filter, packet.get()), 0);
        EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), packet->data, packet->data + packet->size));
        av_bsf_free(&filter);
        EXPECT_EQ(readBE32(bytes.data() + header), 0x1B3U) << "sequence header first";
    }
}

// Noise makes the encoder search for a quantiser that fits; black leaves most of the frame to stuffing.
TEST(BroadcastCodecs, D10FramesKeepTheirSizeWhateverTheyShow) {
    unsigned state = 1;
    for (const char* codec : {"mx3n", "mx4n", "mx5n"}) {
        Session s(fourCCFromString(codec), 720, 486);
        describePictures(s, r2997, bottom);
        for (int n = 0; n < 8; ++n) {
            PixelBufferPtr picture;
            ASSERT_EQ(PixelBuffer::create(720, 486, pixelFormat2vuy, picture), noErr);
            for (std::size_t i = 0; i < picture->dataSize(); ++i) {
                state = state * 1664525 + 1013904223;
                const auto black = static_cast<std::uint8_t>(i % 2 == 0 ? 128 : 16);
                picture->mutableBaseAddress()[i] =
                    n % 3 == 0 ? black : static_cast<std::uint8_t>(state >> 24);
            }
            ASSERT_EQ(s.session->encodeFrame(picture, {n, 30}, {1, 30}, std::make_shared<int>(n)), noErr);
        }
        ASSERT_EQ(s.session->completeFrames(), noErr);
        ASSERT_EQ(s.coded.samples.size(), 8U);
        for (const SampleBufferPtr& sample : s.coded.samples)
            EXPECT_EQ(sample->dataBuffer()->data().size(), s.coded.samples[0]->dataBuffer()->data().size());
        EXPECT_EQ(decode(mpeg2, s.coded).pictures(), 8U);
    }
}

TEST(BroadcastCodecs, RefuseInOneSentenceWhatTheyDoNotHave) {
    struct Refusal {
        const char* codec;
        std::uint32_t width, height;
        const char* rate;
        const char* reason;
    };
    for (const Refusal& c :
         {Refusal{"ai12", 1920, 1080, "24", "FPS 24/1p not compatible with AVC-Intra 100"},
          Refusal{"xv14", 3840, 2160, r25, "Resolution 3840x2160 invalid for AVC-Intra 100"},
          Refusal{"xa02", 1920, 1080, r25, "Resolution 1920x1080 invalid for AVC-Intra 480"},
          Refusal{"mx5p", 720, 486, r2997, "25 frames per second, not 30000/1001"},
          Refusal{"dvhp", 1280, 720, r50, "60000/1001 frames per second, not 50"}}) {
        SCOPED_TRACE(c.codec);
        std::vector<std::string> errors;
        const auto before = ZLGGetHandle().setSink([&](ZLGLevel level, std::string_view text) {
            if (level == ZLGLevel::Error) errors.emplace_back(text);
        });
        Session s(fourCCFromString(c.codec), c.width, c.height);
        describePictures(s, c.rate, p);
        const PixelBufferPtr picture = movingPicture(c.width, c.height, pixelFormat2vuy, 0);
        EXPECT_NE(s.session->prepareToEncodeFrames(picture, {1, 25}), noErr);
        ZLGGetHandle().setSink(before);
        ASSERT_EQ(errors.size(), 1U);
        EXPECT_NE(errors[0].find(c.reason), std::string::npos) << errors[0];
    }
}

}  // namespace
}  // namespace zenquor::platform
