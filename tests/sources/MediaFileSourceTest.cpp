#include "zenquor/sources/MediaFileSource.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>

#include <unistd.h>

#include "platform/quicktime_support.h"
#include "zenquor/sources/detail/ColorBars.h"
#include "zenquor/sources/detail/MatrixConversion.h"
#include "zenquor/sources/detail/PictureFit.h"
#include "zenquor/sources/detail/PictureRow.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"
#include "zenquor/vanc/ZQRVANCHelper.h"

namespace zenquor {
namespace {

namespace fs = std::filesystem;
using detail::PictureFit;
using detail::PictureGeometry;

SourceFormat formatNamed(std::string_view name, FourCC pixelFormat = platform::pixelFormat2vuy,
                         std::uint32_t channels = 2, std::uint32_t bits = 16) {
    return SourceFormat::withVideoFormat(*ZHLVideoFormat::formatNamed(name), pixelFormat, channels, bits);
}

TEST(PictureFit, KeepsTheDisplayAspectAndTheFields) {
    struct Row {
        const char* name;
        PictureGeometry source;
        const char* format;
        FourCC pixelFormat;
        PictureFit fit;
    };
    constexpr FourCC v210 = platform::pixelFormatV210;
    constexpr FourCC uyvy = platform::pixelFormat2vuy;
    const Row rows[] = {
        {"the same", {1920, 1080, {1, 1}, true, true}, "1080i50", v210, {0, 1080, 0, 0, 1920, 1080, true}},
        {"half the size", {960, 540, {1, 1}}, "1080p25", uyvy, {0, 540, 0, 0, 1920, 1080, false}},
        {"4:3 in 16:9", {640, 480, {1, 1}}, "1080p25", uyvy, {0, 480, 240, 0, 1440, 1080, false}},
        {"4:3 in 16:9, groups of six", {640, 480, {1, 1}}, "720p50", v210, {0, 480, 156, 0, 960, 720, false}},
        {"16:9 in 4:3", {1280, 720, {1, 1}}, "625i50", uyvy, {0, 720, 0, 72, 720, 432, false}},
        {"cinema in 16:9", {2048, 858, {1, 1}}, "1080p24", uyvy, {0, 858, 0, 138, 1920, 804, false}},
        {"anamorphic", {1440, 1080, {4, 3}, true, true}, "1080i50", uyvy, {0, 1080, 0, 0, 1920, 1080, true}},
        {"PAL, ITU pixels", {720, 576, {59, 54}, true, true}, "625i50", uyvy, {0, 576, 0, 0, 720, 576, true}},
        {"PAL, 16:15 pixels",
         {720, 576, {16, 15}, true, true},
         "625i50",
         uyvy,
         {0, 576, 0, 0, 720, 576, true}},
        {"PAL without pixel aspect",
         {720, 576, {1, 1}, true, true},
         "1080i50",
         uyvy,
         {0, 576, 240, 0, 1440, 1080, true}},
        {"480 into 486 lines",
         {720, 480, {8, 9}, true, false},
         "525i5994",
         uyvy,
         {0, 480, 0, 4, 720, 480, true}},
        {"top first into bottom first",
         {1920, 1080, {1, 1}, true, true},
         "525i5994",
         uyvy,
         {0, 1080, 0, 61, 720, 364, true}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(PictureFit::of(row.source, formatNamed(row.format, row.pixelFormat)), row.fit) << row.name;
    }
    PictureGeometry same{1920, 1080, {1, 1}};
    EXPECT_TRUE(PictureFit::of(same, formatNamed("1080p25")).isIdentity(same, formatNamed("1080p25")));
}

TEST(MatrixConversion, TurnsTheBarsOfOneStandardIntoThoseOfAnother) {
    using platform::YCbCrMatrix;
    const auto from = detail::colorBars(1, 0.75, YCbCrMatrix::ITU_R_601_4, 10);
    for (const auto matrix : {YCbCrMatrix::ITU_R_709_2, YCbCrMatrix::ITU_R_2020}) {
        const detail::MatrixConversion conversion(YCbCrMatrix::ITU_R_601_4, matrix);
        const auto to = detail::colorBars(1, 0.75, matrix, 10);
        for (const FourCC format : {platform::pixelFormatV210, platform::pixelFormat2vuy}) {
            for (std::size_t bar = 0; bar < from.size(); ++bar) {
                detail::PictureRow before(12), after(12);
                before.fill(0, 12, from[bar]);
                after.fill(0, 12, to[bar]);
                platform::PixelBufferPtr picture;
                ASSERT_EQ(platform::PixelBuffer::create(12, 1, format, picture), platform::noErr);
                const auto bytes = before.packed(format);
                std::memcpy(picture->mutableBaseAddress(), bytes.data(), bytes.size());
                conversion.apply(*picture, 0, 1);
                const auto expected = after.packed(format);
                for (std::size_t i = 0; i < expected.size(); i += 4) {
                    std::uint32_t got = 0, want = 0;
                    std::memcpy(&got, picture->baseAddress() + i, 4);
                    std::memcpy(&want, expected.data() + i, 4);
                    const int bits = format == platform::pixelFormatV210 ? 10 : 8;
                    for (int shift = 0; shift + bits <= 32; shift += bits) {
                        const auto mask = (1U << bits) - 1;
                        ASSERT_NEAR(static_cast<int>(got >> shift & mask),
                                    static_cast<int>(want >> shift & mask), 1)
                            << bar;
                    }
                }
            }
        }
    }
}

class MediaFileSourceTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        folder() = fs::temp_directory_path() / ("zenquor-sources-" + std::to_string(::getpid()));
        fs::create_directories(folder());
    }
    static void TearDownTestSuite() { fs::remove_all(folder()); }
    static fs::path& folder() {
        static fs::path path;
        return path;
    }
    static bool hasProgram() {
        static const bool there = std::system("ffmpeg -version >/dev/null 2>&1") == 0;
        return there;
    }
    static fs::path make(const std::string& name, const std::string& arguments) {
        const fs::path path = folder() / name;
        if (fs::exists(path)) return path;
        const std::string command = "ffmpeg -nostdin -v error -y " + arguments + " " + path.string();
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        return path;
    }
    /// A mono WAV file at 48 kHz whose sample n is n.
    static fs::path ramp(std::uint32_t samples) {
        const fs::path path = folder() / "ramp.wav";
        std::string bytes = "RIFF....WAVEfmt ";
        const auto le = [&](std::uint32_t value, int size) {
            for (int i = 0; i < size; ++i) bytes.push_back(static_cast<char>(value >> (8 * i)));
        };
        for (const auto& [value, size] :
             {std::pair{16U, 4}, {1U, 2}, {1U, 2}, {48000U, 4}, {96000U, 4}, {2U, 2}, {16U, 2}}) {
            le(value, size);
        }
        bytes += "data";
        le(samples * 2, 4);
        for (std::uint32_t i = 0; i < samples; ++i) le(i, 2);
        const auto rest = static_cast<std::uint32_t>(bytes.size() - 8);
        for (int i = 0; i < 4; ++i)
            bytes[static_cast<std::size_t>(4 + i)] = static_cast<char>(rest >> (8 * i));
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }
    static std::vector<ZQRFramePtr> play(const fs::path& path, const SourceFormat& format,
                                         MediaFileSource::Options options) {
        options.pictureLimit = 1000;
        ZQErrorPtr error;
        const auto source = MediaFileSource::sourceWithURL(path, format, options, &error);
        EXPECT_TRUE(source) << describe(error.get());
        std::vector<ZQRFramePtr> frames;
        while (source && frames.size() < 1000) {
            auto frame = source->nextFrame();
            if (!frame) break;
            frames.push_back(std::move(frame));
        }
        return frames;
    }
    static std::uint16_t sample(const ZQRFrame& frame, std::size_t index, std::size_t channel) {
        std::uint16_t value = 0;
        const auto audio = *frame.frameAudioData();
        std::memcpy(&value, audio.data() + index * frame.audioBytesPerFrame() + channel * 2, 2);
        return value;
    }
};

TEST_F(MediaFileSourceTest, SoundIsCutIntoTheCadenceWithoutLosingASample) {
    const auto frames = play(ramp(9000), formatNamed("525i5994"), {});
    ASSERT_EQ(frames.size(), 6U);  // 9000 samples last 5.6 frames
    std::uint32_t position = 0;
    const std::uint32_t cadence[] = {1602, 1602, 1602, 1601, 1601, 1602};
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const auto count = frames[i]->frameAudioData()->size() / 4;
        ASSERT_EQ(count, cadence[i]);
        for (std::size_t k = 0; k < count; ++k, ++position) {
            // Nothing follows the end of the file, and a second channel is silent.
            ASSERT_EQ(sample(*frames[i], k, 0), position < 9000 ? position : 0);
            ASSERT_EQ(sample(*frames[i], k, 1), 0);
        }
        EXPECT_EQ(frames[i]->relativeFrameTime(), static_cast<std::int64_t>(i) * 1001);
        EXPECT_EQ(frames[i]->videoDataPointer()[1], 16);
    }
    EXPECT_EQ(frames.back()->frameStatus(), static_cast<std::uint32_t>(ZQRFrameStatusLast));
}

