// Finished movies: every sample where the tables say, with the entries, times and edits that it should have.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quicktime_support.h"

namespace zenquor::platform::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

Bytes filled(std::size_t size, int seed) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<std::uint8_t>(i * 7 + static_cast<std::size_t>(seed) * 31 + i / 251);
    return bytes;
}

SampleTiming frameTime(std::int64_t frame) {
    return {{1000, 25000}, {frame * 1000, 25000}, {}};
}

/// The sample entry of a track's only description.
Span sampleEntry(const ReadTrack& track) {
    return find(track.trak, "mdia/minf/stbl/stsd").subspan(8);
}

struct Edit {
    std::int64_t duration;
    std::int64_t mediaTime;
    friend bool operator==(const Edit&, const Edit&) = default;
};

std::vector<Edit> editsOf(const ReadTrack& track) {
    const Span list = find(track.trak, "edts/elst");
    std::vector<Edit> edits;
    for (std::size_t i = 0; !list.empty() && i < readBE32(list.data() + 4); ++i)
        edits.push_back({readBE32(list.data() + 8 + 12 * i),
                         static_cast<std::int32_t>(readBE32(list.data() + 12 + 12 * i))});
    return edits;
}

class QuickTimeMovie : public testing::Test {
protected:
    TemporaryFolder folder;
    std::filesystem::path path = folder / "movie.mov";

    /// One track of coded samples, all there is in the movie.
    ReadMovie recordOne(const FormatDescriptionPtr& format, const std::vector<SampleBufferPtr>& samples,
                        MediaTime start = {0, 25000}, FileType type = FileType::QuickTimeMovie) {
        const auto input = makeInput(format);
        const auto writer = makeWriter(path, {input}, type);
        EXPECT_TRUE(writer->startWriting());
        writer->startSessionAtSourceTime(start);
        for (const auto& sample : samples) EXPECT_TRUE(input->appendSampleBuffer(sample));
        EXPECT_EQ(finish(writer), AssetWriterStatus::Completed);
        file = contentOf(path);
        return ReadMovie(file);
    }
    Bytes file;
};

TEST_F(QuickTimeMovie, holds_every_sample_of_every_track_and_no_trace_of_the_recording) {
    const auto v210 = videoFormat(), sound = pcmFormat(),
               caption = FormatDescription::closedCaption(fourCC("c608"));
    const auto timecode = FormatDescription::timecode({{1000, 25000}, 25, 2, "REEL", 0});
    const auto video = makeInput(v210), left = makeInput(sound), right = makeInput(sound),
               tc = makeInput(timecode), cc = makeInput(caption);
    for (const auto& input : {video, left, right}) input->addTrackAssociation(tc, fourCC("tmcd"));
    cc->setLanguageCode("eng");
    const auto writer = makeWriter(path, {video, left, right, tc, cc});
    writer->setMovieFragmentInterval({2, 5});
    ASSERT_TRUE(writer->startWriting());
    writer->startSessionAtSourceTime({50000, 25000});
    std::map<std::uint32_t, Bytes> expected;
    const auto append = [&](const auto& input, std::uint32_t id, const FormatDescriptionPtr& format,
                            const Bytes& bytes, const SampleTiming& timing, std::size_t count) {
        expected[id].insert(expected[id].end(), bytes.begin(), bytes.end());
        ASSERT_TRUE(input->appendSampleBuffer(makeSample(format, bytes, timing, count)));
    };
    for (int frame = 0; frame < 60; ++frame) {
        append(video, 1, v210, filled(4096, frame), frameTime(50 + frame), 1);
        for (const std::uint32_t id : {2U, 3U})
            append(id == 2 ? left : right, id, sound, filled(5760, frame + static_cast<int>(id)),
                   {{1, 48000}, {(50 + frame) * 1920, 48000}, {}}, 1920);
        append(tc, 4, timecode, {0, 1, 0x5F, static_cast<std::uint8_t>(frame)}, frameTime(50 + frame), 1);
        append(cc, 5, caption, {0, 0, 0, 10, 'c', 'd', 'a', 't', 0x80, 0x80}, frameTime(50 + frame), 1);
    }
    ASSERT_EQ(finish(writer), AssetWriterStatus::Completed);

    const Bytes content = contentOf(path);
    std::vector<FourCC> boxes;
    for (const Box& box : boxesOf(content)) boxes.push_back(box.type);
    EXPECT_THAT(boxes, ElementsAre(fourCC("ftyp"), fourCC("mdat"), fourCC("moov")));
    const ReadMovie movie(content);
    EXPECT_FALSE(movie.fragmented);
    ASSERT_EQ(movie.tracks.size(), 5U);
    for (const auto& [id, bytes] : expected) EXPECT_EQ(movie.tracks.at(id).data, bytes) << "track " << id;
    for (const auto& [id, track] : movie.tracks)
        EXPECT_THAT(editsOf(track), ElementsAre(Edit{60000, 0})) << "track " << id;
    for (const std::uint32_t id : {1U, 2U, 3U})
        EXPECT_EQ(hex(find(movie.tracks.at(id).trak, "tref/tmcd")), "00000004");
    EXPECT_EQ(readBE16(find(movie.tracks.at(5).trak, "mdia/mdhd").data() + 20), 0x15C7);  // "eng"
    EXPECT_EQ(find(movie.tracks.at(4).trak, "mdia/minf/gmhd/gmin").size(), 16U);
    EXPECT_FALSE(find(movie.tracks.at(4).trak, "mdia/minf/gmhd/tmcd/tcmi").empty());
    // Pictures start at whole blocks, so that they can be written from where they lie.
    EXPECT_EQ(movie.tracks.at(1).samples.front().offset % 4096, 0U);
}

