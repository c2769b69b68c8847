// What the asset writer records, the asset reader gives back: while it grows and when it is finished.

#include <gtest/gtest.h>

#include "platform/quicktime_support.h"
#include "zenquor/platform/AssetReader.h"

namespace zenquor::platform {
namespace {

using namespace zenquor::platform::test;

constexpr std::int64_t frameDuration = 1001;
constexpr std::int32_t timeScale = 30000;
constexpr std::uint32_t startNumber = 107892;  // 01:00:00;00
constexpr std::uint32_t soundFrames = 1602;

struct Recording {
    explicit Recording(const std::filesystem::path& path) {
        video = makeInput(videoFormat(fourCC("2vuy")));
        audio = makeInput(pcmFormat(16));
        timecode = makeInput(FormatDescription::timecode({{frameDuration, timeScale}, 30, 3, "A001", 0}));
        captions = makeInput(FormatDescription::closedCaption(fourCC("c608")));
        video->addTrackAssociation(timecode, fourCC("tmcd"));
        writer = makeWriter(path, {video, audio, timecode, captions});
        writer->setMovieTimeScale(timeScale);
        writer->setMovieFragmentInterval({1, 1});
        EXPECT_TRUE(writer->startWriting());
        writer->startSessionAtSourceTime({0, timeScale});
    }

    static Bytes picture(std::uint32_t number) {
        return Bytes(std::size_t{96} * 2 * 16, static_cast<std::uint8_t>(20 + number));
    }
    static Bytes sound(std::uint32_t number) {
        return Bytes(std::size_t{soundFrames} * 2, static_cast<std::uint8_t>(number));
    }
    static Bytes label(std::uint32_t number) {
        Bytes bytes(4);
        writeBE32(bytes.data(), startNumber + number);
        return bytes;
    }
    static Bytes caption(std::uint32_t number) {
        return {0, 0, 0, 10, 'c', 'd', 'a', 't', 0x94, static_cast<std::uint8_t>(number)};
    }

    void append(std::uint32_t number) {
        const MediaTime time{number * frameDuration, timeScale};
        const auto add = [&](const AssetWriterInputPtr& input, const Bytes& bytes, std::size_t count,
                             SampleTiming timing) {
            BlockBufferPtr block;
            SampleBufferPtr sample;
            BlockBuffer::createWithLength(bytes.size(), block);
            block->replaceDataBytes(ZQData::copying(bytes), 0);
            SampleBuffer::create(block, input->sourceFormatHint(), count, timing, bytes.size() / count, {},
                                 sample);
            ASSERT_TRUE(input->appendSampleBuffer(sample)) << describe(writer->error().get());
        };
        const SampleTiming frame{{frameDuration, timeScale}, time, {}};
        add(video, picture(number), 1, frame);
        add(audio, sound(number), soundFrames, {{1, 48000}, {std::int64_t{number} * soundFrames, 48000}, {}});
        add(timecode, label(number), 1, frame);
        add(captions, caption(number), 1, frame);
    }