TEST_F(MediaFileSourceTest, ARepeatedFileBeginsAgainAndTimeRunsOn) {
    const auto frames = play(ramp(9600), formatNamed("625i50"), {.loop = true, .maximumFrames = 12});
    ASSERT_EQ(frames.size(), 12U);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        EXPECT_EQ(sample(*frames[i], 7, 0), i % 5 * 1920 + 7) << i;
        EXPECT_EQ(frames[i]->frameTimecode()->framesSinceMidnight(), i);
    }
}

TEST_F(MediaFileSourceTest, PicturesAreRepeatedAndLeftOutAtExactTimes) {
    if (!hasProgram()) GTEST_SKIP() << "ffmpeg is not installed";
    // Picture n is a flat grey of level 16 + 4n.
    const auto path =
        make("greys.mov",
             "-f lavfi -i \"color=black:s=64x36:r=50:d=1,format=yuv422p,geq=lum='16+4*N':cb=128:cr=128\" "
             "-c:v rawvideo -pix_fmt uyvy422 -vtag 2vuy");
    struct Row {
        const char* format;
        std::size_t frames;
        std::vector<int> pictures;  // the first few
    };
    const Row rows[] = {
        {"720p50", 50, {0, 1, 2, 3, 4, 5}},
        {"720p25", 25, {0, 2, 4, 6, 8, 10}},
        {"720p60", 60, {0, 1, 1, 2, 3, 4, 5, 6}},
        {"720p24", 24, {0, 2, 4, 6, 8, 10, 13, 15, 17, 19, 21, 23, 25}},
    };
    for (const auto& row : rows) {
        const auto frames = play(path, formatNamed(row.format), {});
        EXPECT_EQ(frames.size(), row.frames) << row.format;
        for (std::size_t i = 0; i < row.pictures.size(); ++i) {
            EXPECT_EQ(frames[i]->videoDataPointer()[1], 16 + 4 * row.pictures[i]) << row.format << ' ' << i;
        }
    }
}

