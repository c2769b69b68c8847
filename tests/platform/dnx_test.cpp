// The DNxHD engine: what it codes is decoded by libavcodec, what it cannot code it says.
#include "zenquor/platform/DNX.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "zenquor/platform/PixelBuffer.h"
#include "zenquor/platform/detail/Libav.h"

namespace zenquor::platform {
namespace {

using detail::Libav;
using Bytes = std::vector<std::uint8_t>;

class DNX : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(DNX_Initialize(), DNX_NoError); }
    void TearDown() override { EXPECT_EQ(DNX_Finalize(), DNX_NoError); }
};

DNX_EncodeParameters parametersFor(std::uint32_t id, std::uint32_t width, std::uint32_t height,
                                   bool isInterlaced, bool is10Bit = false) {
    DNX_EncodeParameters p;
    p.structureSize = 64;
    p.width = width;
    p.height = height;
    p.compressionID = id;
    p.colorFormat = id == 1256 || id == 1270 ? DNX_ColorFormatRGB : DNX_ColorFormatYCbCr;
    if (id >= 1270) {
        p.chromaSampling = 2;
        p.colorVolume = 1;
        p.bitDepth = is10Bit ? 10 : 8;
        p.pixelAspectWidth = p.pixelAspectHeight = 1;
    }
    p.quality = 50;
    p.inputDepth = is10Bit ? 1024 : 1;
    p.inputComponentOrder = p.inputRowOrder = 1;
    p.outputUnit = 2;
    p.scanType = isInterlaced ? 1 : 64;
    p.firstField = 1;
    p.legalRangeLow = 16;
    p.legalRangeHigh = 235;
    p.workUnitBytes = 28672;
    p.workUnitRows = 12;
    p.threadCount = 2;
    return p;
}

struct Deleter {
    void operator()(DNX_Encoder* encoder) const { DNX_DeleteEncoder(encoder); }
};
using Encoder = std::unique_ptr<DNX_Encoder, Deleter>;

Status open(const DNX_EncodeParameters& parameters, Encoder& out) {
    DNX_EncoderHandle handle = nullptr;
    const Status status = DNX_CreateEncoder(parameters, &handle);
    out.reset(handle);
    return status;
}

FourCC sourceFormat(const DNX_EncodeParameters& p) {
    if (p.colorFormat == DNX_ColorFormatRGB) return pixelFormat32ARGB;
    return p.inputDepth == 1 ? pixelFormat2vuy : pixelFormatV210;
}

// Luma, or green, as a ramp down the picture; chroma neutral.
std::uint8_t lumaOfLine(std::uint32_t y, std::uint32_t height) {
    return static_cast<std::uint8_t>(32 + y * 160 / height);
}
Bytes ramp(const DNX_EncodeParameters& p) {
    const FourCC format = sourceFormat(p);
    const std::size_t rowBytes = rowBytesForPixelFormat(format, p.width);
    Bytes picture(rowBytes * p.height);
    for (std::uint32_t y = 0; y < p.height; ++y) {
        const std::uint32_t luma = lumaOfLine(y, p.height);
        for (std::size_t x = 0; x < rowBytes; ++x) {
            std::uint8_t& byte = picture[y * rowBytes + x];
            if (format == pixelFormatV210) {
                // Words of Cb Y Cr and Y Cb Y in turn, the middle of the range for chroma.
                const std::uint32_t l = luma << 2, c = 512;
                const std::uint32_t word = x / 4 % 2 == 0 ? c | l << 10 | c << 20 : l | c << 10 | l << 20;
                byte = static_cast<std::uint8_t>(word >> (8 * (x % 4)));
            } else if (format == pixelFormat2vuy) {
                byte = x % 2 == 0 ? 128 : static_cast<std::uint8_t>(luma);
            } else {
                byte = static_cast<std::uint8_t>(x % 4 == 2 ? luma : x % 4 == 1 ? 200 : 60);
            }
        }
    }
    return picture;
}

