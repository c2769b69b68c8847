// Recordings under way: readable at every byte up to the last whole fragment, ready when they should be, and
// clear about failures.

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <deque>
#include <mutex>
#include <random>
#include <thread>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "quicktime_support.h"

namespace zenquor::platform::test {
namespace {

constexpr std::size_t pictureSize = 5000;  // no whole number of blocks

Bytes picture(std::int64_t frame) {
    Bytes bytes(pictureSize, static_cast<std::uint8_t>(frame));
    writeBE32(bytes.data(), static_cast<std::uint32_t>(frame));
    return bytes;
}
Bytes sound(std::int64_t frame, std::uint8_t track) {
    return Bytes(5760, static_cast<std::uint8_t>(frame * 3 + track));
}

/// Video, two sound tracks and timecode, fed by hand in step. A frame lasts a second, so that the clock, which also ends
/// fragments, plays no part.
struct Recording {
    static constexpr std::int64_t soundRate = 1920;
    FormatDescriptionPtr avc = videoFormat(fourCC("avc1")), pcm = pcmFormat(24, 1, 12, soundRate);
    FormatDescriptionPtr timecode = FormatDescription::timecode({{1000, 25000}, 25, 2, "", 0});
    AssetWriterInputPtr video = makeInput(avc), left = makeInput(pcm), right = makeInput(pcm),
                        tc = makeInput(timecode);
    AssetWriterPtr writer;
    bool hasTimecode;