TEST_F(MediaFileSourceTest, AFittingPictureGoesThroughWithoutACopyAndStillCounts) {
    if (!hasProgram()) GTEST_SKIP() << "ffmpeg is not installed";
    const auto path = make(
        "whole.mov", "-f lavfi -i testsrc2=s=1280x720:r=50:d=0.2 -c:v rawvideo -pix_fmt uyvy422 -vtag 2vuy");
    MediaFileSource::Options options;
    options.pictureLimit = 2;
    options.pictureWait = std::chrono::milliseconds(0);
    const auto source = MediaFileSource::sourceWithURL(path, formatNamed("720p50"), options);
    auto first = source->nextFrame();
    auto second = source->nextFrame();
    ASSERT_TRUE(first && second);
    EXPECT_FALSE(source->nextFrame());
    ASSERT_TRUE(source->error());
    EXPECT_EQ(source->error()->code(), frameSourceErrorNoFreePicture);
    first.reset();
    const auto third = source->nextFrame();
    ASSERT_TRUE(third);
    EXPECT_EQ(third->frameID(), 2U);
    EXPECT_NE(*third->videoData(), *second->videoData());
}

TEST_F(MediaFileSourceTest, AStandardDefinitionPictureIsFramedAndRecodedForHighDefinition) {
    if (!hasProgram()) GTEST_SKIP() << "ffmpeg is not installed";
    // 75 % yellow by BT.601: 162, 44, 142; by BT.709: 168, 44, 136.
    const auto path = make("yellow.mov",
                           "-f lavfi -i \"color=black:s=720x576:r=25:d=0.2,format=yuv422p,"
                           "geq=lum=162:cb=44:cr=142\" -c:v rawvideo -pix_fmt uyvy422 -vtag 2vuy");
    const auto frames = play(path, formatNamed("1080i50"), {});
    ASSERT_FALSE(frames.empty());
    const std::uint8_t* const row = frames[0]->videoDataPointer() + 500 * frames[0]->videoRowBytes();
    const std::uint8_t* const middle = row + 960 * 2;
    EXPECT_NEAR(middle[0], 44, 1);
    EXPECT_NEAR(middle[1], 168, 1);
    EXPECT_NEAR(middle[2], 136, 1);
    for (const std::size_t x : {0, 200, 1700, 1918}) {
        EXPECT_EQ(row[x * 2], 128) << x;
        EXPECT_EQ(row[x * 2 + 1], 16) << x;
    }
    const auto& tags = frames[0]->videoPixelBuffer()->attachments();
    EXPECT_EQ(tags.yCbCrMatrix, platform::YCbCrMatrix::ITU_R_709_2);
    EXPECT_EQ(tags.pixelAspectRatio, (platform::PixelAspectRatio{1, 1}));
}