struct Decoded {
    Libav<AVFrame> frame;
    Libav<AVCodecContext> context;
};
Decoded decode(const Bytes& coded) {
    Decoded result;
    result.context.reset(avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_DNXHD)));
    EXPECT_EQ(avcodec_open2(result.context.get(), nullptr, nullptr), 0);
    const Libav<AVPacket> packet(av_packet_alloc());
    EXPECT_EQ(av_new_packet(packet.get(), static_cast<int>(coded.size())), 0);
    std::copy(coded.begin(), coded.end(), packet->data);
    result.frame.reset(av_frame_alloc());
    EXPECT_EQ(avcodec_send_packet(result.context.get(), packet.get()), 0);
    EXPECT_EQ(avcodec_send_packet(result.context.get(), nullptr), 0);
    EXPECT_EQ(avcodec_receive_frame(result.context.get(), result.frame.get()), 0);
    return result;
}

Bytes encodeOne(DNX_Encoder& encoder, const Bytes& source, Status& status) {
    std::uint32_t size = 0;
    EXPECT_EQ(DNX_GetCompressedBufferSize(&encoder, &size), DNX_NoError);
    Bytes coded(size);
    std::size_t written = 0;
    status = DNX_EncodeFrame(&encoder, source.data(), coded.data(), source.size(), coded.size(), &written);
    coded.resize(written);
    return coded;
}

struct Row {
    std::uint32_t id;
    std::uint32_t width, height;  // coded
    bool isInterlaced;
    AVPixelFormat format;
    std::uint32_t frameBytes;  // of SMPTE ST 2019-1, table of compression IDs
};
constexpr AVPixelFormat bits8 = AV_PIX_FMT_YUV422P, bits10 = AV_PIX_FMT_YUV422P10, rgb = AV_PIX_FMT_GBRP10;
constexpr Row rows[] = {
    {1235, 1920, 1080, false, bits10, 917504}, {1237, 1920, 1080, false, bits8, 606208},
    {1238, 1920, 1080, false, bits8, 917504},  {1241, 1920, 1080, true, bits10, 917504},
    {1242, 1920, 1080, true, bits8, 606208},   {1243, 1920, 1080, true, bits8, 917504},
    {1244, 1440, 1080, true, bits8, 606208},   {1250, 1280, 720, false, bits10, 458752},
    {1251, 1280, 720, false, bits8, 458752},   {1252, 1280, 720, false, bits8, 303104},
    {1253, 1920, 1080, false, bits8, 188416},  {1258, 960, 720, false, bits8, 212992},
    {1259, 1440, 1080, false, bits8, 417792},  {1270, 1920, 1080, false, rgb, 1835008},
    {1271, 1920, 1080, false, bits10, 917504}, {1272, 1920, 1080, true, bits8, 917504},
    {1273, 1920, 1080, false, bits8, 606208},  {1274, 1920, 1080, false, bits8, 188416},
    {1272, 720, 576, true, bits8, 180224},     {1274, 256, 120, false, bits8, 8192},
};

// Four lines apart, in the middle of the picture, so that edges and rounding do not matter.
void expectRamp(const AVFrame& frame, bool isRGB) {
    const int shift = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format))->comp[0].depth - 8;
    for (int y = 8; y < frame.height - 8; y += 4) {
        const std::uint8_t* const line = frame.data[0] + y * frame.linesize[0];
        const int x = frame.width / 2;
        const int value = shift == 0 ? line[x] : reinterpret_cast<const std::uint16_t*>(line)[x] >> shift;
        const int wanted =
            lumaOfLine(static_cast<std::uint32_t>(y), static_cast<std::uint32_t>(frame.height));
        ASSERT_NEAR(value, wanted, isRGB ? 3 : 2) << "line " << y;
    }
}

