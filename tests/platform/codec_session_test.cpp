// Compression sessions: what comes out is decoded again by libavcodec, whose parsers are strict about the
// records.
#include <gtest/gtest.h>

#include <set>

#include "codec_support.h"
#include "zenquor/core/ByteOrder.h"
#include "zenquor/platform/VideoEncoderList.h"

namespace zenquor::platform {
namespace {

using namespace test;

// Times and attachments that hold for every stream: decode times are the submitted times in order,
// presentation times the same set, and only closed-GOP rules are used.
void expectSoundTiming(const Coded& coded, int count) {
    ASSERT_EQ(coded.samples.size(), static_cast<std::size_t>(count));
    EXPECT_TRUE(coded.failures.empty());
    std::set<std::int64_t> presented;
    for (int n = 0; n < count; ++n) {
        const SampleBuffer& sample = *coded.samples[static_cast<std::size_t>(n)];
        EXPECT_EQ(sample.decodeTimeStamp().value, Session::timeOf(n));
        EXPECT_EQ(sample.decodeTimeStamp().timescale, 30000);
        EXPECT_EQ(sample.sampleDuration(), (MediaTime{1001, 30000}));
        EXPECT_EQ(sample.presentationTimeStamp().value,
                  Session::timeOf(coded.references[static_cast<std::size_t>(n)]));
        presented.insert(sample.presentationTimeStamp().value);
    }
    EXPECT_EQ(presented.size(), coded.samples.size());
}

int longestGroup(const Coded& coded) {
    int longest = 0, length = 0;
    for (const SampleBufferPtr& sample : coded.samples) {
        length = sample->attachments().notSync ? length + 1 : 1;
        longest = std::max(longest, length);
    }
    return longest;
}

// Lengths cover the sample exactly and no parameter set or delimiter is inside.
void expectLengthPrefixed(const Coded& coded, FourCC codec) {
    for (const SampleBufferPtr& sample : coded.samples) {
        const auto bytes = sample->dataBuffer()->data().span();
        std::size_t position = 0;
        while (position + 4 < bytes.size()) {
            const std::uint8_t header = bytes[position + 4];
            const int type = codec == hvc1 ? header >> 1 & 63 : header & 31;
            EXPECT_FALSE(codec == hvc1 ? type >= 32 && type <= 35 : type >= 7 && type <= 9) << type;
            position += 4 + readBE32(bytes.data() + position);
        }
        EXPECT_EQ(position, bytes.size());
    }
}

TEST(CompressionSession, H264WithReorderingDecodesFromItsRecordAndNamesItsReferences) {
    Session s(avc1);
    ASSERT_EQ(s.status, noErr);
    EXPECT_EQ(s.session->encoderName(), "libx264");
    ASSERT_EQ(s.session->setProperty(Property::ProfileLevel, std::string("H264_High_AutoLevel")), noErr);
    ASSERT_EQ(s.session->setProperty(Property::Speed, std::string("veryfast")), noErr);
    ASSERT_EQ(s.session->setProperty(Property::MaxKeyFrameInterval, std::int64_t{12}), noErr);
    s.encode(40, pixelFormat2vuy);
    expectSoundTiming(s.coded, 40);
    expectLengthPrefixed(s.coded, avc1);
    const ZQData record = s.format().configuration;
    ASSERT_GT(record.size(), 12U);
    EXPECT_EQ(record[0], 1);
    EXPECT_EQ(record[1], 100);
    EXPECT_EQ(record[4], 0xFF);
    EXPECT_EQ(record[record.size() - 4], 0xFD) << "4:2:0";
    EXPECT_EQ(record[record.size() - 3], 0xF8) << "8 bit";
    const Decoded decoded = decode(AV_CODEC_ID_H264, s.coded);
    EXPECT_EQ(decoded.times.size(), 40U);
    EXPECT_TRUE(std::is_sorted(decoded.times.begin(), decoded.times.end()));
    int disposable = 0;
    for (std::size_t n = 0; n < s.coded.samples.size(); ++n) {
        const SampleAttachments& a = s.coded.samples[n]->attachments();
        const bool isKey = n == 0 || n == 12 || n == 24 || n == 36;
        EXPECT_EQ(!a.notSync.value_or(false), isKey) << n;
        EXPECT_FALSE(a.partialSync.value_or(false));
        EXPECT_EQ(a.earlierDisplayTimesAllowed.value_or(false), !isKey && *a.isDependedOnByOthers);
        disposable += !a.isDependedOnByOthers.value_or(true);
    }
    EXPECT_GT(disposable, 5);
}

TEST(CompressionSession, H264WithoutReorderingKeepsTheOrderAndAllowsNoEarlierDisplay) {
    Session s(avc1);
    ASSERT_EQ(s.session->setProperty(Property::AllowFrameReordering, false), noErr);
    ASSERT_EQ(s.session->setProperty(Property::ProfileLevel, std::string("H264_Main_3_1")), noErr);
    ASSERT_EQ(s.session->setProperty(Property::H264EntropyMode, std::string("CAVLC")), noErr);
    ASSERT_EQ(s.session->setProperty(Property::AverageBitRate, std::int64_t{500000}), noErr);
    s.encode(31, pixelFormatV210);
    expectSoundTiming(s.coded, 31);
    for (std::size_t n = 0; n < s.coded.samples.size(); ++n) {
        EXPECT_EQ(s.coded.references[n], static_cast<int>(n));
        EXPECT_FALSE(s.coded.samples[n]->attachments().earlierDisplayTimesAllowed);
    }
    EXPECT_LE(longestGroup(s.coded), 30) << "one second of 29.97";
    EXPECT_GT(longestGroup(s.coded), 1);
    EXPECT_EQ(s.format().configuration[1], 77);
    EXPECT_EQ(s.format().configuration[3], 31);
    EXPECT_EQ(decode(AV_CODEC_ID_H264, s.coded).times.size(), 31U);
}

TEST(CompressionSession, InterlacedPicturesAreCodedAsFieldsInTheirOrder) {
    struct Case {
        FourCC codec;
        AVCodecID id;
    };
    for (const auto& [codec, id] : {Case{avc1, AV_CODEC_ID_H264}, Case{fourCC("apcn"), AV_CODEC_ID_PRORES}}) {
        for (const auto detail : {FieldDetail::SpatialFirstLineEarly, FieldDetail::SpatialFirstLineLate}) {
            Session s(codec);
            ASSERT_EQ(s.session->setProperty(Property::FieldCount, std::int64_t{2}), noErr);
            ASSERT_EQ(s.session->setProperty(Property::FieldDetail, detail), noErr);
            ASSERT_EQ(s.session->setProperty(Property::ColorPrimaries, ColorPrimaries::SMPTE_C), noErr);
            s.encode(4, pixelFormat2vuy);
            EXPECT_EQ(s.format().fieldCount, 2U);
            const Decoded decoded = decode(id, s.coded);
            EXPECT_EQ(decoded.times.size(), 4U);
            EXPECT_TRUE(decoded.first.interlaced_frame);
            EXPECT_EQ(decoded.first.top_field_first, detail == FieldDetail::SpatialFirstLineEarly);
            EXPECT_EQ(decoded.first.color_primaries, AVCOL_PRI_SMPTE170M);
        }
    }
}

TEST(CompressionSession, HEVCDecodesFromItsRecordAndClosesItsGroups) {
    Session s(hvc1);
    ASSERT_EQ(s.status, noErr);
    ASSERT_EQ(s.session->setProperty(Property::ProfileLevel, std::string("HEVC_Main_4_1")), noErr);
    ASSERT_EQ(s.session->setProperty(Property::AverageBitRate, std::int64_t{1000000}), noErr);
    s.encode(32, pixelFormat32BGRA);
    expectSoundTiming(s.coded, 32);
    expectLengthPrefixed(s.coded, hvc1);
    const ZQData record = s.format().configuration;
    ASSERT_GT(record.size(), 23U);
    EXPECT_EQ(record[1] & 31, 1) << "Main";
    EXPECT_EQ(record[12], 123) << "level 4.1, in thirtieths";
    EXPECT_EQ(record[21] & 3, 3) << "4-byte lengths";
    EXPECT_EQ(record[22], 3) << "video, sequence and picture sets";
    EXPECT_EQ(decode(AV_CODEC_ID_HEVC, s.coded).times.size(), 32U);
    int disposable = 0;
    for (std::size_t n = 0; n < s.coded.samples.size(); ++n) {
        const SampleAttachments& a = s.coded.samples[n]->attachments();
        EXPECT_EQ(a.notSync.value_or(false), n != 0 && n != 30) << n;
        disposable += !a.isDependedOnByOthers.value_or(true);
    }
    EXPECT_GT(disposable, 5);
}

TEST(CompressionSession, ProResCodesStandAloneAndDecode) {
    for (const FourCC codec :
         {fourCC("apco"), fourCC("apcs"), fourCC("apcn"), fourCC("apch"), fourCC("ap4h")}) {
        SCOPED_TRACE(fourCCString(codec));
        const bool hasAlpha = codec == fourCC("ap4h");
        Session s(codec, 96, 50);
        ASSERT_EQ(s.status, noErr);
        EXPECT_EQ(s.session->setProperty(Property::AverageBitRate, std::int64_t{1000}),
                  propertyNotSupportedErr);
        s.encode(5, hasAlpha ? pixelFormat32ARGB : pixelFormatV210, 96, 50);
        expectSoundTiming(s.coded, 5);
        EXPECT_EQ(s.format().vendor, fourCC("appl"));
        EXPECT_EQ(s.format().depth, hasAlpha ? 32U : 24U);
        for (const SampleBufferPtr& sample : s.coded.samples) {
            const auto bytes = sample->dataBuffer()->data().span();
            EXPECT_EQ(readBE32(bytes.data()), bytes.size());
            EXPECT_EQ(readBE32(bytes.data() + 4), fourCC("icpf"));
            EXPECT_FALSE(sample->attachments().any());
        }
        const Decoded decoded = decode(AV_CODEC_ID_PRORES, s.coded);
        EXPECT_EQ(decoded.times.size(), 5U);
        EXPECT_EQ(av_pix_fmt_count_planes(static_cast<AVPixelFormat>(decoded.first.format)),
                  hasAlpha ? 4 : 3);
    }
}

TEST(CompressionSession, TakesOtherSizesOddOnesToo) {
    struct Case {
        std::uint32_t coded, codedHeight, given, givenHeight, outWidth, outHeight;
    };
    for (const Case& c : {Case{240, 120, 320, 120, 240, 120}, Case{351, 243, 351, 243, 352, 244}}) {
        Session s(avc1, c.coded, c.codedHeight);
        s.encode(3, pixelFormatV210, c.given, c.givenHeight);
        const Decoded decoded = decode(AV_CODEC_ID_H264, s.coded);
        EXPECT_EQ(decoded.times.size(), 3U);
        EXPECT_EQ(decoded.first.width, static_cast<int>(c.outWidth));
        EXPECT_EQ(s.format().height, c.outHeight);
    }
}

TEST(CompressionSession, RefusesWhatItCannotDo) {
    CompressionSessionPtr none;
    const auto ignore = [](const auto&, Status, const auto&) {};
    EXPECT_EQ(CompressionSession::create(320, 240, fourCC("none"), {}, ignore, none), encoderNotFoundErr);
    EXPECT_EQ(CompressionSession::create(320, 240, fourCC("apch"), {true, true}, ignore, none),
              encoderNotFoundErr);
    EXPECT_EQ(CompressionSession::create(0, 240, avc1, {}, ignore, none), parameterErr);
    Session s(avc1);
    struct Case {
        Property property;
        CompressionPropertyValue value;
    };
    for (const auto& [property, value] :
         {Case{Property::ProfileLevel, std::string("H264_Huge_AutoLevel")},
          Case{Property::ProfileLevel, true},
          Case{Property::ProfileLevel, std::string("HEVC_Main_AutoLevel")},
          Case{Property::AverageBitRate, std::int64_t{-1}},
          Case{Property::MaxKeyFrameInterval, std::int64_t{-1}}, Case{Property::FieldCount, std::int64_t{3}},
          Case{Property::ExpectedFrameRate, std::string("25/0")},
          Case{Property::H264EntropyMode, std::string("VLC")}, Case{Property::Speed, std::string("warp")}}) {
        EXPECT_EQ(s.session->setProperty(property, value), parameterErr)
            << nameOfCompressionProperty(property);
    }
    s.encode(2, pixelFormat2vuy);
    EXPECT_EQ(s.session->setProperty(Property::FieldCount, std::int64_t{1}), sessionInvalidErr);
    EXPECT_EQ(s.session->encodeFrame(movingPicture(320, 240, pixelFormat2vuy, 0), {0, 25}, {1, 25}, nullptr),
              sessionInvalidErr);
}

TEST(CompressionSession, NoCallbackComesAfterInvalidate) {
    Session s(avc1);
    ASSERT_EQ(s.session->encodeFrame(movingPicture(320, 240, pixelFormat2vuy, 0), {0, 25}, {1, 25},
                                     std::make_shared<int>(0)),
              noErr);
    const std::size_t before = s.coded.samples.size();
    s.session->invalidate();
    EXPECT_EQ(s.session->completeFrames(), sessionInvalidErr);
    EXPECT_EQ(s.coded.samples.size() + s.coded.failures.size(), before);
}

TEST(VideoEncoderList, HoldsWhatSessionsOpenSoftwareFirst) {
    std::vector<VideoEncoderInfo> list;
    ASSERT_EQ(copyVideoEncoderList(list), noErr);
    std::set<FourCC> seen;
    for (const VideoEncoderInfo& info : list) {
        CompressionSessionPtr session;
        EXPECT_EQ(CompressionSession::create(
                      640, 480, info.codecType, {info.isHardwareAccelerated, true},
                      [](const auto&, Status, const auto&) {}, session),
                  noErr);
        EXPECT_EQ(seen.insert(info.codecType).second,
                  !info.isHardwareAccelerated || !seen.contains(info.codecType));
    }
    for (const FourCC codec : {avc1, hvc1, fourCC("apch"), fourCC("ap4h")}) EXPECT_TRUE(seen.contains(codec));
}

}  // namespace
}  // namespace zenquor::platform