    /// A fragment is closed at the first sync sample after 10 frames, at the latest after 20.
    explicit Recording(const std::filesystem::path& path, FileType type = FileType::QuickTimeMovie)
        : hasTimecode(type == FileType::QuickTimeMovie) {
        std::vector<AssetWriterInputPtr> inputs = {video, left, right};
        if (hasTimecode) inputs.push_back(tc);
        writer = makeWriter(path, inputs, type);
        writer->setMovieFragmentInterval({25, 1});
    }
    bool start() {
        const bool started = writer->startWriting();
        writer->startSessionAtSourceTime({0, 25000});
        return started;
    }
    bool appendFrame(std::int64_t frame, std::int64_t group = 5) {
        const SampleTiming timing{{1, 1}, {frame, 1}, {}};
        SampleAttachments attachments;
        if (frame % group != 0) attachments.notSync = true;
        bool done = video->appendSampleBuffer(makeSample(avc, picture(frame), timing, 1, attachments));
        for (const auto& input : {left, right}) {
            const Bytes bytes = sound(frame, input == left ? 1 : 2);
            done &= input->appendSampleBuffer(
                makeSample(pcm, bytes, {{1, soundRate}, {frame * soundRate, soundRate}, {}}, 1920));
        }
        Bytes label(4);
        writeBE32(label.data(), static_cast<std::uint32_t>(frame));
        if (hasTimecode) done &= tc->appendSampleBuffer(makeSample(timecode, label, timing));
        return done;
    }
};

/// What a player finds is a beginning of what was appended, in every track. @return the number of whole
/// frames.
std::int64_t expectBeginning(const ReadMovie& movie) {
    std::int64_t least = movie.tracks.empty() ? 0 : 1000000;
    for (const auto& [id, track] : movie.tracks) {
        Bytes expected;
        const std::size_t size = track.data.size();
        for (std::int64_t frame = 0; expected.size() < size; ++frame) {
            Bytes next(4);
            writeBE32(next.data(), static_cast<std::uint32_t>(frame));
            if (track.handler == mediaTypeVideo) next = picture(frame);
            if (track.handler == mediaTypeAudio) next = sound(frame, static_cast<std::uint8_t>(id - 1));
            expected.insert(expected.end(), next.begin(), next.end());
        }
        EXPECT_EQ(expected.size(), size) << "track " << id << " holds a part of a frame";
        EXPECT_TRUE(expected == track.data) << "track " << id;
        least = std::min(least, track.end / track.timescale);
    }
    return least;
}

class QuickTimeRecording : public testing::Test {
protected:
    TemporaryFolder folder;
    std::filesystem::path path = folder / "recording.mov";
};

TEST_F(QuickTimeRecording, is_readable_after_every_append_up_to_the_last_sync_sample_of_its_age) {
    for (const FileType type : {FileType::QuickTimeMovie, FileType::MPEG4}) {
        std::filesystem::remove(path);
        Recording recording(path, type);
        ASSERT_TRUE(recording.start());
        for (std::int64_t frame = 0; frame < 70; ++frame) {
            ASSERT_TRUE(recording.appendFrame(frame));
            const std::int64_t readable = expectBeginning(ReadMovie(contentOf(path)));
            // The first picture is a fragment of its own; the next one ends at the first sync sample of its age.
            EXPECT_EQ(readable, frame == 0 ? 0 : frame < 15 ? 1 : (frame - 5) / 10 * 10 + 5) << "frame " << frame;
        }
        ASSERT_EQ(finish(recording.writer), AssetWriterStatus::Completed);
        EXPECT_EQ(expectBeginning(ReadMovie(contentOf(path))), 70);
    }
}

TEST_F(QuickTimeRecording, closes_a_fragment_without_a_sync_sample_when_none_comes) {
    Recording recording(path);
    ASSERT_TRUE(recording.start());
    for (std::int64_t frame = 0; frame <= 41; ++frame) ASSERT_TRUE(recording.appendFrame(frame, 1000));
    EXPECT_EQ(expectBeginning(ReadMovie(contentOf(path))), 41);
}

TEST_F(QuickTimeRecording, closes_a_fragment_by_the_clock_when_media_comes_slowly) {
    Recording recording(path);
    recording.writer->setMovieFragmentInterval({200, 1000});
    ASSERT_TRUE(recording.start());
    for (const auto& input : {recording.left, recording.right, recording.tc}) input->markAsFinished();
    const auto append = [&](std::int64_t frame) {
        const SampleTiming timing{{1, 1000}, {frame, 1000}, {}};
        return recording.video->appendSampleBuffer(makeSample(recording.avc, picture(frame), timing));
    };
    ASSERT_TRUE(append(0));
    std::this_thread::sleep_for(std::chrono::milliseconds(90));  // the clock itself is under test
    ASSERT_TRUE(append(1));
    EXPECT_EQ(ReadMovie(contentOf(path)).tracks.at(1).samples.size(), 1U);
}

TEST_F(QuickTimeRecording, cut_off_at_any_byte_keeps_its_whole_fragments) {
    Recording recording(path);
    ASSERT_TRUE(recording.start());
    for (std::int64_t frame = 0; frame < 55; ++frame) ASSERT_TRUE(recording.appendFrame(frame));
    recording.writer->cancelWriting();
    const Bytes whole = contentOf(path);
    ASSERT_EQ(expectBeginning(ReadMovie(whole)), 55);
    std::vector<std::uint64_t> ends;  // of the fragments
    for (const Box& box : boxesOf(whole)) {
        if (box.type == fourCC("mdat")) ends.push_back(box.offset + 16 + box.content.size());
    }
    std::vector<std::size_t> cuts;
    for (const Box& box : boxesOf(whole)) {
        for (const std::size_t delta : {0, 1, 7, 8, 15, 16, 100}) cuts.push_back(box.offset + delta);
    }
    std::mt19937 random(7);
    for (int i = 0; i < 150; ++i) cuts.push_back(random() % whole.size());
    for (const std::size_t cut : cuts) {
        const Bytes rest(whole.begin(),
                         whole.begin() + static_cast<std::ptrdiff_t>(std::min(cut, whole.size())));
        const ReadMovie movie(rest);
        const auto expected =
            std::count_if(ends.begin(), ends.end(), [&](std::uint64_t end) { return end <= cut; });
        EXPECT_EQ(movie.fragments, static_cast<std::size_t>(expected)) << "cut at " << cut;
        expectBeginning(movie);
    }
}

TEST_F(QuickTimeRecording, is_readable_between_the_steps_of_finishing) {
    Recording recording(path);
    ASSERT_TRUE(recording.start());
    for (std::int64_t frame = 0; frame < 30; ++frame) ASSERT_TRUE(recording.appendFrame(frame));
    ASSERT_EQ(finish(recording.writer), AssetWriterStatus::Completed);
    Bytes file = contentOf(path);
    const auto boxes = boxesOf(file);
    ASSERT_EQ(boxes.size(), 3U);
    const auto media = static_cast<std::size_t>(boxes[1].offset),
               header = static_cast<std::size_t>(boxes[2].offset);
    // Back over the last step: the spare bytes are free space, both movie boxes are there.
    writeBE32(file.data() + media, 16);
    writeBE32(file.data() + media + 4, fourCC("free"));
    EXPECT_EQ(expectBeginning(ReadMovie(file)), 30);
    // The step before: the new movie box is not named yet, or only partly there.
    writeBE32(file.data() + header + 4, fourCC("free"));
    EXPECT_EQ(expectBeginning(ReadMovie(file)), 30);
    file.resize(header + 100);
    EXPECT_EQ(expectBeginning(ReadMovie(file)), 30);
}

// ---- readiness

TEST_F(QuickTimeRecording, lets_an_input_go_on_only_when_no_other_is_behind) {
    Recording r(path);
    EXPECT_FALSE(r.video->isReadyForMoreMediaData());
    ASSERT_TRUE(r.start());
    const auto appendVideo = [&](std::int64_t frame) {
        return r.video->appendSampleBuffer(
            makeSample(r.avc, picture(frame), {{1001, 30000}, {frame * 1001, 30000}, {}}));
    };
    const auto appendSound = [&](const AssetWriterInputPtr& input, std::int64_t from, std::size_t count) {
        return input->appendSampleBuffer(
            makeSample(r.pcm, Bytes(count * 3), {{1, 48000}, {from, 48000}, {}}, count));
    };
    EXPECT_TRUE(r.video->isReadyForMoreMediaData());
    ASSERT_TRUE(appendVideo(0));
    EXPECT_FALSE(r.video->isReadyForMoreMediaData());
    EXPECT_TRUE(r.left->isReadyForMoreMediaData());
    ASSERT_TRUE(appendSound(r.left, 0, 1601));  // a little less than a frame of 1601.6
    ASSERT_TRUE(appendSound(r.right, 0, 1602));
    r.tc->markAsFinished();
    EXPECT_FALSE(r.video->isReadyForMoreMediaData()) << "the left sound is six tenths of a sample behind";
    EXPECT_TRUE(r.left->isReadyForMoreMediaData());
    EXPECT_FALSE(r.right->isReadyForMoreMediaData());
    ASSERT_TRUE(appendSound(r.left, 1601, 1));
    EXPECT_TRUE(r.video->isReadyForMoreMediaData());
    EXPECT_FALSE(r.left->isReadyForMoreMediaData());
    r.video->markAsFinished();
    EXPECT_TRUE(r.left->isReadyForMoreMediaData()) << "equal counts as ready";
    EXPECT_TRUE(r.right->isReadyForMoreMediaData());
    EXPECT_FALSE(r.video->isReadyForMoreMediaData());
}

/// A queue that is read with a blocking call, as writers do.
class BlockingFifo {
public:
    void push(SampleBufferPtr sample) {
        const std::lock_guard lock(mutex_);
        samples_.push_back(std::move(sample));
        arrived_.notify_one();
    }
    SampleBufferPtr next() {
        std::unique_lock lock(mutex_);
        arrived_.wait(lock, [this] { return !samples_.empty(); });
        auto sample = std::move(samples_.front());
        samples_.pop_front();
        return sample;  // null ends the track
    }

private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<SampleBufferPtr> samples_;
};

TEST_F(QuickTimeRecording, pulls_many_tracks_on_shared_queues_whose_blocks_wait) {
    constexpr std::int64_t frames = 300;
    constexpr std::size_t soundTracks = 8;
    const auto video = videoFormat(), pcm = pcmFormat(16);
    std::vector<AssetWriterInputPtr> inputs = {makeInput(video)};
    for (std::size_t i = 0; i < soundTracks; ++i) inputs.push_back(makeInput(pcm));
    const auto writer = makeWriter(path, inputs);
    writer->setMovieFragmentInterval({1, 1});
    ASSERT_TRUE(writer->startWriting());
    writer->startSessionAtSourceTime({0, 30000});
    std::vector<BlockingFifo> fifos(inputs.size());
    const auto videoQueue = std::make_shared<SerialQueue>("video"),
               soundQueue = std::make_shared<SerialQueue>("sound");
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        const auto pull = [&fifo = fifos[i], input = inputs[i].get()] {
            while (input->isReadyForMoreMediaData()) {
                const auto sample = fifo.next();
                if (!sample) return input->markAsFinished();
                EXPECT_TRUE(input->appendSampleBuffer(sample));
            }
        };
        ASSERT_TRUE(inputs[i]->requestMediaDataWhenReadyOnQueue(i == 0 ? videoQueue : soundQueue, pull));
        EXPECT_FALSE(inputs[i]->requestMediaDataWhenReadyOnQueue(videoQueue, [] {})) << "once only";
    }
    for (std::int64_t frame = 0; frame < frames; ++frame) {
        fifos[0].push(makeSample(video, Bytes(512), {{1001, 30000}, {frame * 1001, 30000}, {}}));
        const std::size_t count = frame % 5 % 2 == 0 ? 1602 : 1601;
        for (std::size_t i = 1; i < inputs.size(); ++i)
            fifos[i].push(makeSample(pcm, Bytes(count * 2), {{1, 48000}, {frame * 1001, 30000}, {}}, count));
    }
    for (auto& fifo : fifos) fifo.push(nullptr);
    ASSERT_EQ(finish(writer), AssetWriterStatus::Completed);
    const Bytes content = contentOf(path);
    const ReadMovie movie(content);
    EXPECT_EQ(movie.tracks.at(1).samples.size(), static_cast<std::size_t>(frames));
    for (std::uint32_t id = 2; id <= soundTracks + 1; ++id)
        EXPECT_EQ(movie.tracks.at(id).samples.size(), 8008U * frames / 5);
}

// ---- failures

TEST_F(QuickTimeRecording, leaves_a_file_alone_that_is_already_there) {
    std::ofstream(path) << "precious";
    Recording recording(path);
    EXPECT_FALSE(recording.writer->startWriting());
    EXPECT_EQ(recording.writer->status(), AssetWriterStatus::Failed);
    EXPECT_EQ(recording.writer->error()->code(), -11823);
    EXPECT_EQ(finish(recording.writer), AssetWriterStatus::Failed);
    EXPECT_EQ(contentOf(path).size(), 8U);
}

/// Makes writing fail at a size, as a full disk does.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &old_);
        const rlimit limit{bytes, old_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &old_);
        std::signal(SIGXFSZ, handler_);
    }

