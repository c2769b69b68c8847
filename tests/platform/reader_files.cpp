// Whole files through the asset reader. The files come from an independent program, so these cases are
// skipped where it is not installed.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <unistd.h>

#include "zenquor/core/ByteOrder.h"
#include "zenquor/platform/AssetReader.h"

namespace zenquor::platform {
namespace {

namespace fs = std::filesystem;

/// A folder of generated files that goes with the process.
class ReaderFiles : public testing::Test {
protected:
    static void SetUpTestSuite() {
        folder() = fs::temp_directory_path() / ("zenquor-reader-" + std::to_string(::getpid()));
        fs::create_directories(folder());
        isThere() = std::system("ffmpeg -version >/dev/null 2>&1") == 0;
    }
    static void TearDownTestSuite() { fs::remove_all(folder()); }
    void SetUp() override {
        if (!isThere()) GTEST_SKIP() << "ffmpeg is not installed";
    }

    static fs::path& folder() {
        static fs::path path;
        return path;
    }
    static bool& isThere() {
        static bool there = false;
        return there;
    }
    /// Runs ffmpeg unless the file is there already.
    static fs::path make(const std::string& name, const std::string& arguments) {
        const fs::path path = folder() / name;
        if (fs::exists(path)) return path;
        const std::string command = "ffmpeg -nostdin -v error -y " + arguments + " " + path.string();
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        return path;
    }
    static fs::path reordered() {
        return make("reordered.mp4",
                    "-f lavfi -i testsrc2=s=320x180:r=30000/1001:d=2 -f lavfi -i sine=r=48000:d=2 "
                    "-c:v libx264 -preset ultrafast -bf 2 -g 15 -pix_fmt yuv420p -c:a aac -aac_pns 0");
    }
};

AudioStreamBasicDescription pcm(std::uint32_t bits, std::uint32_t bytes) {
    AudioStreamBasicDescription format;
    format.formatID = audioFormatLinearPCM;
    format.formatFlags = audioFormatFlagIsSignedInteger |
                         (bytes * 8 == bits ? audioFormatFlagIsPacked : audioFormatFlagIsAlignedHigh);
    format.bytesPerFrame = format.bytesPerPacket = bytes;
    format.framesPerPacket = format.channelsPerFrame = 1;
    format.bitsPerChannel = bits;
    return format;
}

struct Opened {
    AssetPtr asset;
    AssetReaderPtr reader;
    AssetReaderTrackOutputPtr video, audio, raw;
};

Opened open(const fs::path& path, MediaTime start = MediaTime::invalid(),
            FourCC pixelFormat = pixelFormat2vuy) {
    Opened opened;
    ZQErrorPtr error;
    opened.asset = Asset::assetWithURL(path, &error);
    EXPECT_TRUE(opened.asset) << describe(error.get());
    opened.reader = AssetReader::assetReaderWithAsset(opened.asset);
    for (const auto& track : opened.asset->tracks()) {
        if (track.mediaType == mediaTypeVideo)
            opened.video = AssetReaderTrackOutput::forVideo(track, pixelFormat);
        if (track.mediaType == mediaTypeAudio)
            opened.audio = AssetReaderTrackOutput::forAudio(track, pcm(16, 2));
        if (track.mediaType == mediaTypeTimecode) opened.raw = AssetReaderTrackOutput::undecoded(track);
    }
    opened.reader->addOutput(opened.video);
    opened.reader->addOutput(opened.audio);
    opened.reader->addOutput(opened.raw);
    opened.reader->setStartTime(start);
    EXPECT_TRUE(opened.reader->startReading()) << describe(opened.reader->error().get());
    return opened;
}

std::vector<SampleBufferPtr> drain(const AssetReaderTrackOutputPtr& output) {
    std::vector<SampleBufferPtr> samples;
    while (auto sample = output->copyNextSampleBuffer()) samples.push_back(std::move(sample));
    return samples;
}

bool samePicture(const SampleBufferPtr& a, const SampleBufferPtr& b) {
    return a->imageBuffer()->data() == b->imageBuffer()->data();
}

/// The sound of a track in one run, with where it begins.
std::vector<std::int16_t> sound(const std::vector<SampleBufferPtr>& samples) {
    std::vector<std::int16_t> all;
    for (const auto& sample : samples) {
        const auto& bytes = sample->dataBuffer()->data();
        const std::size_t old = all.size();
        all.resize(old + bytes.size() / 2);
        std::memcpy(all.data() + old, bytes.data(), bytes.size());
    }
    return all;
}

TEST_F(ReaderFiles, ReorderedPicturesComeInDisplayOrderAtExactTimes) {
    const auto opened = open(reordered());
    const auto pictures = drain(opened.video);
    ASSERT_EQ(pictures.size(), 60U);
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        EXPECT_EQ(pictures[i]->presentationTimeStamp(),
                  (MediaTime{static_cast<std::int64_t>(i) * 1001, 30000}));
        EXPECT_EQ(pictures[i]->sampleDuration(), (MediaTime{1001, 30000}));
    }
    // Two seconds of sound, without what the last coded packet holds beyond.
    EXPECT_EQ(sound(drain(opened.audio)).size(), 96000U);
    EXPECT_EQ(opened.reader->status(), AssetReaderStatus::Completed);
    const auto& track = opened.asset->tracks()[0];
    EXPECT_EQ(track.formatDescription->mediaSubType(), fourCC("avc1"));
    EXPECT_EQ(track.frameRateNumerator, 30000U);
    EXPECT_EQ(track.frameRateDenominator, 1001U);
    EXPECT_GT(track.formatDescription->videoFormat()->configuration.size(), 7U);
    EXPECT_EQ(opened.asset->duration(), (MediaTime{60060, 30000}));
}

TEST_F(ReaderFiles, ReadingFromAnyFrameGivesThatFrameAndTheSoundFromThereOn) {
    const auto whole = open(reordered());
    const auto pictures = drain(whole.video);
    const auto samples = sound(drain(whole.audio));
    for (const std::int64_t frame : {1, 14, 15, 16, 37, 59}) {
        // Half a frame late: the picture on display, not the next one.
        const auto part = open(reordered(), {frame * 2002 + 1001, 60000});
        const auto first = part.video->copyNextSampleBuffer();
        ASSERT_TRUE(first) << frame;
        EXPECT_TRUE(samePicture(first, pictures[static_cast<std::size_t>(frame)])) << frame;
        const auto rest = sound(drain(part.audio));
        const std::size_t skipped = static_cast<std::size_t>((frame * 2002 + 1001) * 48000 / 60000);
        ASSERT_EQ(rest.size(), samples.size() - skipped) << frame;
        // The file was made without the noise that an AAC decoder makes up anew.
        for (std::size_t i = 0; i < rest.size(); ++i)
            ASSERT_EQ(rest[i], samples[skipped + i]) << frame << ' ' << i;
    }
}

TEST_F(ReaderFiles, AnEditListCutsPicturesAndSound) {
    reordered();
    const auto cut = make("cut.mp4", "-ss 0.7 -i " + (folder() / "reordered.mp4").string() + " -c copy -t 1");
    const auto opened = open(cut);
    const auto pictures = drain(opened.video);
    ASSERT_FALSE(pictures.empty());
    EXPECT_EQ(pictures.front()->presentationTimeStamp().value, 0);
    // What the edit hides is decoded but not handed out: the first picture is number 21 of the whole.
    const auto whole = drain(open(reordered()).video);
    EXPECT_TRUE(samePicture(pictures.front(), whole[21]));
}

TEST_F(ReaderFiles, StudioFormatsPassThroughBitForBit) {
    // 724 pixels end within a group of six and a block of 48.
    const auto v210 = make("v210.mov", "-f lavfi -i testsrc2=s=724x64:r=25:d=0.2 -c:v v210");
    const auto uyvy = make(
        "2vuy.mov", "-f lavfi -i testsrc2=s=724x64:r=25:d=0.2 -c:v rawvideo -pix_fmt uyvy422 -vtag 2vuy");
    // The file's media data are the pictures end to end.
    for (const auto& [path, format, rowBytes] : {std::tuple{v210, pixelFormatV210, std::size_t{2048}},
                                                 std::tuple{uyvy, pixelFormat2vuy, std::size_t{1448}}}) {
        std::ifstream file(path, std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(file)), {});
        const std::size_t media = bytes.find("mdat") + 4;
        const auto pictures = drain(open(path, MediaTime::invalid(), format).video);
        ASSERT_EQ(pictures.size(), 5U);
        for (std::size_t i = 0; i < pictures.size(); ++i) {
            const auto& picture = *pictures[i]->imageBuffer();
            for (std::uint32_t y = 0; y < picture.height(); ++y) {
                const char* const row = bytes.data() + media + (i * picture.height() + y) * rowBytes;
                const std::size_t pixels = format == pixelFormatV210 ? 724 / 6 * 16 : rowBytes;
                ASSERT_EQ(std::memcmp(picture.row(y), row, pixels), 0) << path << ' ' << i << ' ' << y;
            }
        }
    }
}

