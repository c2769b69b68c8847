#include "zenquor/platform/quicktime/MovieHeader.h"

#include <algorithm>
#include <limits>
#include <string_view>

#include "zenquor/platform/quicktime/SampleEntry.h"

namespace zenquor::platform::quicktime {
namespace {

using detail::BoxWriter;

constexpr std::uint32_t enabledInMovieAndPreview = 7;
constexpr std::uint32_t inMovie = 2;
constexpr std::uint16_t undeterminedLanguage = 0x55C4;  // "und"

struct Edit {
    std::uint64_t duration;  // in the movie's time scale
    std::int64_t mediaTime;  // in the track's; -1 for nothing to show
};

/// What a track shows when: its edits and its length in the movie's time scale.
struct TrackTimes {
    std::vector<Edit> edits;
    std::uint64_t duration = 0;
};

bool isWide(std::uint64_t duration) {
    return duration > std::numeric_limits<std::uint32_t>::max();
}

/// Three letters in five bits each, as ISO 639-2/T codes are packed.
std::uint16_t packedLanguage(std::string_view code) {
    const auto isLetter = [](char c) { return c >= 'a' && c <= 'z'; };
    if (code.size() != 3 || !std::ranges::all_of(code, isLetter)) return undeterminedLanguage;
    std::uint16_t packed = 0;
    for (const char c : code) packed = static_cast<std::uint16_t>(packed << 5 | (c - 0x60));
    return packed;
}

class HeaderWriter {
public:
    HeaderWriter(const MovieSettings& settings, const TrackList& tracks, bool fragmented)
        : settings_(settings), tracks_(tracks), fragmented_(fragmented) {
        using Seconds = std::chrono::seconds;
        constexpr std::uint64_t from1904To1970 = 2082844800;
        const auto unixTime =
            std::chrono::duration_cast<Seconds>(settings.created.time_since_epoch()).count();
        created_ = static_cast<std::uint64_t>(unixTime) + from1904To1970;
    }

    std::size_t durationOffset() const { return durationOffset_; }
    std::uint64_t duration() const {
        std::uint64_t longest = 0;
        for (const auto& track : tracks_) longest = std::max(longest, finishedTimes(*track).duration);
        return longest;
    }

    std::vector<std::uint8_t> run() {
        std::vector<TrackTimes> times;
        std::uint64_t duration = 0;
        for (const auto& track : tracks_) {
            times.push_back(fragmented_ ? recordingTimes(*track) : finishedTimes(*track));
            duration = std::max(duration, times.back().duration);
        }
        out_.box(fourCC("moov"), [&] {
            writeMovie(duration);
            for (std::size_t i = 0; i < tracks_.size(); ++i) writeTrack(*tracks_[i], times[i]);
            if (fragmented_) writeExtends();
            writeMetadata(out_, settings_.type, settings_.metadata);
        });
        return out_.take();
    }

private:
    bool isMovie() const { return settings_.type == FileType::QuickTimeMovie; }

    std::uint64_t inMovieScale(std::int64_t value, const TrackState& track) const {
        const MediaTime time = MediaTime{value, track.timescale}.converted(settings_.timescale);
        return static_cast<std::uint64_t>(std::max<std::int64_t>(time.value, 0));
    }

    TrackTimes recordingTimes(const TrackState& track) const {
        const std::int64_t start = track.toTimescale(settings_.sessionStart).value;
        const std::int64_t hidden = start - fragmentOrigin(track, settings_);
        return {{{0, hidden}}, 0};
    }

    TrackTimes finishedTimes(const TrackState& track) const {
        TrackTimes times;
        if (track.table.empty()) return times;
        const std::int64_t start = track.toTimescale(settings_.sessionStart).value;
        const std::int64_t shownFrom = std::max(track.presentationStart(), start);
        if (shownFrom > start) times.edits.push_back({inMovieScale(shownFrom - start, track), -1});
        const std::int64_t shown = std::max<std::int64_t>(track.presentationEnd() - shownFrom, 0);
        times.edits.push_back({inMovieScale(shown, track), shownFrom - track.table.firstDecodeTime()});
        for (const Edit& edit : times.edits) times.duration += edit.duration;
        return times;
    }

    void writeDates(bool wide) {
        out_.sized(created_, wide);
        out_.sized(created_, wide);
    }

    void writeMatrix() {
        for (const std::uint32_t v : {0x10000U, 0U, 0U, 0U, 0x10000U, 0U, 0U, 0U, 0x40000000U}) out_.u32(v);
    }

    void writeMovie(std::uint64_t duration) {
        const bool wide = isWide(duration);
        out_.fullBox(fourCC("mvhd"), wide ? 1 : 0, 0, [&] {
            writeDates(wide);
            out_.i32(settings_.timescale);
            out_.sized(duration, wide);
            out_.u32(0x00010000);  // rate
            out_.u16(0x0100);      // volume
            out_.zeros(10);
            writeMatrix();
            out_.zeros(24);
            std::uint32_t next = 1;
            for (const auto& track : tracks_) next = std::max(next, track->trackID + 1);
            out_.u32(next);
        });
    }