TEST_F(DNX, EveryCompressionIDIsCodedAtItsSizeAndDecodesToThePicture) {
    for (const Row& row : rows) {
        for (const bool is10Bit : {false, true}) {
            if (is10Bit && row.format == rgb) continue;
            SCOPED_TRACE(testing::Message() << row.id << " " << row.width << (is10Bit ? " v210" : " 8 bit"));
            const auto parameters = parametersFor(row.id, row.width, row.height, row.isInterlaced, is10Bit);
            Encoder encoder;
            ASSERT_EQ(open(parameters, encoder), DNX_NoError);
            Status status = DNX_NoError;
            const Bytes coded = encodeOne(*encoder, ramp(parameters), status);
            ASSERT_EQ(status, DNX_NoError);
            EXPECT_EQ(coded.size(), row.frameBytes);
            EXPECT_EQ(coded[0x2A] << 8 | coded[0x2B], static_cast<int>(row.id)) << "in the frame header";
            const Decoded decoded = decode(coded);
            EXPECT_EQ(decoded.frame->width, static_cast<int>(row.width));
            EXPECT_EQ(decoded.frame->height, static_cast<int>(row.height));
            EXPECT_EQ(decoded.frame->format, row.format);
            EXPECT_EQ(decoded.frame->interlaced_frame != 0, row.isInterlaced && row.id < 1270);
            EXPECT_EQ(decoded.frame->interlaced_frame, decoded.frame->top_field_first);
            expectRamp(*decoded.frame, row.format == rgb);
        }
    }
}

TEST_F(DNX, PicturesOfFullWidthAreScaledToTheNarrowRastersWithTheirFieldsApart) {
    for (const auto& [id, fullWidth, height, isInterlaced] :
         {std::tuple{1244U, 1920U, 1080U, true}, {1258U, 1280U, 720U, false}, {1259U, 1920U, 1080U, false}}) {
        SCOPED_TRACE(id);
        const auto parameters = parametersFor(id, fullWidth, height, isInterlaced);
        Bytes picture = ramp(parameters);
        // The lower field dark: mixed with the upper one it would not stay so.
        const std::size_t rowBytes = fullWidth * 2;
        for (std::size_t y = 1; isInterlaced && y < height; y += 2) {
            for (std::size_t x = 1; x < rowBytes; x += 2) picture[y * rowBytes + x] = 16;
        }
        Encoder encoder;
        ASSERT_EQ(open(parameters, encoder), DNX_NoError);
        Status status = DNX_NoError;
        const Decoded decoded = decode(encodeOne(*encoder, picture, status));
        ASSERT_EQ(status, DNX_NoError);
        EXPECT_EQ(decoded.frame->width, static_cast<int>(fullWidth * 3 / 4));
        if (!isInterlaced) expectRamp(*decoded.frame, false);
        const auto* const line = decoded.frame->data[0] + 501 * decoded.frame->linesize[0] + 700;
        EXPECT_NEAR(*line, isInterlaced ? 16 : lumaOfLine(501, height), 2);
    }
}

TEST_F(DNX, WhatCannotBeCodedIsRefusedWithAReason) {
    struct Case {
        const char* what;
        std::uint32_t id, width, height;
        bool isInterlaced;
        Status status;
        const char* says;
    };
    for (const Case& c :
         {Case{"444", 1256, 1920, 1080, false, DNX_RGB444NotSupported, "DNxHR 444 can be recorded"},
          Case{"adaptive fields", 1260, 1440, 1080, true, DNX_AdaptiveFieldsNotSupported,
               "choose between frame and field"},
          Case{"no codec", 1239, 1920, 1080, false, DNX_UnknownCompressionID, "no DNxHD"},
          Case{"raster", 1238, 1280, 720, false, DNX_WrongRaster, "picture size"},
          Case{"raster", 1251, 1920, 1080, false, DNX_WrongRaster, "picture size"},
          Case{"tiny", 1272, 254, 120, false, DNX_WrongRaster, "picture size"},
          Case{"fields", 1238, 1920, 1080, true, DNX_WrongScanType, "progressive"},
          Case{"frames", 1242, 1920, 1080, false, DNX_WrongScanType, "interlaced"}}) {
        SCOPED_TRACE(testing::Message() << c.what << " " << c.id);
        Encoder encoder;
        const Status status = open(parametersFor(c.id, c.width, c.height, c.isInterlaced), encoder);
        EXPECT_EQ(status, c.status);
        EXPECT_LT(status, 0);
        EXPECT_FALSE(encoder);
        std::string text;
        EXPECT_EQ(DNX_GetErrorString(status, text), DNX_NoError);
        EXPECT_NE(text.find(c.says), std::string::npos) << text;
    }
    std::string text;
    DNX_GetErrorString(AVERROR(EINVAL), text);
    EXPECT_EQ(text, "Invalid argument") << "what libavcodec answers passes through";
}