TEST_F(ReaderFiles, ChromaOfInterlacedPicturesStaysInItsField) {
    // Fields of two colours: chroma that took from the other field would be neither.
    const auto path = make("fields.ts",
                           "-f lavfi -i \"color=red:s=128x96:r=50:d=0.4,format=yuv420p,"
                           "drawbox=c=blue:t=fill:enable='mod(n,2)',tinterlace=interleave_top\" "
                           "-c:v mpeg2video -q:v 1 -flags +ildct+ilme");
    const auto pictures = drain(open(path).video);
    ASSERT_FALSE(pictures.empty());
    const auto& picture = *pictures[1]->imageBuffer();
    for (std::uint32_t y = 8; y < 88; ++y) {
        const int cr = picture.row(y)[128 + 2];
        EXPECT_NEAR(cr, y % 2 == 0 ? 240 : 110, 6) << y;
    }
    EXPECT_EQ(open(path).video->track().formatDescription->videoFormat()->fieldCount.value_or(0), 2U);
}

TEST_F(ReaderFiles, FullRangeAndRGBPicturesBecomeVideoRange) {
    struct Row {
        const char* name;
        const char* arguments;
        int y, cb, cr;
    };
    // White in full range, and red of 8-bit R'G'B' below and above 720 lines.
    const Row rows[] = {
        {"white.mov", "-f lavfi -i color=white:s=64x64:d=0.1 -c:v mjpeg -pix_fmt yuvj420p -q:v 1", 235, 128,
         128},
        {"red601.mov", "-f lavfi -i color=red:s=64x64:d=0.1,format=rgb24 -c:v png", 81, 90, 240},
        {"red709.mov", "-f lavfi -i color=red:s=64x720:d=0.1,format=rgb24 -c:v png", 63, 102, 240},
    };
    for (const auto& row : rows) {
        const auto picture = open(make(row.name, row.arguments)).video->copyNextSampleBuffer()->imageBuffer();
        EXPECT_NEAR(picture->row(9)[8], row.cb, 1) << row.name;
        EXPECT_NEAR(picture->row(9)[9], row.y, 1) << row.name;
        EXPECT_NEAR(picture->row(9)[10], row.cr, 1) << row.name;
    }
}