    void writeTrack(const TrackState& track, const TrackTimes& times) {
        out_.box(fourCC("trak"), [&] {
            writeTrackHeader(track, times.duration);
            writeApertures(track);
            writeEdits(times.edits);
            if (!track.timecodeTrackIDs.empty()) writeReferences(track);
            out_.box(fourCC("mdia"), [&] { writeMedia(track); });
        });
    }

    /// The format of the picture that gives the movie its size; captions share it.
    const VideoFormat* picture(const TrackState& track) const {
        if (track.mediaType == mediaTypeVideo) return track.format->videoFormat();
        if (track.mediaType != mediaTypeClosedCaption) return nullptr;
        const auto isVideo = [](const auto& t) { return t->mediaType == mediaTypeVideo; };
        const auto found = std::ranges::find_if(tracks_, isVideo);
        return found != tracks_.end() ? (*found)->format->videoFormat() : nullptr;
    }

    void writeTrackHeader(const TrackState& track, std::uint64_t duration) {
        const bool wide = isWide(duration);
        const bool timecode = track.mediaType == mediaTypeTimecode;
        out_.fullBox(fourCC("tkhd"), wide ? 1 : 0, timecode ? inMovie : enabledInMovieAndPreview, [&] {
            writeDates(wide);
            out_.u32(track.trackID);
            out_.u32(0);
            out_.sized(duration, wide);
            out_.zeros(8);
            out_.u16(0);  // layer
            out_.u16(0);  // alternate group: all sound tracks belong together
            out_.u16(track.mediaType == mediaTypeAudio ? 0x0100 : 0);
            out_.u16(0);
            writeMatrix();
            const VideoFormat* format = picture(track);
            const FixedSize size = format ? productionSize(*format) : FixedSize{};
            out_.u32(size.width);
            out_.u32(size.height);
        });
    }

    void writeApertures(const TrackState& track) {
        const VideoFormat* format = picture(track);
        if (!isMovie() || !format || !hasOblongPixels(*format)) return;
        const auto writeSize = [&](FourCC type, FixedSize size) {
            out_.fullBox(type, 0, 0, [&] {
                out_.u32(size.width);
                out_.u32(size.height);
            });
        };
        out_.box(fourCC("tapt"), [&] {
            writeSize(fourCC("clef"), cleanSize(*format));
            writeSize(fourCC("prof"), productionSize(*format));
            writeSize(fourCC("enof"), encodedSize(*format));
        });
    }

    void writeEdits(const std::vector<Edit>& edits) {
        if (edits.empty()) return;
        const auto needs64 = [](const Edit& e) {
            return isWide(e.duration) || e.mediaTime > std::numeric_limits<std::int32_t>::max();
        };
        const bool wide = std::ranges::any_of(edits, needs64);
        out_.box(fourCC("edts"), [&] {
            out_.fullBox(fourCC("elst"), wide ? 1 : 0, 0, [&] {
                out_.u32(static_cast<std::uint32_t>(edits.size()));
                for (const Edit& edit : edits) {
                    out_.sized(edit.duration, wide);
                    out_.sized(static_cast<std::uint64_t>(edit.mediaTime), wide);
                    out_.u32(0x00010000);  // rate
                }
            });
        });
    }

    void writeReferences(const TrackState& track) {
        out_.box(fourCC("tref"), [&] {
            out_.box(fourCC("tmcd"), [&] {
                for (const std::uint32_t id : track.timecodeTrackIDs) out_.u32(id);
            });
        });
    }

    void writeMedia(const TrackState& track) {
        const std::uint64_t duration = fragmented_ ? 0 : track.table.duration();
        const bool wide = isWide(duration);
        out_.fullBox(fourCC("mdhd"), wide ? 1 : 0, 0, [&] {
            writeDates(wide);
            out_.i32(track.timescale);
            out_.sized(duration, wide);
            out_.u16(packedLanguage(track.languageCode));
            out_.u16(0);
        });
        writeHandler(fourCC("mhlr"), track.mediaType, handlerName(track.mediaType));
        out_.box(fourCC("minf"), [&] {
            writeMediaHeader(track);
            if (isMovie()) writeHandler(fourCC("dhlr"), fourCC("url "), "DataHandler");
            writeDataReference();
            out_.box(fourCC("stbl"), [&] { writeSampleTable(track); });
        });
    }

    static std::string_view handlerName(FourCC mediaType) {
        switch (mediaType) {
            case mediaTypeVideo:
                return "VideoHandler";
            case mediaTypeAudio:
                return "SoundHandler";
            case mediaTypeTimecode:
                return "TimeCodeHandler";
            default:
                return "ClosedCaptionHandler";
        }
    }

    void writeHandler(FourCC component, FourCC type, std::string_view name) {
        out_.fullBox(fourCC("hdlr"), 0, 0, [&] {
            out_.u32(isMovie() ? component : 0);
            out_.u32(type);
            out_.zeros(12);
            if (isMovie()) return out_.pascalText(name);
            out_.text(name);
            out_.u8(0);
        });
    }