// Grey of all formats stays grey: Y' 16 to 235 is R'G'B' 0 to 255.
TEST_F(DNX, PicturesOfTheOtherColourFormatAreConverted) {
    struct Case {
        std::uint32_t id;
        FourCC format;
        bool is10Bit;
    };
    for (const Case& c : {Case{1270, pixelFormat2vuy, false}, Case{1270, pixelFormatV210, true},
                          Case{1272, pixelFormat32ARGB, false}, Case{1271, pixelFormat32ARGB, false}}) {
        SCOPED_TRACE(testing::Message() << c.id << " " << (c.is10Bit ? 10 : 8));
        auto p = parametersFor(c.id, 1280, 720, false, c.is10Bit);
        p.sourceRowBytes = static_cast<std::uint32_t>(rowBytesForPixelFormat(c.format, p.width));
        Bytes picture(std::size_t{p.sourceRowBytes} * p.height, 128);
        for (std::size_t i = 0; c.is10Bit && i < picture.size(); i += 4) {
            const std::uint32_t word = 512 | 512 << 10 | 512 << 20;
            for (std::size_t k = 0; k < 4; ++k) picture[i + k] = static_cast<std::uint8_t>(word >> (8 * k));
        }
        Encoder encoder;
        ASSERT_EQ(open(p, encoder), DNX_NoError);
        Status status = DNX_NoError;
        const Decoded decoded = decode(encodeOne(*encoder, picture, status));
        ASSERT_EQ(status, DNX_NoError);
        const bool isRGB = c.id == 1270;
        const int shift =
            av_pix_fmt_desc_get(static_cast<AVPixelFormat>(decoded.frame->format))->comp[0].depth - 8;
        const int wanted[3] = {isRGB ? 130 : 126, isRGB ? 130 : 128, isRGB ? 130 : 128};
        for (int plane = 0; plane < 3; ++plane) {
            const auto* const line = decoded.frame->data[plane] + 300 * decoded.frame->linesize[plane];
            const int value =
                shift == 0 ? line[300] : reinterpret_cast<const std::uint16_t*>(line)[300] >> shift;
            EXPECT_NEAR(value, wanted[plane], 1) << plane;
        }
    }
}

// Pure Cr on grey moves green by 2(1-Kr)Kr/Kg of it: 0.7141 by BT.601, 0.4681 by BT.709, 0.5714 by BT.2020.
TEST_F(DNX, TheMatrixOfAConversionFollowsThePicturesHeight) {
    for (const auto& [width, height, green] :
         {std::tuple{720U, 576U, 0.7141}, {1280U, 720U, 0.4681}, {3840U, 2160U, 0.5714}}) {
        SCOPED_TRACE(height);
        auto p = parametersFor(1270, width, height, false);
        p.sourceRowBytes = width * 2;
        Bytes picture(std::size_t{width} * 2 * height, 128);
        for (std::size_t i = 2; i < picture.size(); i += 4) picture[i] = 128 + 56;
        Encoder encoder;
        ASSERT_EQ(open(p, encoder), DNX_NoError);
        Status status = DNX_NoError;
        const Decoded decoded = decode(encodeOne(*encoder, picture, status));
        ASSERT_EQ(status, DNX_NoError);
        const auto* const line = decoded.frame->data[0] + 100 * decoded.frame->linesize[0];
        const double wanted = 112 * 255 / 219.0 - green * 56 * 255 / 224;
        EXPECT_NEAR(reinterpret_cast<const std::uint16_t*>(line)[100] / 4.0, wanted, 2);
    }
}

TEST_F(DNX, RowsThatHoldNoPictureAndColourFormatsOfOtherCodecsAreRefused) {
    Encoder encoder;
    for (const bool is10Bit : {false, true}) {
        auto p = parametersFor(1270, 1920, 1080, false, is10Bit);
        p.sourceRowBytes = is10Bit ? 5119 : 3839;
        EXPECT_EQ(open(p, encoder), DNX_InputNotSupported);
    }
    auto p = parametersFor(1272, 1920, 1080, false);
    p.colorFormat = DNX_ColorFormatRGB;
    EXPECT_EQ(open(p, encoder), DNX_InvalidParameter);
}

