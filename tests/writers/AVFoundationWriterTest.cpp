// Movies written by the real thing and read back box by box.

#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <thread>

#include <fmt/format.h>

#include "writers/MovieWalk.h"
#include "writers/TestFrame.h"
#include "zenquor/platform/AssetWriter.h"
#include "zenquor/writers/ZQRAVFoundationWriter.h"
#include "zenquor/writers/ZQRMovieWriterController.h"
#include "zenquor/writers/detail/CaptionSample.h"

namespace zenquor {
namespace {

using test::Bytes;
using test::Movie;
using testing::ElementsAre;
using Packet = ZQRVANCClosedCaptionPacket;
namespace fs = std::filesystem;

constexpr std::uint32_t width = 720, height = 576;
constexpr std::size_t pictureBytes = 1920 * height;  // v210: 15 groups of 48 pixels in 128 bytes
constexpr std::size_t samplesPerFrame = 1920;
constexpr std::uint32_t sourceChannels = 8;

/// What channel @p c holds at sample @p n of the recording.
std::uint32_t toneAt(std::size_t n, std::uint32_t c) {
    return static_cast<std::uint32_t>(n * 16 + c) & 0xFFFFFF;
}

class Delegate final : public ZQRMovieWriterProtocolDelegate {
public:
    int setups = 0, frames = 0;
    void didFinishSetupWithOptions(const ZQRMovieWriterPtr&, const ZQDictionary&) override { ++setups; }
    void didWriteFrame(const ZQRMovieWriterPtr&, const ZQRFramePtr&) override { ++frames; }
    void didCacheFrame(const ZQRMovieWriterPtr&, const ZQRFramePtr&) override {}
    void didDropFrame(const ZQRMovieWriterPtr&, const ZQRFramePtr&) override {}
    void didSplitClipWithOptions(const ZQRMovieWriterPtr&, const ZQDictionary&) override {}
    void didFailWithError(const ZQRMovieWriterPtr&, const ZQErrorPtr&, const ZQRFramePtr&) override {}
    void didFinishWritingWithOptions(const ZQRMovieWriterPtr&, const ZQDictionary&) override {}
};

class AVFoundationWriterTest : public testing::Test {
protected:
    AVFoundationWriterTest()
        : folder(fs::temp_directory_path() / fmt::format("zenquor-writers-{}", ::getpid())) {
        fs::create_directories(folder);
    }
    ~AVFoundationWriterTest() override {
        writer.reset();
        fs::remove_all(folder);
    }