    void writeMediaHeader(const TrackState& track) {
        switch (track.mediaType) {
            case mediaTypeVideo:
                return out_.fullBox(fourCC("vmhd"), 0, 1, [&] { out_.zeros(8); });
            case mediaTypeAudio:
                return out_.fullBox(fourCC("smhd"), 0, 0, [&] { out_.zeros(4); });
            default:
                return writeBaseMediaHeader(track.mediaType == mediaTypeTimecode);
        }
    }

    void writeBaseMediaHeader(bool timecode) {
        out_.box(fourCC("gmhd"), [&] {
            out_.fullBox(fourCC("gmin"), 0, 0, [&] {
                out_.u16(0x0040);  // graphics mode: dither copy
                for (int i = 0; i < 3; ++i) out_.u16(0x8000);
                out_.u16(0);  // balance
                out_.u16(0);
            });
            if (timecode) out_.box(fourCC("tmcd"), [&] { writeTimecodeStyle(); });
        });
    }

    void writeTimecodeStyle() {
        out_.fullBox(fourCC("tcmi"), 0, 0, [&] {
            out_.u16(0);   // font
            out_.u16(0);   // face
            out_.u16(12);  // size
            out_.u16(0);
            for (int i = 0; i < 3; ++i) out_.u16(0xFFFF);  // text colour
            for (int i = 0; i < 3; ++i) out_.u16(0);       // background
            out_.pascalText("Lucida Grande");
        });
    }

    void writeDataReference() {
        out_.box(fourCC("dinf"), [&] {
            out_.fullBox(fourCC("dref"), 0, 0, [&] {
                out_.u32(1);
                out_.fullBox(fourCC("url "), 0, 1, [] {});  // in this file
            });
        });
    }

    void writeSampleTable(const TrackState& track) {
        out_.fullBox(fourCC("stsd"), 0, 0, [&] {
            out_.u32(1);
            writeEntry(track);
        });
        fragmented_ ? SampleTable::writeEmpty(out_) : track.table.write(out_);
    }

    void writeEntry(const TrackState& track) {
        switch (track.mediaType) {
            case mediaTypeVideo:
                return writeVideoSampleEntry(out_, settings_.type, *track.format,
                                             std::span(track.firstBytes).first(track.firstByteCount));
            case mediaTypeAudio:
                return writeSoundSampleEntry(out_, settings_.type, *track.format);
            case mediaTypeTimecode:
                return writeTimecodeSampleEntry(out_, *track.format);
            default:
                return writeCaptionSampleEntry(out_, *track.format);
        }
    }

    void writeExtends() {
        out_.box(fourCC("mvex"), [&] {
            // Filled in as the movie grows; without it GStreamer takes the first fragment for the whole.
            out_.fullBox(fourCC("mehd"), 1, 0, [&] {
                durationOffset_ = out_.size();
                out_.u64(0);
            });
            for (const auto& track : tracks_) {
                out_.fullBox(fourCC("trex"), 0, 0, [&] {
                    out_.u32(track->trackID);
                    out_.u32(1);     // sample description
                    out_.zeros(12);  // defaults are told by each fragment
                });
            }
        });
    }

    const MovieSettings& settings_;
    const TrackList& tracks_;
    const bool fragmented_;
    std::uint64_t created_ = 0;
    std::size_t durationOffset_ = 0;
    BoxWriter out_;
};

}  // namespace

std::vector<std::uint8_t> makeFileType(FileType type) {
    BoxWriter out;
    out.box(fourCC("ftyp"), [&] {
        if (type == FileType::QuickTimeMovie) {
            out.text("qt  ");
            out.u32(0x20050300);
            out.text("qt  ");
        } else {
            out.text("isom");
            out.u32(0x200);
            out.text("isomiso2iso5iso6mp41mp42");
        }
    });
    return out.take();
}

std::int64_t fragmentOrigin(const TrackState& track, const MovieSettings& settings) {
    const std::int64_t start = track.toTimescale(settings.sessionStart).value;
    return track.table.empty() ? start : std::min(start, track.table.firstDecodeTime());
}

FragmentedMovieHeader makeFragmentedMovieHeader(const MovieSettings& settings, const TrackList& tracks) {
    TrackList known;
    std::ranges::copy_if(tracks, std::back_inserter(known),
                         [](const auto& t) { return t->format != nullptr; });
    HeaderWriter writer(settings, known, true);
    auto box = writer.run();
    return {std::move(box), writer.durationOffset()};
}

std::uint64_t movieDuration(const MovieSettings& settings, const TrackList& tracks) {
    return HeaderWriter(settings, tracks, false).duration();
}

std::vector<std::uint8_t> makeMovieHeader(const MovieSettings& settings, const TrackList& tracks) {
    TrackList filled;
    std::ranges::copy_if(tracks, std::back_inserter(filled),
                         [](const auto& t) { return t->format && !t->table.empty(); });
    return HeaderWriter(settings, filled, false).run();
}

}  // namespace zenquor::platform::quicktime