TEST_F(MediaFileSourceTest, TheFilesTimecodeIsTakenOverByItsLabel) {
    if (!hasProgram()) GTEST_SKIP() << "ffmpeg is not installed";
    const auto path = make(
        "labels.mov", "-f lavfi -i testsrc2=s=64x36:r=30000/1001:d=0.3 -c:v mjpeg -timecode \"00:59:59;28\"");
    EXPECT_EQ(play(path, formatNamed("720p2997"), {})[2]->frameTimecode()->description(), "01:00:00;00");
    EXPECT_EQ(play(path, formatNamed("720p5994"), {})[0]->frameTimecode()->description(), "00:59:59;56");
    EXPECT_EQ(play(path, formatNamed("720p25"), {})[0]->frameTimecode()->description(), "00:59:59:23");
    const auto ignored = play(path, formatNamed("720p2997"), {.useTimecode = false});
    EXPECT_EQ(ignored[0]->frameTimecode()->description(), "00:00:00;00");
}

TEST_F(MediaFileSourceTest, SeveralTracksOfSoundFillTheChannelsInOrder) {
    if (!hasProgram()) GTEST_SKIP() << "ffmpeg is not installed";
    const auto path =
        make("tracks.mov",
             "-f lavfi -i aevalsrc='0.1|0.2:s=48000:d=0.5' -f lavfi -i aevalsrc='0.3:s=44100:d=0.5' "
             "-map 0 -map 1 -c:a pcm_s16le");
    const auto frames = play(path, formatNamed("625i50", platform::pixelFormat2vuy, 4), {});
    ASSERT_GE(frames.size(), 12U);
    const auto& frame = *frames[5];
    EXPECT_NEAR(sample(frame, 100, 0), 3277, 2);
    EXPECT_NEAR(sample(frame, 100, 1), 6554, 2);
    EXPECT_NEAR(sample(frame, 100, 2), 9830, 4);
    EXPECT_EQ(sample(frame, 100, 3), 0);
}