    struct Setup {
        std::uint32_t framerate = 2500;
        std::uint64_t bits = 24, channels = 8, alignment = 0;
        bool bigEndian = false;
        int container = 2;
        const char* codec = "v210";
        std::string name = "clip";
        int cacheMask = 0;
        bool alignedHigh = false;
    };
    void make(const Setup& setup) {
        auto preset = ZHLIngestCapturePreset::capturePreset();
        preset->setVideoWidth(width);
        preset->setVideoHeight(height);
        preset->setFramerate(setup.framerate);
        preset->setCompressionComponent(
            ZHLCompressionComponent::componentWithCode(fourCCFromString(setup.codec)));
        auto audio =
            ZQRAudioProperties::initWithBitRate(setup.bits, setup.bits == 16 ? 2 : 4, 48000, setup.channels);
        audio->setAudioAlignment(setup.alignment);
        audio->setAudioFormatFlagIsSignedInteger(true);
        audio->setAudioFormatFlagIsBigEndian(setup.bigEndian);
        audio->setAudioFormatFlagIsAlignedHigh(setup.alignedHigh);
        writer = ZQRAVFoundationWriter::initWithVideoProperties(
            ZQRVideoProperties::initWithCapturePreset(preset), audio,
            {{ZQRMovieWriterOptionContainer, setup.container},
             {ZQRMovieWriterOptionCacheMask, setup.cacheMask}});
        writer->setMovieWriterID("V1");
        writer->setSeparatorString("-");
        writer->setLength(0, (folder / setup.name).string(), "REEL7");
        writer->setDelegate(delegate);
    }
    static Bytes picture(int number) {
        Bytes bytes(pictureBytes);
        for (std::size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 251 + number);
        return bytes;
    }
    /// Frame @p number of a programme that starts at 10:00:00:00, 8 channels of 24 bits in 32.
    static test::TestFramePtr frame(int number, const Packet::Type* captions = nullptr, Bytes caption = {}) {
        auto made = std::make_shared<test::TestFrame>();
        made->time = number * 1000;
        made->channels = sourceChannels;
        made->bytesPerAudioFrame = sourceChannels * 4;
        made->timecode =
            ZQCKTimecode::timecodeWithFrames(10 * 90000 + number, ZQCKTimebase::timebaseForFramerate(2));
        auto store = ZQRFrameStore::helperWithData(ZQData::copying(picture(number)));
        store->setDecodeTimestamp(made->time);
        store->setDisplayTimestamp(made->time);
        store->setTimecode(made->timecode);
        store->setAudioData(
            ZQData::filling(samplesPerFrame * sourceChannels * 4, [&](std::span<std::uint8_t> out) {
                for (std::size_t i = 0; i < out.size() / 4; ++i) {
                    const auto tone =
                        toneAt(number * samplesPerFrame + i / sourceChannels, i % sourceChannels) << 8;
                    for (int b = 0; b < 4; ++b) out[i * 4 + b] = static_cast<std::uint8_t>(tone >> (8 * b));
                }
            }));
        if (captions) {
            made->captions = true;
            auto packet = Packet::closedCaptionPacketWithData(ZQData::copying(caption), *captions);
            made->packets = {packet};
            store->setClosedCaptionData(packet);
        }
        made->setFrameHelper(store, "V");
        return made;
    }
    void write(const ZQRFramePtr& made) {
        ZQErrorPtr error;
        EXPECT_TRUE(writer->writeFrame(made, &error)) << describe(error.get());
    }
    Movie finish() {
        EXPECT_TRUE(writer->finishWritingMovie());
        EXPECT_FALSE(writer->assetWriterError());
        return Movie(writer->filename());
    }