TEST_F(QuickTimeMovie, gives_video_the_entry_that_its_format_describes) {
    const auto interlaced = [](FieldDetail detail) {
        return [detail](VideoFormat& f) { f.fieldCount = 2, f.fieldDetail = detail; };
    };
    constexpr auto early = FieldDetail::SpatialFirstLineEarly, late = FieldDetail::SpatialFirstLineLate;
    const struct {
        const char* codec;
        std::function<void(VideoFormat&)> change;
        const char* text;  // a run of the entry, in hexadecimal
    } rows[] = {
        {"v210", {}, "76323130000000000000000100020000"},  // version 2
        {"v210", {}, "00000000000004000060001000480000"},  // lossless, 96x16
        {"v210", [](auto& f) { f.version = 1, f.spatialQuality = 512; },
         "000000010001000000000000000000000000"
         "0200"},
        {"v210",
         [](auto& f) {
             f.cleanAperture = CleanAperture{702.9152542372881, 576, 0, 0};
         },
         "636c61700000a2000000003b0000024000000001000000000000000100000000"
         "00000001"},
        {"v210",
         [](auto& f) {
             f.pixelAspectRatio = PixelAspectRatio{118, 81};
         },
         "70617370"
         "00000076"
         "00000051"},
        {"v210",
         [](auto& f) {
             f.colorPrimaries = ColorPrimaries::EBU_3213, f.yCbCrMatrix = YCbCrMatrix::ITU_R_601_4;
         },
         "636f6c726e636c63"
         "0005"
         "0002"
         "0006"},
        {"apch",
         [](auto& f) {
             f.colorPrimaries = ColorPrimaries::ITU_R_2020,
             f.transferFunction = TransferFunction::ITU_R_2100_HLG, f.yCbCrMatrix = YCbCrMatrix::ITU_R_2020;
         },
         "636f6c726e636c63"
         "0009"
         "0012"
         "0009"},
        {"v210", [](auto& f) { f.fieldCount = 1; }, "6669656c0100"},
        {"v210", interlaced(early), "6669656c0209"},
        {"apcn", interlaced(late), "6669656c020e"},
        {"avc1", interlaced(early), "6669656c0201"},
        {"xd5c", interlaced(late), "6669656c0206"},
        {"avc1",
         [](auto& f) {
             f.configuration = ZQData::copying(Bytes{1, 0x64, 0, 0x28});
         },
         "0000000c"
         "61766343"
         "01640028"},
        {"hvc1",
         [](auto& f) {
             f.configuration = ZQData::copying(Bytes{1, 2});
         },
         "0000000a"
         "68766343"
         "0102"},
        {"mp2v", [](auto& f) { f.recordedCode = fourCC("xd5c"); }, "78643563000000000000"},
        {"d7x1", {}, "4156646e000000000000"},
        {"d7x1",
         {},
         "415245533030303100"
         "0004e2"
         "00000060"
         "00000010"},  // 1250, 96x16
        {"hrhq", {}, "41566468000000000000"},
        {"hrhq",
         {},
         "00000020"
         "41444852"
         "30303031"
         "000004f8"
         "00000000"
         "00000001"},  // 1272
        {"ai15", {}, "61693135000000000000"},
    };
    for (const auto& row : rows) {
        std::filesystem::remove(path);
        const auto format = videoFormat(fourCCFromString(row.codec), row.change);
        const ReadMovie movie = recordOne(format, {makeSample(format, Bytes{1, 2, 3, 4}, frameTime(0))});
        EXPECT_THAT(hex(sampleEntry(movie.tracks.at(1))), HasSubstr(row.text)) << row.codec;
    }
}

