// MXF files written by the real thing and read back through the demuxer.

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <future>

#include <fmt/format.h>

#include "writers/FileFaults.h"
#include "writers/TestFrame.h"
#include "zenquor/mxf/Demux.h"
#include "zenquor/platform/CompressionSession.h"
#include "zenquor/vanc/ZQRVANCHelper.h"
#include "zenquor/vanc/ZQRVANCPacketImpl.h"
#include "zenquor/writers/ZQRMovieWriterController.h"
#include "zenquor/writers/ZQRNabletMXFWriter.h"

namespace zenquor {
namespace {

using test::LogEar;
using test::TestFramePtr;
using testing::ElementsAre;
using Bytes = std::vector<std::uint8_t>;
namespace fs = std::filesystem;

constexpr std::uint32_t width = 720, height = 576;
constexpr std::size_t samplesPerFrame = 1920;

Bytes copyOf(const ZQData& data) {
    return {data.begin(), data.end()};
}

/// Coded pictures of one codec, each different.
std::vector<platform::SampleBufferPtr> codedPictures(FourCC codec, int count) {
    std::vector<platform::SampleBufferPtr> samples;
    platform::CompressionSessionPtr session;
    const auto keep = [&](const std::shared_ptr<void>&, platform::Status status,
                          const platform::SampleBufferPtr& sample) {
        EXPECT_EQ(status, platform::noErr);
        samples.push_back(sample);
    };
    EXPECT_EQ(platform::CompressionSession::create(width, height, codec, {}, keep, session), platform::noErr);
    for (int i = 0; session && i < count; ++i) {
        platform::PixelBufferPtr picture;
        EXPECT_EQ(platform::PixelBuffer::create(width, height, fourCC("2vuy"), picture), platform::noErr);
        auto* const bytes = const_cast<std::uint8_t*>(picture->baseAddress());
        for (std::size_t at = 0; at < picture->dataSize(); ++at)
            bytes[at] = static_cast<std::uint8_t>(64 + (at / 16 + static_cast<std::size_t>(i) * 9) % 128);
        EXPECT_EQ(session->encodeFrame(picture, {i * 1000, 25000}, {1000, 25000}, nullptr), platform::noErr);
    }
    if (session) session->completeFrames();
    return samples;
}

/// What channel @p c holds at sample @p n of the recording.
std::uint32_t toneAt(std::size_t n, std::uint32_t c) {
    return static_cast<std::uint32_t>(n * 16 + c) & 0xFFFFFF;
}

/// Takes samples from the demuxer.
class Collector final : public mxf::MemoryStream {
public:
    std::vector<Bytes> samples;
    std::int32_t Write(std::span<const std::uint8_t> bytes) override {
        pending_.insert(pending_.end(), bytes.begin(), bytes.end());
        return static_cast<std::int32_t>(bytes.size());
    }
    std::int32_t Control(std::int32_t, const mxf::SampleRecord::Bytes&) override {
        samples.push_back(std::exchange(pending_, {}));
        return 0;
    }

private:
    Bytes pending_;
};

/// A file as the demuxer sees it.
struct File {
    mxf::FileReport report;
    mxf::FileInfo info;
    std::vector<mxf::StreamFormat> formats;
    std::vector<std::vector<Bytes>> streams;

    explicit File(const std::string& path) {
        auto* const demuxer = mxfDemuxNew();
        EXPECT_EQ(mxfDemuxOpen(demuxer, path.c_str(), {}, nullptr), 0) << path;
        EXPECT_EQ(mxfDemuxGetFileInfo(demuxer, info), 0);
        if (const auto* found = mxfDemuxGetReport(demuxer)) report = *found;
        for (std::int32_t stream = 0; stream < info.streamCount; ++stream) {
            mxf::StreamFormat format;
            EXPECT_EQ(mxfDemuxGetStreamFormat(demuxer, stream, format), 0);
            formats.push_back(format);
            Collector sink;
            std::int32_t parser = -1;
            EXPECT_EQ(mxfDemuxCreateParser(demuxer, stream, parser), 0);
            EXPECT_EQ(mxfDemuxAddStream(demuxer, parser, stream, &sink), 0);
            while (mxfDemuxPush(demuxer, parser) == 0) {
            }
            mxfDemuxRemoveStream(demuxer, parser, stream);
            streams.push_back(std::move(sink.samples));
        }
        mxfDemuxFree(demuxer);
        EXPECT_THAT(report.faults, ElementsAre());
    }
};

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

class MXFWriterTest : public testing::Test {
protected:
    MXFWriterTest() : folder(fs::temp_directory_path() / fmt::format("zenquor-mxf-{}", ::getpid())) {
        fs::create_directories(folder);
    }
    ~MXFWriterTest() override {
        writer.reset();
        // A run by hand may want to see the files.
        if (!std::getenv("ZENQUOR_KEEP_FILES")) fs::remove_all(folder);
    }