    fs::path folder;
    std::shared_ptr<Delegate> delegate = std::make_shared<Delegate>();
    ZQRAVFoundationWriterPtr writer;
};

constexpr Packet::Type pairs = Packet::TypeCEA608;

TEST_F(AVFoundationWriterTest, WritesEveryTrackOfARecordingBitByBit) {
    make({});
    const Bytes first{0x94, 0x20, 0x80, 0x80}, second{0xC8, 0xE5};  // RCL with an idle field 2, then "He"
    write(frame(0, &pairs, first));
    auto converted = frame(1, &pairs, second);
    converted->packets[0]->sdiData();  // another output made a CDP of it
    write(converted);
    write(frame(2));  // repeats the caption
    for (int i = 3; i < 60; ++i) write(frame(i, &pairs, first));
    EXPECT_EQ(delegate->setups, 1);
    EXPECT_EQ(delegate->frames, 60);
    const Movie movie = finish();
    EXPECT_FALSE(movie.isFragmented);
    EXPECT_EQ(movie.timeScale, 25000u);
    ASSERT_EQ(movie.tracks.size(), 1u + 8 + 1 + 1);

    const auto video = movie.tracksOf("vide");
    ASSERT_EQ(video.size(), 1u);
    EXPECT_EQ(video[0]->entry, "v210");
    EXPECT_EQ(video[0]->timeScale, 25000u);
    EXPECT_EQ(video[0]->durations, std::vector<std::uint32_t>(60, 1000));
    ASSERT_EQ(video[0]->samples.size(), 60u);
    for (int i = 0; i < 60; ++i) ASSERT_EQ(video[0]->samples[i], picture(i)) << "picture " << i;

    const auto audio = movie.tracksOf("soun");
    ASSERT_EQ(audio.size(), 8u);
    for (std::uint32_t c = 0; c < 8; ++c) {
        EXPECT_EQ(audio[c]->entry, "in24");
        EXPECT_EQ(audio[c]->timeScale, 48000u);
        const Bytes sound = audio[c]->joined();
        ASSERT_EQ(sound.size(), 60 * samplesPerFrame * 3);
        for (std::size_t n = 0; n < 60 * samplesPerFrame; ++n) {
            const std::uint32_t value = sound[n * 3] | sound[n * 3 + 1] << 8 | sound[n * 3 + 2] << 16;
            ASSERT_EQ(value, toneAt(n, c)) << "channel " << c << " sample " << n;
        }
    }

    const auto timecode = movie.tracksOf("tmcd");
    ASSERT_EQ(timecode.size(), 1u);
    EXPECT_EQ(readBE32(timecode[0]->entryBytes.data() + 12), 2u) << "flags";
    EXPECT_EQ(timecode[0]->entryBytes[24], 25) << "labels per second";
    ASSERT_EQ(timecode[0]->samples.size(), 60u);
    EXPECT_EQ(timecode[0]->samples[0], (Bytes{0x00, 0x0D, 0xBB, 0xA0}));  // 900000
    EXPECT_EQ(timecode[0]->samples[59], (Bytes{0x00, 0x0D, 0xBB, 0xDB}));
    EXPECT_FALSE(test::box(video[0]->references, fourCC("tmcd")).empty());

    const auto captions = movie.tracksOf("clcp");
    ASSERT_EQ(captions.size(), 1u);
    EXPECT_EQ(captions[0]->entry, "c608");
    ASSERT_EQ(captions[0]->samples.size(), 60u);
    const Bytes both{0, 0, 0, 10, 'c', 'd', 'a', 't', 0x94, 0x20,
                     0, 0, 0, 10, 'c', 'd', 't', '2', 0x80, 0x80};
    const Bytes one{0, 0, 0, 10, 'c', 'd', 'a', 't', 0xC8, 0xE5};
    EXPECT_EQ(captions[0]->samples[0], both);
    EXPECT_EQ(captions[0]->samples[1], one);
    EXPECT_EQ(captions[0]->samples[2], one);
    EXPECT_EQ(captions[0]->samples[59], both);

    const auto metadata = writer->metadata();
    EXPECT_EQ(metadata.size(), 7u);
    EXPECT_EQ(metadata[ZQMovieWriterFrameCount].integerValue(), 60);
    EXPECT_EQ(metadata[ZQMovieWriterStartTime].integerValue(), 900000);
    EXPECT_EQ(metadata[ZQMovieWriterClipname].stringValue(), (folder / "clip.mov").string());
}

TEST_F(AVFoundationWriterTest, IsUnderstoodByAnIndependentReader) {
    if (std::system("command -v ffprobe > /dev/null") != 0) GTEST_SKIP() << "no ffprobe on this machine";
    make({});
    for (int i = 0; i < 5; ++i) write(frame(i, &pairs, {0x94, 0x20}));
    finish();
    const auto command =
        "ffprobe -v error -show_entries stream=codec_name,nb_frames,duration_ts:stream_tags=timecode "
        "-of csv=p=0 " +
        writer->filename();
    std::string told;
    std::array<char, 256> part;
    FILE* const pipe = ::popen(command.c_str(), "r");
    ASSERT_TRUE(pipe);
    while (std::fgets(part.data(), part.size(), pipe)) told += part.data();
    ASSERT_EQ(::pclose(pipe), 0);
    EXPECT_NE(told.find("v210,5000,5,10:00:00:00"), std::string::npos) << told;
    EXPECT_NE(told.find("pcm_s24le,9600,"), std::string::npos) << told;
    EXPECT_NE(told.find("eia_608,5000,5"), std::string::npos) << told;
}

struct AudioCase {
    std::uint64_t bits, channels, alignment;
    bool bigEndian;
    const char* entry;
    std::size_t tracks, frameBytes;
    std::vector<std::uint8_t> secondFrame;  // of the last track: sample 1
};

class AudioTrackTest : public AVFoundationWriterTest, public testing::WithParamInterface<AudioCase> {};

TEST_P(AudioTrackTest, HasTheSelectedChannelsInTheSelectedOrder) {
    const auto& c = GetParam();
    Setup setup;
    setup.bits = c.bits, setup.channels = c.channels, setup.alignment = c.alignment,
    setup.bigEndian = c.bigEndian;
    make(setup);
    write(frame(0));
    const Movie movie = finish();
    const auto audio = movie.tracksOf("soun");
    ASSERT_EQ(audio.size(), c.tracks);
    EXPECT_EQ(audio.back()->entry, c.entry);
    ASSERT_EQ(audio.back()->samples.size(), samplesPerFrame);
    EXPECT_EQ(audio.back()->samples[1].size(), c.frameBytes);
    EXPECT_EQ(audio.back()->samples[1], c.secondFrame);
}

// Sample 1 of channel c is 0x000010 + c; 16-bit tracks keep the high bytes.
INSTANTIATE_TEST_SUITE_P(Layouts, AudioTrackTest,
                         testing::Values(AudioCase{24, 8, 1, false, "in24", 4, 6, {0x16, 0, 0, 0x17, 0, 0}},
                                         AudioCase{24, 8, 0, true, "in24", 8, 3, {0, 0, 0x17}},
                                         AudioCase{24, 2, 0, false, "in24", 2, 3, {0x11, 0, 0}},
                                         AudioCase{24, 10, 1, false, "in24", 5, 6, {0, 0, 0, 0, 0, 0}},
                                         AudioCase{16, 4, 1, false, "sowt", 2, 4, {0, 0, 0, 0}},
                                         AudioCase{16, 4, 0, true, "twos", 4, 2, {0, 0}}));

TEST_F(AVFoundationWriterTest, CountsTimecodesOnFromAnOverriddenStartAndNamesTheFileAfterIt) {
    Setup setup;
    setup.name = "take <StartTimecode>.MOV";
    setup.channels = 0;
    make(setup);
    const auto start = ZQCKTimecode::timecodeWithString("23:59:59:24", ZQCKTimebase::timebaseForFramerate(2));
    writer->setUseOtherStartTimecode(true);
    writer->setOtherStartTimecode(start);
    for (int i = 0; i < 3; ++i) write(frame(i));
    EXPECT_EQ(writer->startTimecode(), start);
    EXPECT_EQ(writer->filename(), (folder / "take 23-59-59-24.mov").string());
    const Movie movie = finish();
    EXPECT_TRUE(movie.tracksOf("soun").empty());
    const Bytes last{0x00, 0x20, 0xF5, 0x7F};  // 2159999, the last frame of the day
    EXPECT_THAT(movie.tracksOf("tmcd").at(0)->samples,
                ElementsAre(last, Bytes{0, 0, 0, 0}, Bytes{0, 0, 0, 1}));
}

TEST_F(AVFoundationWriterTest, TakesANewNameWhenTheFileExists) {
    for (const char* name : {"clip.mov", "clip-1.mov"}) std::fclose(std::fopen((folder / name).c_str(), "w"));
    make({});
    test::LogEar log;
    write(frame(0));
    EXPECT_EQ(writer->filename(), (folder / "clip-2.mov").string());
    EXPECT_EQ(log.count("ZQRAVFoundationWriter: Will try again with " + (folder / "clip-2.mov").string()), 1);
    const Movie movie = finish();
    EXPECT_EQ(movie.tracksOf("vide").at(0)->samples.size(), 1u);
    EXPECT_EQ(fs::file_size(folder / "clip.mov"), 0u);
}

TEST_F(AVFoundationWriterTest, WritesNoTimecodeAndNoCaptionsIntoMPEG4) {
    Setup setup;
    setup.container = 7;
    make(setup);
    for (int i = 0; i < 3; ++i) write(frame(i, &pairs, {0x94, 0x20}));
    EXPECT_EQ(writer->filename(), (folder / "clip.mp4").string());
    const Movie movie = finish();
    EXPECT_EQ(movie.tracks.size(), 9u);
    EXPECT_TRUE(movie.tracksOf("tmcd").empty());
}

TEST_F(AVFoundationWriterTest, CountsFramesOfNTSCIn1001stsAndDropsLabels) {
    Setup setup;
    setup.framerate = 2997;
    setup.channels = 0;
    make(setup);
    for (int i = 0; i < 3; ++i) {
        auto made = frame(i);
        auto store = std::dynamic_pointer_cast<ZQRFrameStore>(made->helperForKey("V"));
        store->setDecodeTimestamp(i * 1001);
        store->setDisplayTimestamp(i * 1001);
        write(made);
    }
    const Movie movie = finish();
    EXPECT_EQ(movie.tracksOf("vide").at(0)->timeScale, 30000u);
    EXPECT_THAT(movie.tracksOf("vide").at(0)->durations, ElementsAre(1001, 1001, 1001));
    const auto* timecode = movie.tracksOf("tmcd").at(0);
    EXPECT_THAT(timecode->durations, ElementsAre(1001, 1001, 1001));
    EXPECT_EQ(readBE32(timecode->entryBytes.data() + 12), 3u);
}

TEST_F(AVFoundationWriterTest, MarksDependentPicturesOfBareBytes) {
    Setup setup;
    setup.codec = "xdvc";
    setup.channels = 0;
    make(setup);
    const std::uint32_t types[] = {2, 3, 4, 1, 3};
    for (int i = 0; i < 5; ++i) {
        auto made = frame(i);
        std::dynamic_pointer_cast<ZQRFrameStore>(made->helperForKey("V"))->setFrameType(types[i]);
        write(made);
    }
    const Movie movie = finish();
    EXPECT_EQ(movie.tracksOf("vide").at(0)->entry, "xdvc");
    EXPECT_THAT(movie.tracksOf("vide").at(0)->syncSamples, ElementsAre(1, 4));
}

TEST_F(AVFoundationWriterTest, EncodesH264WithOneStereoTrackOfAAC) {
    Setup setup;
    setup.codec = "avc1";
    setup.alignedHigh = true;
    setup.cacheMask = 1;
    make(setup);
    test::LogEar log;
    for (int i = 0; i < 15; ++i) {
        auto made = frame(i);
        ASSERT_EQ(platform::PixelBuffer::create(width, height, platform::pixelFormat2vuy, made->picture),
                  platform::noErr);
        std::fill_n(made->picture->mutableBaseAddress(), made->picture->dataSize(),
                    static_cast<std::uint8_t>(64 + i));
        write(made);
    }
    const Movie movie = finish();
    const auto video = movie.tracksOf("vide"), audio = movie.tracksOf("soun");
    ASSERT_EQ(video.size(), 1u);
    EXPECT_EQ(video[0]->entry, "avc1");
    EXPECT_EQ(video[0]->samples.size(), 15u);
    EXPECT_EQ(readBE32(video[0]->entryBytes.data() + 24), 480u << 16 | 272u) << "the default size";
    ASSERT_EQ(audio.size(), 1u);
    EXPECT_EQ(audio[0]->entry, "mp4a");
    EXPECT_GE(audio[0]->samples.size(), 15 * samplesPerFrame / 1024);
    EXPECT_EQ(movie.tracksOf("tmcd").at(0)->samples.size(), 15u);
    EXPECT_EQ(
        log.count(
            "ZQRAVFoundationWriter: Will NOT disable UBC. May have negative effects on fallbacks, in case "
            "something goes wrong"),
        1);
}

TEST_F(AVFoundationWriterTest, TellsWhenATimedRecordingIsFullAndStallsOnDemand) {
    make({});
    writer->setFramesLeftToRecord(2);
    writer->setCountdownToStall(1);
    writer->setCountdownCounter(0);
    test::LogEar log;
    for (int i = 0; i < 3; ++i) write(frame(i));
    EXPECT_EQ(log.count("is full. Please close"), 1);
    EXPECT_EQ(log.count("ZQRAVFoundationWriter: Will block writing for 0 seconds"), 1);
    EXPECT_EQ(log.count("ZQRAVFoundationWriter: Will CONTINUE writing"), 1);
    EXPECT_EQ(writer->countdownToStall(), -1);
    finish();
}

TEST_F(AVFoundationWriterTest, FailsAFrameWithoutCodedDataAndOneThatComesTooLate) {
    make({});
    ZQErrorPtr error;
    auto bare = std::make_shared<test::TestFrame>();
    EXPECT_FALSE(writer->writeFrame(bare, &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), "ZQRMovieWriterErrorDomain");
    EXPECT_EQ(error->code(), -300);
    bare->setFrameHelper(ZQRFrameStore::helperWithData(std::nullopt), "V");
    EXPECT_FALSE(writer->writeFrame(bare));
    EXPECT_TRUE(writer->finishWritingMovie()) << "also without a file";
    EXPECT_FALSE(writer->writeFrame(frame(0), &error));
    EXPECT_EQ(error->code(), -36);
    EXPECT_EQ(error->localizedDescription(), ZQError::writeError());
    EXPECT_EQ(writer->writeError(), error);
}

TEST_F(AVFoundationWriterTest, ReportsTheTrackThatCouldNotBeWrittenAndStillEnds) {
    make({});
    write(frame(0));
    auto silent = frame(1);
    std::dynamic_pointer_cast<ZQRFrameStore>(silent->helperForKey("V"))->setAudioData(std::nullopt);
    test::LogEar log;
    ZQErrorPtr error;
    EXPECT_FALSE(writer->writeFrame(silent, &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), -30003);
    EXPECT_EQ(error->localizedDescription(),
              "Couldn't write audio track. This may indicate overall system/storage performance issues.");
    EXPECT_EQ(log.count("ZQRAVFoundationWriter: No frame data available, need to bail out."), 1);
    EXPECT_EQ(
        log.count("ZQRAVFoundationWriter couldn't append audio samples with error The asset writer didn't "
                  "throw an error. Indicates performance problems"),
        1);
    EXPECT_EQ(writer->framesRecorded(), 1u);
    const Movie movie = finish();
    EXPECT_EQ(movie.tracksOf("soun").at(0)->samples.size(), samplesPerFrame);
}

TEST_F(AVFoundationWriterTest, SaysWhyAFileCannotBeStarted) {
    Setup setup;
    setup.name = "no/such/folder/clip";
    make(setup);
    ZQErrorPtr error;
    EXPECT_FALSE(writer->writeFrame(frame(0), &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), -200);
    EXPECT_EQ(error->localizedDescription(), "Couldn't start recording: H264 Settings are not valid.");
    EXPECT_EQ(error->userInterfaceDescription(), ZQError::encodingError());
}

TEST_F(AVFoundationWriterTest, FailsWithTheAssetWritersErrorWhenTheDiskIsFull) {
    make({});
    ::rlimit old{};
    ::getrlimit(RLIMIT_FSIZE, &old);
    ::signal(SIGXFSZ, SIG_IGN);
    const ::rlimit small{8 << 20, old.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
    ZQErrorPtr error;
    bool written = true;
    for (int i = 0; i < 1000 && written; ++i) written = writer->writeFrame(frame(i), &error);
    EXPECT_FALSE(written);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), platform::assetWriterErrorDomain);
    // Whichever track comes first after the disk has said no.
    EXPECT_THAT(error->userInterfaceDescription(), testing::StartsWith("Couldn't write "));
    EXPECT_FALSE(writer->writeFrame(frame(0), &error));
    EXPECT_THAT(error->userInterfaceDescription(), testing::StartsWith("Couldn't write video track."));
    EXPECT_TRUE(writer->finishWritingMovie());
    ASSERT_TRUE(writer->assetWriterError());
    EXPECT_EQ(error->code(), writer->assetWriterError()->code());
    ::setrlimit(RLIMIT_FSIZE, &old);
}

class RunDelegate final : public ZQRMovieWriterControllerDelegate {
public:
    std::promise<bool> finished;
    std::atomic<int> setups{0};
    void didSetupMovieWriter(const ZQRMovieWriterControllerPtr&, const ZQDictionary&) override { ++setups; }
    void didFinishSuccessfully(const ZQRMovieWriterControllerPtr&, bool success, const ZQErrorPtr&) override {
        finished.set_value(success);
    }
};

TEST_F(AVFoundationWriterTest, RecordsThroughAControllerWhileOthersLookOn) {
    constexpr int frames = 50;
    make({});
    const auto run = std::make_shared<RunDelegate>();
    const auto controller = ZQRMovieWriterController::initWithMovieWriter(writer, run, frames + 25);
    controller->start();
    auto finished = run->finished.get_future();
    for (int i = 0; i < frames; ++i) {
        auto made = frame(i);
        if (i == frames - 1) made->status = ZQRFrameStatusLast;
        ASSERT_TRUE(controller->addRawFrame(made));
        ASSERT_TRUE(controller->addEncodedFrame(made));
    }
    do {
        ZQDictionaryList diagnostics;
        controller->gatherQueueDiagnostics(diagnostics);
        EXPECT_LE(writer->metadata()[ZQMovieWriterFrameCount].integerValue(), frames);
        writer->startTimecode();
        writer->assetWriterError();
    } while (finished.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready);
    EXPECT_TRUE(finished.get());
    EXPECT_EQ(run->setups, 1);
    controller->shutdown();
    const Movie movie(writer->filename());
    EXPECT_EQ(movie.tracksOf("vide").at(0)->samples.size(), static_cast<std::size_t>(frames));
    EXPECT_EQ(movie.tracksOf("soun").at(7)->samples.size(), frames * samplesPerFrame);
}

TEST_F(AVFoundationWriterTest, KeepsUpWhileRecordingAndMayBeLetGoUnfinished) {
    make({});
    for (int i = 0; i < 30; ++i) write(frame(i));
    const auto waiting = [&] {
        ZQDictionaryList queues;
        writer->gatherQueueDiagnostics(queues);
        std::int64_t samples = 0;
        for (const auto& queue : queues) samples += queue["elementCount"].integerValue();
        return samples;
    };
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (waiting() > 0 && std::chrono::steady_clock::now() < limit) std::this_thread::yield();
    ASSERT_EQ(waiting(), 0) << "samples reach the file before the end";
    const auto path = writer->filename();
    writer.reset();  // its threads wait for samples that will not come
    EXPECT_GT(fs::file_size(path), 30 * pictureBytes);
}

TEST(CaptionSample, FollowsTheTrackWhateverThePacketWasMadeAs) {
    const auto fromPairs = Packet::closedCaptionPacketWithData(ZQData::copying(Bytes{0x94, 0x2C, 0x80, 0x80}),
                                                               Packet::TypeCEA608);
    const auto cdp = fromPairs->dataFor708();
    ASSERT_TRUE(cdp);
    const auto fromCDP = Packet::closedCaptionPacketWithData(*cdp, Packet::TypeCDP);
    const Bytes expected{0, 0, 0, 10, 'c', 'd', 'a', 't', 0x94, 0x2C,
                         0, 0, 0, 10, 'c', 'd', 't', '2', 0x80, 0x80};
    for (const auto& packet : {fromPairs, fromCDP}) {
        const auto sample = detail::captionSample(packet.get(), fourCC("c608"));
        ASSERT_TRUE(sample);
        EXPECT_EQ(Bytes(sample->begin(), sample->end()), expected);
        const auto wide = detail::captionSample(packet.get(), fourCC("c708"));
        ASSERT_TRUE(wide);
        EXPECT_EQ(wide->size(), 97u);
        EXPECT_EQ(readBE32(wide->data()), 97u);
        EXPECT_EQ(readBE32(wide->data() + 4), fourCC("ccdp"));
        EXPECT_EQ((*wide)[8], 0x96);
    }
    EXPECT_EQ(fromPairs->type(), Packet::TypeCEA608) << "asking does not convert the packet";
    EXPECT_FALSE(detail::captionSample(nullptr, fourCC("c608")));
    const auto empty = detail::emptyCaptionSample(fourCC("c608"));
    EXPECT_EQ(Bytes(empty.begin(), empty.end()), (Bytes{0, 0, 0, 10, 'c', 'd', 'a', 't', 0x80, 0x80}));
}

}  // namespace
}  // namespace zenquor