TEST_F(QuickTimeMovie, shows_oblong_pixels_square) {
    const auto format = videoFormat(fourCC("v210"), [](VideoFormat& f) {
        f.width = 720, f.height = 576, f.pixelAspectRatio = PixelAspectRatio{59, 54};
        f.cleanAperture = CleanAperture{702.9152542372881, 576, 0, 0};
    });
    const ReadMovie movie = recordOne(format, {makeSample(format, Bytes(64), frameTime(0))});
    const Span trak = movie.tracks.at(1).trak;
    EXPECT_EQ(hex(find(trak, "tapt/clef")),
              "00000000"
              "03000000"
              "02400000");  // 768 x 576
    EXPECT_EQ(hex(find(trak, "tapt/enof")),
              "00000000"
              "02d00000"
              "02400000");
    EXPECT_EQ(hex(find(trak, "tapt/prof")).substr(8, 4), "0312");  // 786.67
}

TEST_F(QuickTimeMovie, gives_sound_the_entry_that_its_format_describes) {
    const struct {
        std::uint32_t bits, channels, flags;
        FileType type;
        const char* text;
    } rows[] = {
        {16, 1, 12, FileType::QuickTimeMovie, "736f777400000000000000010000"},
        {16, 2, 14, FileType::QuickTimeMovie, "74776f73"},
        {16, 2, 12, FileType::MPEG4, "736f7774"},
        {24, 2, 12, FileType::QuickTimeMovie,
         "00000001"
         "00000003"
         "00000006"
         "00000002"
         "0000002677617665"
         "0000000c66726d61696e3234"
         "0000000a656e64610001"
         "0000000800000000"},
        {24, 1, 14, FileType::QuickTimeMovie, "656e64610000"},
        {24, 1, 12, FileType::QuickTimeMovie,
         "6368616e"
         "00000000"
         "00640001"},
        {16, 2, 12, FileType::QuickTimeMovie,
         "6368616e"
         "00000000"
         "00650002"},
        {24, 6, 12, FileType::QuickTimeMovie,
         "6c70636d"
         "000000000000"
         "0001"
         "0002"},
        {24, 6, 12, FileType::QuickTimeMovie,
         "40e7700000000000"
         "00000006"
         "7f000000"
         "00000018"
         "0000000c"
         "00000012"},
        {24, 6, 8, FileType::MPEG4, "6970636d"},
    };
    for (const auto& row : rows) {
        std::filesystem::remove(path);
        const auto format = pcmFormat(row.bits, row.channels, row.flags);
        const Bytes frames(std::size_t{row.bits} / 8 * row.channels * 100);
        const ReadMovie movie = recordOne(
            format, {makeSample(format, frames, {{1, 48000}, {0, 48000}, {}}, 100)}, {0, 48000}, row.type);
        EXPECT_THAT(hex(sampleEntry(movie.tracks.at(1))), HasSubstr(row.text))
            << row.bits << " " << row.channels;
        EXPECT_EQ(movie.tracks.at(1).samples.size(), 100U);
    }
}