    struct Setup {
        std::string codec = "apcn";
        std::string name = "clip";
        std::uint32_t framerate = 2500;
        std::uint64_t bits = 24, channels = 8;
        int cacheMask = 0;
        std::int64_t blockSize = 0;
        bool updateHeader = false;
        std::uint32_t norm = 0, aspectRatio = 0;
    };
    void make(const Setup& setup) {
        bits = setup.bits;
        channels = static_cast<std::uint32_t>(setup.channels);
        auto preset = ZHLIngestCapturePreset::capturePreset();
        preset->setVideoWidth(width);
        preset->setVideoHeight(height);
        preset->setFramerate(setup.framerate);
        preset->setTvNorm(setup.norm);
        preset->setAspectRatio(setup.aspectRatio);
        preset->setUpdateMXFHeaderLength(setup.updateHeader);
        preset->setCompressionComponent(
            ZHLCompressionComponent::componentWithCode(fourCCFromString(setup.codec)));
        ZQRAudioPropertiesPtr audio;
        if (channels != 0) {
            audio = ZQRAudioProperties::initWithBitRate(bits, bits == 16 ? 2 : 4, 48000, channels);
            audio->setNativeChannelCount(channels);
            audio->setAudioFormatFlagIsSignedInteger(true);
            audio->setAudioFormatFlagIsAlignedHigh(bits == 24);
        }
        ZQDictionary options = {{ZQRMovieWriterOptionCapturePreset, preset},
                                {ZQRMovieWriterOptionCacheMask, setup.cacheMask}};
        if (setup.blockSize != 0) options.set(ZQRMovieWriterOptionMXFBlockSize, setup.blockSize);
        writer = ZQRNabletMXFWriter::initWithVideoProperties(
            ZQRVideoProperties::initWithCapturePreset(preset), audio, options);
        writer->setMovieWriterID("V1");
        writer->setSeparatorString("-");
        writer->setLength(0, (folder / setup.name).string(), "REEL7");
        writer->setDelegate(delegate);
    }
    /// Frame @p number of a programme that starts at 10:00:00:00.
    TestFramePtr frame(int number, const ZQRFrameStorePtr& store) {
        auto made = std::make_shared<test::TestFrame>();
        made->time = number * 1000;
        made->timecode =
            ZQCKTimecode::timecodeWithFrames(10 * 90000 + number, ZQCKTimebase::timebaseForFramerate(2));
        if (!store) return made;
        store->setDecodeTimestamp(made->time);
        const std::size_t sampleBytes = bits == 16 ? 2 : 4;
        if (channels != 0) {
            store->setAudioData(
                ZQData::filling(samplesPerFrame * channels * sampleBytes, [&](std::span<std::uint8_t> out) {
                    for (std::size_t i = 0; i < out.size() / sampleBytes; ++i) {
                        const auto n = static_cast<std::size_t>(number) * samplesPerFrame + i / channels;
                        const auto tone = toneAt(n, static_cast<std::uint32_t>(i % channels))
                                          << (bits == 24 ? 8 : 0);
                        for (std::size_t b = 0; b < sampleBytes; ++b)
                            out[i * sampleBytes + b] = static_cast<std::uint8_t>(tone >> (8 * b));
                    }
                }));
        }
        made->setFrameHelper(store, "V");
        return made;
    }
    TestFramePtr frame(int number, const platform::SampleBufferPtr& sample) {
        return frame(number, ZQRFrameStore::helperWithCMSampleBuffer(sample));
    }
    Bytes expectedSound(int number, std::uint32_t channel) const {
        Bytes bytes;
        for (std::size_t i = 0; i < samplesPerFrame; ++i) {
            const auto tone = toneAt(static_cast<std::size_t>(number) * samplesPerFrame + i, channel);
            for (std::size_t b = 0; b < bits / 8; ++b)
                bytes.push_back(static_cast<std::uint8_t>(tone >> (8 * b)));
        }
        return bytes;
    }
    std::string path(const char* name) const { return (folder / name).string(); }