// Every byte of the record that has one meaning only is set to something else.
TEST_F(DNX, AParameterThatWouldHaveNoEffectIsRefused) {
    using P = DNX_EncodeParameters;
    void (*const changes[])(P&) = {[](P& p) { p.structureSize = 60; }, [](P& p) { p.colorFormat = 3; },
                                   [](P& p) { p.chromaSampling = 1; }, [](P& p) { p.colorVolume = 2; },
                                   [](P& p) { p.bitDepth = 12; },      [](P& p) { p.pixelAspectWidth = 4; },
                                   [](P& p) { p.quality = 51; },       [](P& p) { p.inputDepth = 2; },
                                   [](P& p) { p.scanType = 2; },       [](P& p) { p.firstField = 2; },
                                   [](P& p) { p.alphaMode = 1; },      [](P& p) { p.legalRangeHigh = 255; },
                                   [](P& p) { p.outputUnit = 1; },     [](P& p) { p.convertsInputRange = 1; },
                                   [](P& p) { p.workUnitBytes = 0; }};
    for (std::size_t i = 0; i < std::size(changes); ++i) {
        auto p = parametersFor(1272, 1920, 1080, false);
        changes[i](p);
        Encoder encoder;
        EXPECT_EQ(open(p, encoder), DNX_InvalidParameter) << i;
    }
    auto p = parametersFor(1238, 1920, 1080, false);
    p.bitDepth = 8;
    Encoder encoder;
    EXPECT_EQ(open(p, encoder), DNX_InvalidParameter) << "a DNxHR field for DNxHD";
}

TEST_F(DNX, ShortSourcesAndSmallBuffersFailAndTheEncoderGoesOn) {
    auto parameters = parametersFor(1253, 1920, 1080, false);
    parameters.sourceRowBytes = 4096;
    Encoder encoder;
    ASSERT_EQ(open(parameters, encoder), DNX_NoError);
    const std::size_t needed = 4096U * 1079 + 3840;
    Bytes source(needed, 128), coded(188416);
    std::size_t written = 7;
    EXPECT_EQ(DNX_EncodeFrame(encoder.get(), source.data(), coded.data(), needed - 1, coded.size(), &written),
              DNX_SourceTooShort);
    EXPECT_EQ(written, 0U);
    EXPECT_EQ(DNX_EncodeFrame(encoder.get(), nullptr, coded.data(), needed, coded.size(), &written),
              DNX_SourceTooShort);
    EXPECT_EQ(DNX_EncodeFrame(encoder.get(), source.data(), coded.data(), needed, coded.size() - 1, &written),
              DNX_OutputTooSmall);
    EXPECT_EQ(DNX_EncodeFrame(encoder.get(), source.data(), coded.data(), needed, coded.size(), &written),
              DNX_NoError);
    EXPECT_EQ(written, coded.size()) << "the last row may end with its last pixel";
}

TEST(DNXEngine, NothingOpensBeforeItIsInitialised) {
    Encoder encoder;
    EXPECT_EQ(open(parametersFor(1272, 1920, 1080, false), encoder), DNX_NotInitialized);
    EXPECT_EQ(DNX_Finalize(), DNX_NotInitialized);
}

// Uniform noise is the hardest picture: its frame has the size of all others too.
TEST_F(DNX, NoiseAndBlackHaveTheSameSize) {
    for (const std::uint32_t id : {1238U, 1272U}) {
        const auto parameters = parametersFor(id, 1920, 1080, false);
        Encoder encoder;
        ASSERT_EQ(open(parameters, encoder), DNX_NoError);
        std::srand(1);
        for (const bool isNoise : {true, false}) {
            Bytes picture(1920U * 1080 * 2, 16);
            if (isNoise)
                for (auto& byte : picture) byte = static_cast<std::uint8_t>(std::rand() >> 7);
            Status status = DNX_NoError;
            EXPECT_EQ(encodeOne(*encoder, picture, status).size(), 917504U);
            EXPECT_EQ(status, DNX_NoError);
        }
    }
}

}  // namespace
}  // namespace zenquor::platform