TEST_F(ReaderFiles, ProResAt4444BecomesARGBWithItsAlpha) {
    const auto path = make("alpha.mov",
                           "-f lavfi -i \"color=black@0.0:s=64x64:d=0.1,format=rgba\" -c:v prores_ks "
                           "-profile:v 4 -pix_fmt yuva444p10le");
    const auto opened = open(path, MediaTime::invalid(), pixelFormat32ARGB);
    EXPECT_EQ(opened.video->track().formatDescription->mediaSubType(), fourCC("ap4h"));
    const auto picture = opened.video->copyNextSampleBuffer()->imageBuffer();
    EXPECT_EQ(picture->row(5)[20], 0);
    EXPECT_LE(picture->row(5)[21], 2);
}

TEST_F(ReaderFiles, AGrowingMovieIsReadUpToItsLastWholeFragmentAndFurtherWhenOpenedAgain) {
    const auto whole = make("fragments.mov",
                            "-f lavfi -i testsrc2=s=160x96:r=25:d=3 -c:v libx264 -preset ultrafast -g 25 "
                            "-movflags +frag_keyframe+empty_moov");
    std::ifstream file(whole, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), {});
    std::vector<std::size_t> fragments;
    for (std::size_t at = 0; (at = bytes.find("moof", at)) != std::string::npos; ++at)
        fragments.push_back(at - 4);
    ASSERT_EQ(fragments.size(), 3U);
    const auto growing = folder() / "growing.mov";
    std::ofstream(growing, std::ios::binary) << bytes.substr(0, fragments[2] + 500);
    const auto early = open(growing);
    EXPECT_TRUE(early.asset->isFragmented());
    EXPECT_EQ(early.asset->readableSize(), fragments[2]);
    std::ofstream(growing, std::ios::binary) << bytes;
    // The file has grown meanwhile; this asset ends where it ended.
    EXPECT_EQ(drain(early.video).size(), 50U);
    EXPECT_EQ(drain(open(growing).video).size(), 75U);
}

TEST_F(ReaderFiles, ATimecodeTrackIsNamedByItsPicturesAndComesUndecoded) {
    const auto path =
        make("timecode.mov",
             "-f lavfi -i testsrc2=s=64x64:r=30000/1001:d=0.5 -c:v mjpeg -timecode \"01:00:00;02\"");
    const auto opened = open(path, {5005, 30000});
    const auto video = opened.asset->tracksWithMediaType(mediaTypeVideo).at(0);
    const auto timecode = opened.asset->tracksWithMediaType(mediaTypeTimecode).at(0);
    EXPECT_EQ(video.timecodeTrackIDs, std::vector<std::uint32_t>{timecode.trackID});
    EXPECT_EQ(timecode.formatDescription->timecodeFormat()->flags & 1, 1U);
    const auto samples = drain(opened.raw);
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_EQ(readBE32(samples[0]->dataBuffer()->data().data()), 107894U);
    EXPECT_EQ(samples[0]->presentationTimeStamp().value, 0);
}