/// A movie of ten frames at 25 a second with one pair of captions on each.
void recordCaptions(const fs::path& path) {
    namespace rig = platform::test;
    const auto video = rig::makeInput(rig::videoFormat(fourCC("2vuy")));
    const auto captions = rig::makeInput(platform::FormatDescription::closedCaption(fourCC("c608")));
    const auto writer = rig::makeWriter(path, {video, captions});
    ASSERT_TRUE(writer->startWriting());
    writer->startSessionAtSourceTime({0, 25});
    for (std::uint8_t i = 0; i < 10; ++i) {
        const platform::SampleTiming timing{{1, 25}, {i, 25}, {}};
        const rig::Bytes pair{0, 0, 0, 10, 'c', 'd', 'a', 't', 0x94, i};
        const rig::Bytes picture(std::size_t{96} * 2 * 16, 128);
        for (const auto& [input, bytes] : {std::pair{video, picture}, std::pair{captions, pair}}) {
            platform::BlockBufferPtr block;
            platform::SampleBufferPtr sample;
            platform::BlockBuffer::createWithLength(bytes.size(), block);
            block->replaceDataBytes(ZQData::copying(bytes), 0);
            platform::SampleBuffer::create(block, input->sourceFormatHint(), 1, timing, bytes.size(), {},
                                           sample);
            ASSERT_TRUE(input->appendSampleBuffer(sample));
        }
    }
    ASSERT_EQ(rig::finish(writer), platform::AssetWriterStatus::Completed);
}

TEST_F(MediaFileSourceTest, EachCaptionOfTheFileComesOnceAtItsTime) {
    const auto path = folder() / "captions.mov";
    recordCaptions(path);
    struct Row {
        const char* format;
        std::size_t framesPerCaption;
    };
    for (const Row& row : {Row{"720p25", 1}, Row{"720p50", 2}}) {
        const auto frames = play(path, formatNamed(row.format), {});
        ASSERT_EQ(frames.size(), 10 * row.framesPerCaption) << row.format;
        for (std::size_t i = 0; i < frames.size(); ++i) {
            const auto packet = ZQRVANCHelper::closedCaptionPacket(frames[i]->vancPackets());
            EXPECT_TRUE(frames[i]->writeCaptions());
            ASSERT_TRUE(packet) << row.format << ' ' << i;
            // The second byte is the caption's number; parity adds the highest bit. What follows until the next caption
            // is null pairs.
            const bool isNew = i % row.framesPerCaption == 0;
            EXPECT_EQ(packet->originalData()[0], isNew ? 0x94 : 0x80);
            EXPECT_EQ(packet->originalData()[1] & 0x7F,
                      isNew ? static_cast<int>(i / row.framesPerCaption) : 0);
        }
    }
    const auto without = play(path, formatNamed("720p25"), {.passCaptions = false});
    EXPECT_TRUE(without.at(0)->vancPackets().empty());
    EXPECT_FALSE(without.at(0)->writeCaptions());
}

TEST_F(MediaFileSourceTest, AFileThatCannotBePlayedIsRefused) {
    ZQErrorPtr error;
    EXPECT_FALSE(MediaFileSource::sourceWithURL(folder() / "nowhere.mov", formatNamed("720p50"), {}, &error));
    ASSERT_TRUE(error);
    SourceFormat none = formatNamed("720p50", platform::pixelFormat2vuy, 0);
    EXPECT_FALSE(MediaFileSource::sourceWithURL(ramp(100), none, {}, &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), frameSourceErrorNoTracks);
}

}  // namespace
}  // namespace zenquor