TEST_F(QuickTimeMovie, keeps_sound_whole_when_it_comes_in_video_portions) {
    const auto format = pcmFormat();
    const std::uint32_t cadence[] = {1602, 1601, 1602, 1601, 1602};
    std::vector<SampleBufferPtr> samples;
    for (std::int64_t frame = 0; frame < 50; ++frame) {
        const std::uint32_t count = cadence[frame % 5];
        const std::int64_t late = frame < 40 ? 0 : 1001;  // a frame is missing
        samples.push_back(
            makeSample(format, Bytes(count * 3), {{1, 48000}, {frame * 1001 + late, 30000}, {}}, count));
    }
    const ReadMovie movie = recordOne(format, samples, {0, 30000});
    const auto& read = movie.tracks.at(1).samples;
    ASSERT_EQ(read.size(), 80080U);
    EXPECT_EQ(read[64063].decodeTime, 64063);
    EXPECT_EQ(read[64064].decodeTime, 64064 + 1602);
    EXPECT_EQ(read.back().decodeTime, 80079 + 1602);
}

TEST_F(QuickTimeMovie, orders_reordered_pictures_with_signed_offsets) {
    const auto format = videoFormat(fourCC("avc1"));
    const std::int64_t shown[] = {0, 3, 1, 2, 6, 4, 5};  // in decode order
    std::vector<SampleBufferPtr> samples;
    for (std::int64_t i = 0; i < 7; ++i) {
        SampleAttachments attachments;
        if (i != 0 && i != 4) attachments.notSync = true;
        samples.push_back(makeSample(format, Bytes(static_cast<std::size_t>(10 + i)),
                                     {{1000, 25000}, {shown[i] * 1000, 25000}, {i * 1000, 25000}}, 1,
                                     attachments));
    }
    const ReadMovie movie = recordOne(format, samples);
    const ReadTrack& track = movie.tracks.at(1);
    ASSERT_EQ(track.samples.size(), 7U);
    for (std::size_t i = 0; i < 7; ++i) {
        EXPECT_EQ(track.samples[i].decodeTime + track.samples[i].compositionOffset, shown[i] * 1000) << i;
        EXPECT_EQ(track.samples[i].sync, i == 0 || i == 4) << i;
        EXPECT_EQ(track.samples[i].size, 10 + i);
    }
    EXPECT_EQ(find(track.trak, "mdia/minf/stbl/ctts")[0], 1);
    EXPECT_THAT(editsOf(track), ElementsAre(Edit{7000, 0}));
}

TEST_F(QuickTimeMovie, starts_at_the_session_however_its_tracks_lie) {
    const auto format = videoFormat();
    const auto record = [&](std::int64_t firstFrame, std::int64_t session) {
        std::filesystem::remove(path);
        std::vector<SampleBufferPtr> samples;
        for (std::int64_t i = 0; i < 10; ++i)
            samples.push_back(makeSample(format, Bytes(64), frameTime(firstFrame + i)));
        return editsOf(recordOne(format, samples, {session * 1000, 25000}).tracks.at(1));
    };
    EXPECT_THAT(record(100, 100), ElementsAre(Edit{10000, 0}));
    EXPECT_THAT(record(103, 100), ElementsAre(Edit{3000, -1}, Edit{10000, 0}));
    EXPECT_THAT(record(98, 100), ElementsAre(Edit{8000, 2000}));
}