TEST_F(ReaderFiles, ATrackLeftFarBehindIsStillComplete) {
    // More than a reader keeps of the pictures while the sound is read to its end.
    const auto path = make("large.mov",
                           "-f lavfi -i testsrc2=s=1280x720:r=25:d=2 -f lavfi -i sine=r=48000:d=2 "
                           "-c:v rawvideo -pix_fmt uyvy422 -c:a pcm_s16le");
    const auto inStep = open(path);
    const auto expected = drain(inStep.video);
    ASSERT_EQ(expected.size(), 50U);
    const auto opened = open(path);
    EXPECT_EQ(sound(drain(opened.audio)).size(), 96000U);
    for (const auto& picture : expected) {
        const auto other = opened.video->copyNextSampleBuffer();
        ASSERT_TRUE(other);
        ASSERT_TRUE(samePicture(picture, other));
    }
    EXPECT_FALSE(opened.video->copyNextSampleBuffer());
    fs::remove(path);
}

TEST_F(ReaderFiles, SoundComesInTheDepthAndRateAskedFor) {
    const auto path = make("depth.wav", "-f lavfi -i sine=f=1000:r=44100:d=1 -c:a pcm_s24le");
    const auto read = [&](const AudioStreamBasicDescription& format, std::uint32_t rate) {
        const auto asset = Asset::assetWithURL(path);
        const auto reader = AssetReader::assetReaderWithAsset(asset);
        const auto output = AssetReaderTrackOutput::forAudio(asset->tracks()[0], format);
        if (rate > 0) output->setSampleRate(rate);
        reader->addOutput(output);
        EXPECT_TRUE(reader->startReading());
        std::vector<std::uint8_t> all;
        for (const auto& sample : drain(output)) {
            EXPECT_EQ(sample->presentationTimeStamp().converted(1000000).value,
                      (MediaTime{static_cast<std::int64_t>(all.size() / format.bytesPerFrame),
                                 static_cast<std::int32_t>(rate > 0 ? rate : 44100)})
                          .converted(1000000)
                          .value);
            all.insert(all.end(), sample->dataBuffer()->data().begin(), sample->dataBuffer()->data().end());
        }
        return all;
    };
    const auto high = read(pcm(24, 4), 0);
    const auto packed = read(pcm(24, 3), 0);
    const auto cut = read(pcm(16, 2), 0);
    ASSERT_EQ(high.size(), 44100U * 4);
    ASSERT_EQ(packed.size(), 44100U * 3);
    ASSERT_EQ(cut.size(), 44100U * 2);
    for (std::size_t i = 0; i < 44100; ++i) {
        ASSERT_EQ(high[i * 4], 0);
        ASSERT_EQ(std::memcmp(&high[i * 4 + 1], &packed[i * 3], 3), 0);
        ASSERT_EQ(std::memcmp(&high[i * 4 + 2], &cut[i * 2], 2), 0);
    }
    EXPECT_EQ(read(pcm(16, 2), 48000).size(), 48000U * 2);
}

TEST(ReaderErrors, FilesThatAreNoMediaAreRefusedWithAReason) {
    const auto folder = fs::temp_directory_path() / ("zenquor-refused-" + std::to_string(::getpid()));
    fs::create_directories(folder);
    std::ofstream(folder / "empty.mov");
    std::ofstream(folder / "noise.mov", std::ios::binary) << std::string(4096, '\x5A');
    // A play list must not lead anywhere else.
    std::ofstream(folder / "list.m3u8")
        << "#EXTM3U\n#EXT-X-TARGETDURATION:10\n#EXTINF:10,\nother.ts\n#EXT-X-ENDLIST\n";
    for (const char* name : {"missing.mov", "empty.mov", "noise.mov", "list.m3u8", "."}) {
        ZQErrorPtr error;
        EXPECT_FALSE(Asset::assetWithURL(folder / name, &error)) << name;
        ASSERT_TRUE(error) << name;
        EXPECT_EQ(error->domain(), assetErrorDomain);
        EXPECT_EQ(error->code(), assetErrorCannotOpen);
    }
    fs::remove_all(folder);
}

}  // namespace
}  // namespace zenquor::platform