    AssetWriterPtr writer;
    AssetWriterInputPtr video, audio, timecode, captions;
};

struct Playback {
    AssetPtr asset;
    std::vector<SampleBufferPtr> video, audio, timecode, captions;
};

std::vector<SampleBufferPtr> drain(const AssetReaderTrackOutputPtr& output) {
    std::vector<SampleBufferPtr> samples;
    while (auto sample = output->copyNextSampleBuffer()) samples.push_back(std::move(sample));
    return samples;
}

Playback play(const std::filesystem::path& path, std::uint32_t fromFrame = 0) {
    Playback playback;
    ZQErrorPtr error;
    playback.asset = Asset::assetWithURL(path, &error);
    if (!playback.asset) {
        ADD_FAILURE() << describe(error.get());
        return playback;
    }
    const auto reader = AssetReader::assetReaderWithAsset(playback.asset);
    const auto track = [&](FourCC type) { return playback.asset->tracksWithMediaType(type).at(0); };
    const auto video = AssetReaderTrackOutput::forVideo(track(mediaTypeVideo), pixelFormat2vuy);
    const auto audio =
        AssetReaderTrackOutput::forAudio(track(mediaTypeAudio), pcmFormat(16)->audioFormat()->description);
    const auto timecode = AssetReaderTrackOutput::undecoded(track(mediaTypeTimecode));
    const auto captions = AssetReaderTrackOutput::undecoded(track(mediaTypeClosedCaption));
    for (const auto& output : {video, audio, timecode, captions}) reader->addOutput(output);
    if (fromFrame > 0) reader->setStartTime({fromFrame * frameDuration, timeScale});
    EXPECT_TRUE(reader->startReading()) << describe(reader->error().get());
    playback.video = drain(video);
    playback.audio = drain(audio);
    playback.timecode = drain(timecode);
    playback.captions = drain(captions);
    EXPECT_EQ(reader->status(), AssetReaderStatus::Completed);
    return playback;
}

Bytes bytesOf(const SampleBufferPtr& sample) {
    const auto& data = sample->dataBuffer()->data();
    return {data.begin(), data.end()};
}

void expectFrames(const Playback& playback, std::uint32_t first, std::uint32_t end) {
    ASSERT_EQ(playback.video.size(), end - first);
    ASSERT_EQ(playback.timecode.size(), end - first);
    ASSERT_EQ(playback.captions.size(), end - first);
    for (std::uint32_t i = 0; i < end - first; ++i) {
        const MediaTime time{(first + i) * frameDuration, timeScale};
        for (const auto* track : {&playback.video, &playback.timecode, &playback.captions}) {
            EXPECT_EQ((*track)[i]->presentationTimeStamp(), time) << i;
            EXPECT_EQ((*track)[i]->sampleDuration(), (MediaTime{frameDuration, timeScale})) << i;
        }
        EXPECT_EQ(playback.video[i]->imageBuffer()->row(7)[9], 20 + first + i);
        EXPECT_EQ(bytesOf(playback.timecode[i]), Recording::label(first + i));
        EXPECT_EQ(bytesOf(playback.captions[i]), Recording::caption(first + i));
    }
    // Sound begins with the sample heard at the first picture.
    std::size_t position = static_cast<std::size_t>(first * frameDuration * 48000 / timeScale) * 2;
    for (const auto& sample : playback.audio) {
        for (const std::uint8_t byte : bytesOf(sample)) ASSERT_EQ(byte, position++ / 2 / soundFrames);
    }
    EXPECT_EQ(position, std::size_t{end} * soundFrames * 2);
}

TEST(ReaderRecording, AGrowingRecordingIsReadToItsLastFragmentAndAFinishedOneWhole) {
    const TemporaryFolder folder;
    const auto path = folder / "growing.mov";
    Recording recording(path);
    for (std::uint32_t i = 0; i < 100; ++i) recording.append(i);
    const auto early = play(path);
    EXPECT_TRUE(early.asset->isFragmented());
    const auto frames = static_cast<std::uint32_t>(early.video.size());
    EXPECT_GE(frames, 60U);
    EXPECT_LE(frames, 100U);
    expectFrames(early, 0, frames);
    for (std::uint32_t i = 100; i < 120; ++i) recording.append(i);
    ASSERT_EQ(finish(recording.writer), AssetWriterStatus::Completed);
    const auto whole = play(path);
    EXPECT_FALSE(whole.asset->isFragmented());
    expectFrames(whole, 0, 120);
    EXPECT_EQ(whole.asset->duration(), (MediaTime{120 * frameDuration, timeScale}));
    expectFrames(play(path, 77), 77, 120);
    // The asset that was opened early can still be read, though the file was finished meanwhile.
    const auto reader = AssetReader::assetReaderWithAsset(early.asset);
    const auto output = AssetReaderTrackOutput::forVideo(
        early.asset->tracksWithMediaType(mediaTypeVideo).at(0), pixelFormat2vuy);
    reader->addOutput(output);
    ASSERT_TRUE(reader->startReading());
    EXPECT_GE(drain(output).size(), frames);
}

}  // namespace
}  // namespace zenquor::platform