TEST_F(QuickTimeMovie, tells_what_the_metadata_says) {
    const auto format = videoFormat();
    const auto input = makeInput(format);
    const auto writer = makeWriter(path, {input});
    writer->setMetadata(
        {{"com.apple.quicktime.title", "Evening news"}, {"\xC2\xA9nam", "News"}, {"take number", 3}});
    ASSERT_TRUE(writer->startWriting());
    writer->startSessionAtSourceTime({0, 25000});
    ASSERT_TRUE(input->appendSampleBuffer(makeSample(format, Bytes(64), frameTime(0))));
    ASSERT_EQ(finish(writer), AssetWriterStatus::Completed);
    const Bytes content = contentOf(path);
    const ReadMovie movie(content);
    const auto text = [](Span s) { return std::string(s.begin(), s.end()); };
    EXPECT_EQ(text(find(movie.moov, "udta/\xA9nam")), std::string("\0\4\x55\xC4News", 8));
    EXPECT_THAT(text(find(movie.moov, "meta/keys")), HasSubstr("mdtacom.apple.quicktime.title"));
    EXPECT_THAT(text(find(movie.moov, "meta/ilst")), HasSubstr("Evening news"));
    EXPECT_THAT(text(find(movie.moov, "meta/keys")), HasSubstr("mdtatake number"));
}

TEST_F(QuickTimeMovie, puts_the_tables_first_for_a_network) {
    const auto format = videoFormat();
    const auto input = makeInput(format);
    const auto writer = makeWriter(path, {input});
    writer->setShouldOptimizeForNetworkUse(true);
    ASSERT_TRUE(writer->startWriting());
    writer->startSessionAtSourceTime({0, 25000});
    for (int i = 0; i < 80; ++i)
        ASSERT_TRUE(input->appendSampleBuffer(makeSample(format, filled(64, i), frameTime(i))));
    ASSERT_EQ(finish(writer), AssetWriterStatus::Completed);
    const Bytes content = contentOf(path);
    std::vector<FourCC> boxes;
    for (const Box& box : boxesOf(content)) boxes.push_back(box.type);
    EXPECT_THAT(boxes, ElementsAre(fourCC("ftyp"), fourCC("moov"), fourCC("free"), fourCC("mdat")));
    EXPECT_EQ(ReadMovie(content).tracks.at(1).samples.size(), 80U);
}

TEST_F(QuickTimeMovie, skips_the_silence_that_an_encoder_puts_before_coded_sound) {
    const auto format = pcmFormat(16, 2);
    const auto input = makeInput(format, AudioOutputSettings{});
    ASSERT_TRUE(input);
    const auto writer = makeWriter(path, {input}, FileType::MPEG4);
    ASSERT_TRUE(writer->startWriting());
    writer->startSessionAtSourceTime({25000, 25000});
    for (std::int64_t i = 0; i < 50; ++i)
        ASSERT_TRUE(input->appendSampleBuffer(
            makeSample(format, filled(7680, 1), {{1, 48000}, {48000 + i * 1920, 48000}, {}}, 1920)));
    ASSERT_EQ(finish(writer), AssetWriterStatus::Completed);
    const Bytes content = contentOf(path);
    const ReadMovie movie(content);
    const ReadTrack& track = movie.tracks.at(1);
    EXPECT_THAT(editsOf(track), ElementsAre(Edit{50000, 1024}));
    EXPECT_GE(track.end, 1024 + 96000);
    EXPECT_THAT(hex(sampleEntry(track)), HasSubstr("0580808005"
                                                   "1190"));  // AAC-LC, 48 kHz, 2 channels
    EXPECT_FALSE(find(content, "ftyp").empty());
}