    fs::path folder;
    std::uint64_t bits = 24;
    std::uint32_t channels = 8;
    std::shared_ptr<Delegate> delegate = std::make_shared<Delegate>();
    ZQRNabletMXFWriterPtr writer;
};

ZQRVANCPacketList packetsOf(int number) {
    const auto packet = [&](std::int32_t did, std::int32_t sdid, std::int32_t line, std::size_t count) {
        return ZQRVANCPacketImpl::initWithDID(
            did, sdid, line, ZQData::filling(count, [&](std::span<std::uint8_t> out) {
                for (std::size_t i = 0; i < out.size(); ++i)
                    out[i] = static_cast<std::uint8_t>(i * 3 + static_cast<std::size_t>(number));
            }));
    };
    switch (number % 3) {
        case 0:
            return {packet(0x61, 0x01, 9, 73), packet(0x41, 0x07, 10, 31)};
        case 1:
            return {};
        default:
            return {packet(0x43, 0x02, 575, 255)};
    }
}

class ControllerDelegate final : public ZQRMovieWriterControllerDelegate {
public:
    std::promise<bool> finished;
    int setups = 0;
    void didSetupMovieWriter(const ZQRMovieWriterControllerPtr&, const ZQDictionary&) override { ++setups; }
    void didFinishSuccessfully(const ZQRMovieWriterControllerPtr&, bool success, const ZQErrorPtr&) override {
        finished.set_value(success);
    }
};

TEST_F(MXFWriterTest, ARecordingThroughTheControllerComesBackPictureSoundAndPackets) {
    const auto pictures = codedPictures(fourCC("apcn"), 7);
    ASSERT_EQ(pictures.size(), 7u);
    make({});
    const auto listener = std::make_shared<ControllerDelegate>();
    const auto controller = ZQRMovieWriterController::initWithMovieWriter(writer, listener, 64);
    std::vector<TestFramePtr> frames;
    for (int i = 0; i < 7; ++i) {
        frames.push_back(frame(i, pictures[static_cast<std::size_t>(i)]));
        frames.back()->packets = packetsOf(i);
    }
    frames.back()->setFrameStatus(ZQRFrameStatusLast);
    controller->start();
    for (const auto& each : frames) ASSERT_TRUE(controller->addRawFrame(each));
    for (const auto& each : frames) ASSERT_TRUE(controller->addEncodedFrame(each));
    EXPECT_TRUE(listener->finished.get_future().get());
    controller->shutdown();
    EXPECT_EQ(listener->setups, 1);
    EXPECT_EQ(writer->writeError(), nullptr);
    EXPECT_EQ(writer->filename(), path("clip.mxf"));
    EXPECT_EQ(writer->framesWritten(), 7u);
    EXPECT_EQ(writer->metadata()[ZQMovieWriterFrameCount].integerValue(), 7);
    EXPECT_EQ(writer->metadata()[ZQMovieWriterStartTime].integerValue(), 900000);

    const File file(path("clip.mxf"));
    EXPECT_EQ(file.info.duration, 7);
    EXPECT_EQ(file.info.startTimecodeFrames, 900000);
    EXPECT_FALSE(file.info.isGrowing);
    EXPECT_EQ(file.report.reelName, "REEL7");
    EXPECT_EQ(file.report.clipName, "clip");
    ASSERT_FALSE(file.report.identifications.empty());
    EXPECT_EQ(file.report.identifications.front().company, "Quorvane");
    EXPECT_EQ(file.report.identifications.front().product, "vel:orb");
    EXPECT_THAT(file.report.identifications.front().version, testing::StartsWith("5.0"));
    EXPECT_THAT(file.report.identifications.front().platform, testing::HasSubstr("macOS"));
    ASSERT_EQ(file.streams.size(), 1u + 8 + 1);
    for (std::size_t i = 0; i < 7; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(file.streams[0][i], copyOf(pictures[i]->dataBuffer()->data()));
        for (std::uint32_t c = 0; c < 8; ++c)
            EXPECT_EQ(file.streams[1 + c][i], expectedSound(static_cast<int>(i), c)) << "channel " << c;
    }
    std::vector<Bytes> elements;
    for (int i = 0; i < 7; ++i) {
        const auto packed = ZQRVANCHelper::packVANCDataPacketsInSMPTE436MStream(packetsOf(i), 1, true, 4);
        elements.push_back(packed ? copyOf(*packed) : Bytes{0, 0});  // no packet: a count of 0
    }
    EXPECT_EQ(file.streams[9], elements);
}

TEST_F(MXFWriterTest, AGrowingFileShowsEveryWholePartitionThoughABlockIsLarger) {
    const auto pictures = codedPictures(fourCC("apco"), 1);
    make({.codec = "apco", .channels = 0});
    const auto unitsOnDisk = [&] {
        auto* const demuxer = mxfDemuxNew();
        mxf::FileInfo info;
        EXPECT_EQ(mxfDemuxOpen(demuxer, path("clip.mxf").c_str(), {}, nullptr), 0);
        mxfDemuxGetFileInfo(demuxer, info);
        EXPECT_EQ(info.streamCount, 2);
        EXPECT_TRUE(info.isGrowing);
        mxfDemuxFree(demuxer);
        return info.duration;
    };
    // Ten seconds are a partition; a unit is written when the next one has begun.
    constexpr int partition = 250;
    int number = 0;
    const auto writeUpTo = [&](int count) {
        for (; number < count; ++number) ASSERT_TRUE(writer->writeFrame(frame(number, pictures[0])));
    };
    writeUpTo(2);
    EXPECT_GE(unitsOnDisk(), 0);
    writeUpTo(partition + 2);
    EXPECT_GE(unitsOnDisk(), partition);
    ASSERT_LT(fs::file_size(path("clip.mxf")), 0x4000000u) << "less than a block, or this shows nothing";
    writeUpTo(2 * partition + 2);
    EXPECT_GE(unitsOnDisk(), 2 * partition);
    writer.reset();  // abandoned, as by a crash
    EXPECT_GE(unitsOnDisk(), 2 * partition);
}

TEST_F(MXFWriterTest, TheHeaderTellsHowLongARecordingIsEveryHundredFramesWhereAskedTo) {
    const auto pictures = codedPictures(fourCC("apco"), 1);
    for (const bool asked : {false, true}) {
        fs::remove(path("clip.mxf"));
        make({.codec = "apco", .channels = 0, .updateHeader = asked});
        for (int i = 0; i < 190; ++i) ASSERT_TRUE(writer->writeFrame(frame(i, pictures[0])));
        writer.reset();  // abandoned, as by a crash
        const File file(path("clip.mxf"));
        EXPECT_EQ(file.report.streams[0].duration, asked ? 100 : -1);
    }
}

TEST_F(MXFWriterTest, APictureThatIsTooLargeFailsAndTheNextOneGoesOn) {
    const auto pictures = codedPictures(fourCC("apcn"), 3);
    make({.channels = 0});
    for (int i = 0; i < 2; ++i)
        ASSERT_TRUE(writer->writeFrame(frame(i, pictures[static_cast<std::size_t>(i)])));
    ZQErrorPtr error;
    const auto large = ZQRFrameStore::helperWithData(ZQData::copying(Bytes(0x2000000)));
    EXPECT_FALSE(writer->writeFrame(frame(2, large), &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), -200);
    EXPECT_THAT(error->localizedDescription(),
                testing::StartsWith("ZQRNableMXFWriter couldn't copy video data. Should have copied 33554432 "
                                    "but only copied "));
    EXPECT_EQ(error->userInterfaceDescription(), ZQError::MXFWriteError());
    EXPECT_TRUE(writer->writeFrame(frame(2, pictures[2])));
    writer->finishWritingMovie();
    const File file(path("clip.mxf"));
    ASSERT_EQ(file.streams[0].size(), 3u);
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(file.streams[0][i], copyOf(pictures[i]->dataBuffer()->data())) << i;
}

TEST_F(MXFWriterTest, SixteenBitSoundAndTakenNames) {
    const auto pictures = codedPictures(fourCC("apcn"), 2);
    for (const char* name : {"two.mxf", "two-1.mxf"}) {
        make({.name = "two.mxf", .bits = 16, .channels = 2});
        ASSERT_TRUE(writer->writeFrame(frame(0, pictures[0])));
        ASSERT_TRUE(writer->writeFrame(frame(1, pictures[1])));
        EXPECT_TRUE(writer->finishWritingMovie());
        EXPECT_EQ(writer->finalFilename(), path(name));
        const File file(path(name));
        ASSERT_EQ(file.streams.size(), 4u);
        for (int i = 0; i < 2; ++i)
            for (std::uint32_t c = 0; c < 2; ++c)
                EXPECT_EQ(file.streams[1 + c][static_cast<std::size_t>(i)], expectedSound(i, c));
    }
    EXPECT_EQ(delegate->setups, 2);
    EXPECT_EQ(delegate->frames, 4);
    ZQErrorPtr error;
    EXPECT_FALSE(writer->writeFrame(frame(2, pictures[0]), &error));
    EXPECT_EQ(error->code(), -36);
    EXPECT_FALSE(fs::exists(path("two-2.mxf")));
}

TEST_F(MXFWriterTest, ACodecThatDoesNotGoIntoMXFFailsOnceAndThenDropsEveryStream) {
    make({.codec = "avc1"});
    LogEar ear;
    ZQErrorPtr error;
    const auto coded = [&](int number) {
        auto made = frame(number, ZQRFrameStore::helperWithData(ZQData::copying(Bytes(100, 1))));
        made->packets = packetsOf(0);
        return made;
    };
    EXPECT_FALSE(writer->writeFrame(coded(0), &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), "ZQRMovieWriterErrorDomain");
    EXPECT_EQ(error->code(), -200);
    EXPECT_THAT(error->localizedDescription(),
                testing::StartsWith("ZQRNableMXFWriter muxer is not compatible with codec "));
    EXPECT_EQ(error->userInterfaceDescription(), ZQError::MXFEncodingError());
    for (int i = 1; i < 4; ++i) EXPECT_TRUE(writer->writeFrame(coded(i), &error));
    for (const char* stream : {"video", "audio", "captions"}) {
        EXPECT_EQ(
            ear.count(fmt::format("ZQRNableMXFWriter attempted to write data to missing {} stream", stream)),
            3);
    }
    EXPECT_EQ(delegate->setups, 0);
    EXPECT_TRUE(writer->finishWritingMovie());
    EXPECT_TRUE(fs::is_empty(folder));
}

TEST_F(MXFWriterTest, AFileThatCannotBeMadeFailsOnceToo) {
    make({.name = "no such folder/clip"});
    const auto pictures = codedPictures(fourCC("apcn"), 1);
    ZQErrorPtr error;
    EXPECT_FALSE(writer->writeFrame(frame(0, pictures[0]), &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->localizedDescription(),
              "ZQRNableMXFWriter couldn't create file: " + path("no such folder/clip.mxf"));
    EXPECT_EQ(error->code(), -200);
    EXPECT_TRUE(writer->writeFrame(frame(1, pictures[0])));
    EXPECT_EQ(writer->writeError(), error);
}

TEST_F(MXFWriterTest, WhatAPresetAsksForIsTold) {
    const auto pictures = codedPictures(fourCC("apcn"), 1);
    struct Row {
        Setup setup;
        std::vector<const char*> told, notTold;
    };
    const char* const header = "MXF Headers will be updated while writing";
    const char* const cache =
        "Will NOT disable UBC. May have negative effects on fallbacks, in case something goes wrong.";
    const char* const seeking =
        "MXF Writing with XDCAM detected. Will prevent header seeking after finishing writing.";
    const std::vector<Row> rows = {
        {{},
         {"with block size 67108864", "Nablet MXF muxer starting with timecodeframes: 900000",
          "ZQRNabletMXFWriter using pixel aspect PARX 16, PARY 9"},
         {header, cache, seeking}},
        {{.cacheMask = 1, .blockSize = 1 << 20, .updateHeader = true},
         {header, cache, "with block size 1048576"},
         {seeking}},
        {{.codec = "xd5b"}, {seeking, "using pixel aspect PARX 0, PARY 0"}, {}},
    };
    for (const Row& row : rows) {
        make(row.setup);
        LogEar ear;
        writer->writeFrame(frame(0, pictures[0]));
        writer->finishWritingMovie();
        for (const char* text : row.told) EXPECT_EQ(ear.count(text), 1) << text;
        for (const char* text : row.notTold) EXPECT_EQ(ear.count(text), 0) << text;
    }
    EXPECT_FALSE(ZQRNabletMXFWriter::isXDCAMHD());
    make({.codec = "xdv2"});
    writer->writeFrame(frame(0, pictures[0]));
    EXPECT_TRUE(ZQRNabletMXFWriter::isXDCAMHD()) << "from now on, for every writer of this process";
}

TEST_F(MXFWriterTest, AnotherStartTimecodeReplacesThatOfTheFirstFrame) {
    const auto pictures = codedPictures(fourCC("apcn"), 1);
    make({.framerate = 2997, .channels = 0});
    const auto dropFrame = ZQCKTimebase::timebaseForFramerate(3);
    const auto start = ZQCKTimecode::timecodeWithString("00:10:00;02", dropFrame);
    writer->setOtherStartTimecode(start);
    writer->setUseOtherStartTimecode(true);
    EXPECT_FALSE(writer->startTimecode());
    ASSERT_TRUE(writer->writeFrame(frame(0, pictures[0])));
    EXPECT_EQ(writer->startTimecode(), start);
    writer->finishWritingMovie();
    const File file(path("clip.mxf"));
    EXPECT_EQ(file.info.startTimecodeFrames, start->framesSinceMidnight());
    EXPECT_TRUE(file.info.dropFrame);
    EXPECT_EQ(file.streams.size(), 2u) << "picture and ancillary data";
}

TEST_F(MXFWriterTest, ARecordingWithoutTimecodeStartsAtMidnight) {
    const auto pictures = codedPictures(fourCC("apcn"), 1);
    make({.framerate = 5000, .channels = 0});
    const auto first = frame(0, pictures[0]);
    first->timecode.reset();
    ASSERT_TRUE(writer->writeFrame(first));
    EXPECT_EQ(writer->startTimecode(),
              ZQCKTimecode::zeroTimeWithTimebase(ZQCKTimebase::timebaseForFramerate(5)));
    writer->finishWritingMovie();
    const File file(path("clip.mxf"));
    EXPECT_TRUE(file.info.hasTimecode);
    EXPECT_EQ(file.info.startTimecodeFrames, 0);
    EXPECT_EQ(file.info.timecodeBase, 50u);
}

TEST_F(MXFWriterTest, AFrameWithoutCodedDataIsNotWritten) {
    make({});
    const auto pictures = codedPictures(fourCC("apcn"), 1);
    ASSERT_TRUE(writer->writeFrame(frame(0, pictures[0])));
    LogEar ear;
    ZQErrorPtr error;
    EXPECT_FALSE(writer->writeFrame(frame(1, ZQRFrameStorePtr()), &error));
    EXPECT_FALSE(writer->writeFrame(frame(1, ZQRFrameStore::helperWithData(std::nullopt)), &error));
    EXPECT_EQ(ear.count("Couldn't extract data pointer from sample buffer!"), 0);
    auto store = ZQRFrameStore::helperWithData(std::nullopt);
    store->setType(1);
    EXPECT_FALSE(writer->writeFrame(frame(1, store), &error));
    EXPECT_EQ(ear.count("Couldn't extract data pointer from sample buffer!"), 1);
    EXPECT_FALSE(error);
    EXPECT_EQ(writer->framesWritten(), 1u);
}

TEST_F(MXFWriterTest, SoundThatDoesNotFitItsDescriptionFailsTheFrame) {
    make({});
    const auto pictures = codedPictures(fourCC("apcn"), 1);
    const auto made = frame(0, pictures[0]);
    auto store = std::dynamic_pointer_cast<ZQRFrameStore>(made->helperForKey("V"));
    store->setAudioData(ZQData::copying(Bytes(31)));  // less than one sample of eight channels
    LogEar ear;
    ZQErrorPtr error;
    EXPECT_FALSE(writer->writeFrame(made, &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->userInterfaceDescription(), ZQError::MXFWriteError());
    EXPECT_EQ(ear.count("ZQRNabletMXFWriter audio converter got 0 samples. Card audio length: 31, native "
                        "channels: 8, bytes per sample: 4"),
              1);
}

TEST_F(MXFWriterTest, AFullDiskEndsInOneErrorOfTheWriter) {
    const auto pictures = codedPictures(fourCC("apcn"), 1);
    make({.blockSize = 4096});
    test::FileFaults faults(path("clip.mxf"));
    faults.onWrite = [](int, const void*, std::size_t) -> std::optional<ssize_t> {
        errno = ENOSPC;
        return -1;
    };
    ZQErrorPtr error;
    bool written = true;
    int number = 0;
    for (; written && number < 100; ++number)
        written = writer->writeFrame(frame(number, pictures[0]), &error);
    ASSERT_FALSE(written);
    EXPECT_EQ(error->domain(), "ZQRMovieWriterErrorDomain");
    EXPECT_EQ(error->code(), -200);
    EXPECT_EQ(error->localizedDescription(), "ZQRNabletMXFWriter couldn't notify video sample with error -4");
    LogEar ear;
    EXPECT_TRUE(writer->finishWritingMovie());
    EXPECT_EQ(ear.count("Couldn't close MXF Muxer! -4"), 1);
    EXPECT_EQ(writer->writeError(), error);
}

TEST_F(MXFWriterTest, ADiskThatFillsWithTheLastBlockIsToldAfterTheEnd) {
    const auto pictures = codedPictures(fourCC("apcn"), 1);
    make({});
    test::FileFaults faults(path("clip.mxf"));
    faults.onWrite = [](int, const void*, std::size_t) -> std::optional<ssize_t> {
        errno = ENOSPC;
        return -1;
    };
    ASSERT_TRUE(writer->writeFrame(frame(0, pictures[0])));
    EXPECT_FALSE(writer->writeError());
    EXPECT_TRUE(writer->finishWritingMovie());
    ASSERT_TRUE(writer->writeError());
    EXPECT_THAT(writer->writeError()->localizedDescription(),
                testing::StartsWith("Couldn't close MXF Muxer!"));
}

TEST_F(MXFWriterTest, D10PicturesLoseTheirHeaderAndSayWideScreenWithoutChangingTheSample) {
    const auto pictures = codedPictures(fourCC("mx5p"), 1);
    ASSERT_EQ(pictures.size(), 1u);
    Bytes sample = copyOf(pictures[0]->dataBuffer()->data());
    ASSERT_EQ(sample.size(), 20u + 250000u);
    const Bytes code = {0x00, 0x00, 0x01, 0xB3};
    ASSERT_TRUE(std::equal(code.begin(), code.end(), sample.begin() + 20));
    sample[27] = static_cast<std::uint8_t>(0x20 | (sample[27] & 0x0F));  // 4:3
    struct Row {
        std::uint32_t norm, aspectRatio;
        std::uint8_t told;
    };
    // Only 625-line pictures are changed.
    for (const Row& row : {Row{0, 0, 3}, Row{0, 1, 2}, Row{1, 0, 2}}) {
        SCOPED_TRACE(fmt::format("norm {}, aspect ratio {}", row.norm, row.aspectRatio));
        fs::remove(path("clip.mxf"));
        make({.codec = "mx5p", .bits = 16, .channels = 4, .norm = row.norm, .aspectRatio = row.aspectRatio});
        const auto store = ZQRFrameStore::helperWithData(ZQData::copying(sample));
        ZQErrorPtr error;
        ASSERT_TRUE(writer->writeFrame(frame(0, store), &error)) << describe(error.get());
        writer->finishWritingMovie();
        EXPECT_EQ(copyOf(*store->rawData()), sample) << "other writers share it";
        const File file(path("clip.mxf"));
        ASSERT_EQ(file.streams.size(), 3u);
        EXPECT_EQ(file.report.streams[0].containerLabel, "060e2b34.04010101.0d010301.02010101")
            << "D-10 of 625 lines and 50 Mbit/s";
        Bytes expected(sample.begin() + 20, sample.end());
        expected[7] = static_cast<std::uint8_t>(row.told << 4 | (expected[7] & 0x0F));
        EXPECT_EQ(file.streams[0][0], expected);
    }
}

}  // namespace
}  // namespace zenquor