private:
    rlimit old_{};
    void (*handler_)(int);
};

TEST_F(QuickTimeRecording, stops_on_a_full_disk_with_its_whole_fragments_readable) {
    // Limits that are met in a picture, in a fragment's end, in the head, and while finishing.
    for (const rlim_t limit : {90000U, 131072U, 300000U, 404000U, 405000U, 410000U, 426000U, 500000U}) {
        std::filesystem::remove(path);
        Recording recording(path);
        const FileSizeLimit full(limit);
        ASSERT_TRUE(recording.start());
        std::int64_t frame = 0;
        while (frame < 25 && recording.appendFrame(frame)) ++frame;
        const bool failedWhileAppending = frame < 25;
        if (failedWhileAppending) {
            for (const auto& input : {recording.video, recording.left, recording.tc}) {
                EXPECT_TRUE(input->isReadyForMoreMediaData()) << "queues must drain";
            }
            EXPECT_FALSE(recording.appendFrame(frame + 1));
        }
        if (finish(recording.writer) == AssetWriterStatus::Completed) continue;
        EXPECT_EQ(recording.writer->status(), AssetWriterStatus::Failed) << limit;
        EXPECT_EQ(recording.writer->error()->code(), assetWriterErrorDiskFull) << limit;
        EXPECT_NE(recording.writer->error()->userInterfaceDescription().find("Make room"), std::string::npos);
        const Bytes content = contentOf(path);
        const std::int64_t readable = expectBeginning(ReadMovie(content));
        // A failure at the start of a group may have met the fragment before, while it was being closed.
        const std::int64_t whole = frame == 0 ? 0 : frame < 15 ? 1 : 15;
        const std::int64_t before = frame == 1 ? 0 : frame == 15 ? 1 : whole;
        EXPECT_TRUE(readable == whole || readable == before) << readable << " of " << frame;
        std::uint64_t end = 0;
        for (const Box& box : boxesOf(content))
            end = std::max<std::uint64_t>(end, box.offset + box.content.size());
        EXPECT_GT(end + 17, content.size()) << "nothing stands behind the last whole fragment";
    }
}

TEST_F(QuickTimeRecording, refuses_pictures_that_go_back_in_time) {
    Recording recording(path);
    ASSERT_TRUE(recording.start());
    ASSERT_TRUE(recording.appendFrame(3));
    EXPECT_FALSE(recording.appendFrame(3));
    EXPECT_EQ(recording.writer->status(), AssetWriterStatus::Failed);
    EXPECT_EQ(recording.writer->error()->code(), assetWriterErrorInvalidSource);
}

}  // namespace
}  // namespace zenquor::platform::test