TEST_F(QuickTimeMovie, encodes_pictures_and_passes_on_what_is_coded_already) {
    VideoOutputSettings settings;
    settings.maxKeyFrameInterval = 12;
    settings.allowFrameReordering = false;
    const auto format = videoFormat(pixelFormat2vuy, [](VideoFormat& f) { f.width = 160, f.height = 96; });
    for (const bool coded : {false, true}) {
        std::filesystem::remove(path);
        const auto input = makeInput(format, settings), sound = makeInput(pcmFormat());
        ASSERT_TRUE(input);
        const auto writer = makeWriter(path, {input, sound});
        ASSERT_TRUE(writer->startWriting());
        writer->startSessionAtSourceTime({0, 25000});
        for (std::int64_t frame = 0; frame < 30; ++frame) {
            PixelBufferPtr picture;
            ASSERT_EQ(PixelBuffer::create(160, 96, pixelFormat2vuy, picture), noErr);
            std::fill_n(picture->mutableBaseAddress(), picture->dataSize(),
                        static_cast<std::uint8_t>(40 + frame));
            SampleBufferPtr sample = makeSample(videoFormat(fourCC("avc1")), filled(50, 1), frameTime(frame));
            if (!coded) {
                ASSERT_EQ(SampleBuffer::createForImageBuffer(picture, format, frameTime(frame), sample),
                          noErr);
            }
            ASSERT_TRUE(input->appendSampleBuffer(sample));
        }
        ASSERT_EQ(finish(writer), AssetWriterStatus::Completed);
        const Bytes content = contentOf(path);
        const ReadMovie movie(content);
        ASSERT_EQ(movie.tracks.size(), 1U) << "a track without samples is left out";
        const ReadTrack& track = movie.tracks.at(1);
        EXPECT_EQ(track.samples.size(), 30U);
        EXPECT_THAT(editsOf(track), ElementsAre(Edit{30000, 0}));
        EXPECT_THAT(hex(sampleEntry(track).subspan(4)), testing::StartsWith("61766331"));
        if (coded) {
            EXPECT_EQ(track.data.size(), 1500U);
        } else {
            EXPECT_THAT(hex(sampleEntry(track)), HasSubstr("6176634301"));
            for (std::size_t i = 0; i < 30; ++i) EXPECT_EQ(track.samples[i].sync, i % 12 == 0) << i;
        }
    }
}

TEST_F(QuickTimeMovie, places_data_beside_reordered_pictures_by_decode_time) {
    const auto format = FormatDescription::timecode({{1000, 25000}, 25, 2, "", 0});
    std::vector<SampleBufferPtr> samples;
    for (std::uint8_t i = 0; i < 4; ++i) {
        samples.push_back(makeSample(format, Bytes{0, 0, 0, i},
                                     {{1000, 25000}, {(3 - i) * 1000, 25000}, {i * 1000, 25000}}));
    }
    const ReadMovie movie = recordOne(format, samples);
    const ReadTrack& track = movie.tracks.at(1);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(track.samples[i].decodeTime, static_cast<std::int64_t>(i) * 1000);
        EXPECT_EQ(track.samples[i].compositionOffset, 0);
    }
}

TEST(AssetWriterInput, is_refused_where_the_container_has_no_place_for_it) {
    const TemporaryFolder folder;
    const auto timecode = makeInput(FormatDescription::timecode({{1000, 25000}, 25, 2, "", 0}));
    const auto caption = makeInput(FormatDescription::closedCaption(fourCC("c708")));
    const auto movie = makeWriter(folder / "a.mov", {}),
               mp4 = makeWriter(folder / "a.mp4", {}, FileType::MPEG4);
    EXPECT_TRUE(movie->canAddInput(timecode));
    EXPECT_TRUE(movie->canAddInput(caption));
    EXPECT_FALSE(mp4->canAddInput(timecode));
    EXPECT_FALSE(mp4->canAddInput(caption));
    movie->addInput(makeInput(videoFormat()));
    EXPECT_FALSE(movie->canAddInput(makeInput(videoFormat())));
    EXPECT_FALSE(AssetWriterInput::initWithMediaType(mediaTypeVideo, AudioOutputSettings{}, videoFormat()));
    EXPECT_FALSE(AssetWriterInput::initWithMediaType(mediaTypeVideo, std::monostate{}, nullptr));
}

}  // namespace
}  // namespace zenquor::platform::test
