// Timecode and caption samples read through the movie's own tables.

#include <gtest/gtest.h>

#include <random>

#include "platform/reader_MovieBuilder.h"
#include "zenquor/core/ByteOrder.h"
#include "zenquor/platform/reader/MovieSampleSource.h"
#include "zenquor/platform/reader/StreamDescription.h"

namespace zenquor::platform::detail {
namespace {

using namespace zenquor::test;

constexpr std::uint32_t ftypSize = 16;

Bytes ftyp() {
    return box("ftyp", {ByteRun().text("qt  ").u32(0x200)});
}

/// Ten bytes: a 'cdat' atom with one pair that names its number.
Bytes caption(std::uint32_t number) {
    return box("cdat", {ByteRun().u8(0x94).u8(number)});
}

struct Read {
    std::int64_t time;
    std::int64_t duration;
    Bytes bytes;
    friend bool operator==(const Read&, const Read&) = default;
};

std::vector<Read> readTrack(const Bytes& movie, std::uint32_t trackID,
                            MediaTime start = MediaTime::invalid()) {
    const auto file = FileView::wrapping(ZQData::copying(movie));
    auto tables = MovieTables::read(*file);
    std::vector<Read> found;
    if (!tables || !tables->track(trackID)) return found;
    file->limitTo(tables->readableSize);
    const auto format = FormatDescription::closedCaption(fourCC("c608"));
    MovieSampleSource source(file, std::make_shared<MovieTables>(std::move(*tables)), trackID, format, start);
    while (const auto sample = source.next()) {
        const auto& data = sample->dataBuffer()->data();
        found.push_back({sample->presentationTimeStamp().value,
                         sample->sampleDuration().value,
                         {data.begin(), data.end()}});
    }
    return found;
}

/// Five captions in two chunks (three and two samples) with sizes in a table, at 25 a second.
TrackSpec captionTrack(std::uint32_t firstChunk, std::uint32_t secondChunk) {
    TrackSpec track;
    track.handler = "clcp";
    track.sampleEntry = captionEntry();
    track.stts = ByteRun().all32({1, 5, 1});
    track.stsc = ByteRun().all32({2, 1, 3, 1, 2, 2, 1});
    track.stsz = ByteRun().all32({0, 5, 10, 10, 10, 10, 10});
    track.stco = ByteRun().all32({2, firstChunk, secondChunk});
    return track;
}

/// 'mdat' before 'moov', with a hole between the two chunks.
Bytes captionMovie(const Bytes& edits) {
    ByteRun media;
    for (std::uint32_t i = 0; i < 3; ++i) media.add(caption(i));
    media.text("hole");
    for (std::uint32_t i = 3; i < 5; ++i) media.add(caption(i));
    auto track = captionTrack(ftypSize + 8, ftypSize + 8 + 34);
    track.edits = edits;
    return ByteRun().add(ftyp()).add(box("mdat", {media})).add(movieBox(50, {trackBox(track)}));
}

/// One fragment with two captions, described with a size per sample and default durations.
Bytes fragment(std::uint32_t decodeTime, std::uint32_t number) {
    const auto moofWith = [&](std::uint32_t dataOffset) {
        const auto tfhd = box("tfhd", {ByteRun().all32({0x020000, 1})});
        const auto tfdt = box("tfdt", {ByteRun().all32({0, decodeTime})});
        const auto trun = box("trun", {ByteRun().all32({0x201, 2, dataOffset, 10, 10})});
        return box("moof", {box("mfhd", {ByteRun().all32({0, 1})}), box("traf", {tfhd, tfdt, trun})});
    };
    const auto size = static_cast<std::uint32_t>(moofWith(0).size());
    return ByteRun().add(moofWith(size + 8)).add(box("mdat", {caption(number), caption(number + 1)}));
}

Bytes fragmentedMovie() {
    TrackSpec track;
    track.handler = "clcp";
    track.sampleEntry = captionEntry();
    track.stts = track.stsc = track.stco = ByteRun().u32(0);
    track.stsz = ByteRun().all32({0, 0});
    return ByteRun()
        .add(ftyp())
        .add(movieBox(25, {trackBox(track)}, true))
        .add(fragment(0, 0))
        .add(fragment(2, 2));
}

std::vector<Read> captions(std::initializer_list<std::pair<std::int64_t, std::uint32_t>> timesAndNumbers) {
    std::vector<Read> expected;
    for (const auto& [time, number] : timesAndNumbers) expected.push_back({time, 1, caption(number)});
    return expected;
}

TEST(ReaderTables, SamplesOfSeveralChunksComeWithTheirOwnBytesAndTimes) {
    EXPECT_EQ(readTrack(captionMovie({}), 1), captions({{0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 4}}));
}

TEST(ReaderTables, EditListsMoveAndCutSamples) {
    // The movie counts in 1/50 s, the track in 1/25 s.
    struct Row {
        const char* name;
        Bytes edits;
        std::vector<Read> expected;
    };
    const Row rows[] = {
        {"the whole media", editBox({{10, 0}}), captions({{0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 4}})},
        {"a beginning cut off", editBox({{6, 2}}), captions({{0, 2}, {1, 3}, {2, 4}})},
        {"an end cut off", editBox({{4, 1}}), captions({{0, 1}, {1, 2}})},
        {"an empty stretch first", editBox({{4, -1}, {4, 0}}), captions({{2, 0}, {3, 1}})},
        {"two pieces in other order", editBox({{4, 3}, {4, 0}}), captions({{0, 3}, {1, 4}, {2, 0}, {3, 1}})},
    };
    for (const auto& row : rows) EXPECT_EQ(readTrack(captionMovie(row.edits), 1), row.expected) << row.name;
}

TEST(ReaderTables, ReadingBeginsWithTheSampleThatCoversTheStart) {
    EXPECT_EQ(readTrack(captionMovie({}), 1, {7, 50}), captions({{3, 3}, {4, 4}}));
    EXPECT_EQ(readTrack(captionMovie({}), 1, {3, 25}), captions({{3, 3}, {4, 4}}));
}

TEST(ReaderTables, FragmentsAreReadUpToTheLastWholeOne) {
    const Bytes movie = fragmentedMovie();
    const auto all = captions({{0, 0}, {1, 1}, {2, 2}, {3, 3}});
    EXPECT_EQ(readTrack(movie, 1), all);
    const std::size_t firstEnd = movie.size() - fragment(2, 2).size();
    for (std::size_t size = firstEnd; size < movie.size(); ++size) {
        const Bytes cut(movie.begin(), movie.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(readTrack(cut, 1), captions({{0, 0}, {1, 1}})) << size;
        const auto tables = MovieTables::read(*FileView::wrapping(ZQData::copying(cut)));
        ASSERT_TRUE(tables);
        // Up to eight bytes there is no header yet to tell a fragment from anything else.
        EXPECT_EQ(tables->readableSize, size >= firstEnd + 8 ? firstEnd : size) << size;
    }
}

TEST(ReaderTables, ATimecodeSampleThatSpansTheMovieIsOneSampleWhereverReadingBegins) {
    TrackSpec track;
    track.handler = "tmcd";
    track.timeScale = 30000;
    track.sampleEntry = timecodeEntry(1, 30000, 1001, 30);
    track.stts = ByteRun().all32({1, 1, 125125});
    track.stsc = ByteRun().all32({1, 1, 1, 1});
    track.stsz = ByteRun().all32({4, 1});
    track.stco = ByteRun().all32({1, ftypSize + 8});
    const Bytes number = ByteRun().u32(107892);  // 01:00:00;00
    const Bytes movie =
        ByteRun().add(ftyp()).add(box("mdat", {number})).add(movieBox(30000, {trackBox(track)}));
    const std::vector<Read> expected{{0, 125125, number}};
    EXPECT_EQ(readTrack(movie, 1), expected);
    EXPECT_EQ(readTrack(movie, 1, {60060, 30000}), expected);
    const auto format = timecodeDescription(ZQData::copying(track.sampleEntry));
    ASSERT_TRUE(format && format->timecodeFormat());
    EXPECT_EQ(format->timecodeFormat()->frameQuanta, 30U);
    EXPECT_EQ(format->timecodeFormat()->flags, 1U);
    EXPECT_EQ(format->timecodeFormat()->frameDuration, (MediaTime{1001, 30000}));
    EXPECT_EQ(format->timecodeFormat()->sourceReferenceName, "A001");
}

TEST(ReaderTables, ClaimsOfBillionsOfSamplesEndWithTheFile) {
    TrackSpec track = captionTrack(ftypSize + 8, ftypSize + 8);
    track.stts = ByteRun().all32({1, 0xFFFFFFFF, 1});
    track.stsc = ByteRun().all32({1, 1, 0xFFFFFFFF, 1});
    track.stsz = ByteRun().all32({10, 0xFFFFFFFF});
    const Bytes movie =
        ByteRun().add(ftyp()).add(box("mdat", {caption(0)})).add(movieBox(25, {trackBox(track)}));
    EXPECT_LE(readTrack(movie, 1).size(), movie.size() / 10);
}

TEST(ReaderTables, TruncatedAndDamagedMoviesGiveOnlyBytesThatAreThere) {
    const std::vector<Bytes> movies{captionMovie(editBox({{4, 3}, {4, 0}})), fragmentedMovie()};
    for (const auto& movie : movies) {
        for (std::size_t size = 0; size < movie.size(); ++size) {
            readTrack(Bytes(movie.begin(), movie.begin() + static_cast<std::ptrdiff_t>(size)), 1);
        }
        for (std::size_t bit = 0; bit < movie.size() * 8; ++bit) {
            Bytes damaged = movie;
            damaged[bit / 8] ^= static_cast<std::uint8_t>(1 << (bit % 8));
            std::size_t total = 0;
            for (const auto& sample : readTrack(damaged, 1)) total += sample.bytes.size();
            // Damaged chunk offsets may make chunks overlap, but never by more than there are chunks.
            EXPECT_LE(total, damaged.size() * 5) << bit;
        }
    }
}

}  // namespace
}  // namespace zenquor::platform::detail
