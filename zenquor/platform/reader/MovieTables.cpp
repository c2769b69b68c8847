#include "zenquor/platform/reader/MovieTables.h"

#include <algorithm>
#include <array>
#include <unordered_map>

#include "zenquor/core/ByteOrder.h"

namespace zenquor::platform::detail {
namespace {

// A day of sixty frames a second with sixteen tracks needs less; larger boxes are not read.
constexpr std::uint64_t largestMovieBox = std::uint64_t{1} << 30;
constexpr std::uint64_t largestFragmentBox = std::uint64_t{1} << 27;
// No editing system writes more; each edit may walk the samples anew.
constexpr std::size_t largestEditList = 4096;

enum FragmentFlag : std::uint32_t {
    fragmentHasBaseOffset = 0x01,
    fragmentHasDescription = 0x02,
    fragmentHasDuration = 0x08,
    fragmentHasSize = 0x10,
    fragmentBaseIsMoof = 0x20000
};

struct Box {
    FourCC type = 0;
    std::uint64_t headerSize = 0;
    std::uint64_t size = 0;  // with the header, as the box says
};

/// The header in @p bytes (up to 16 of them); @p rest bytes lie from there to the end of the parent.
std::optional<Box> boxHeader(std::span<const std::uint8_t> bytes, std::uint64_t rest) {
    if (bytes.size() < 8) return std::nullopt;
    Box box{readBE32(bytes.data() + 4), 8, readBE32(bytes.data())};
    if (box.size == 0) box.size = rest;
    if (box.size == 1) {
        if (bytes.size() < 16) return std::nullopt;
        box = {box.type, 16, readBE64(bytes.data() + 8)};
    }
    return box.size < box.headerSize ? std::nullopt : std::optional(box);
}

/// Calls @p visit with the type, the content and the whole of each complete box inside @p bytes.
template <typename Visit>
void forEachBox(const ZQData& bytes, Visit&& visit) {
    for (std::size_t offset = 0; bytes.size() - offset >= 8;) {
        const std::size_t rest = bytes.size() - offset;
        const auto box = boxHeader(bytes.span().subspan(offset), rest);
        if (!box || box->size > rest) return;
        const auto size = static_cast<std::size_t>(box->size);
        const auto header = static_cast<std::size_t>(box->headerSize);
        visit(box->type, bytes.slice(offset + header, size - header), bytes.slice(offset, size));
        offset += size;
    }
}

/// Calls @p visit with the content of each box of one type.
template <typename Visit>
void forEachBoxOfType(const ZQData& bytes, FourCC type, Visit&& visit) {
    forEachBox(bytes, [&](FourCC found, const ZQData& content, const ZQData&) {
        if (found == type) visit(content);
    });
}

std::uint32_t field32(const ZQData& bytes, std::size_t offset) {
    return bytes.size() >= 4 && offset <= bytes.size() - 4 ? readBE32(bytes.data() + offset) : 0;
}
std::uint64_t field64(const ZQData& bytes, std::size_t offset) {
    return std::uint64_t{field32(bytes, offset)} << 32 | field32(bytes, offset + 4);
}
/// Whether a box with version and flags uses its 64-bit layout.
bool isWide(const ZQData& fullBox) {
    return !fullBox.empty() && fullBox[0] == 1;
}

std::vector<MovieEdit> readEdits(const ZQData& elst) {
    const std::size_t rowSize = isWide(elst) ? 20 : 12;
    if (elst.size() < 8) return {};
    const auto count =
        std::min<std::size_t>({field32(elst, 4), (elst.size() - 8) / rowSize, largestEditList});
    std::vector<MovieEdit> edits(count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t row = 8 + i * rowSize;
        if (isWide(elst)) {
            edits[i] = {field64(elst, row), static_cast<std::int64_t>(field64(elst, row + 8))};
        } else {
            edits[i] = {field32(elst, row), static_cast<std::int32_t>(field32(elst, row + 4))};
        }
    }
    return edits;
}

/// Whether entry @p index (from 1) of a data reference box says that the samples lie in the file itself.
bool isSelfContainedReference(const ZQData& dref, std::uint32_t index) {
    bool found = true;
    std::uint32_t number = 0;
    if (dref.size() < 8) return true;
    forEachBox(dref.slice(8, dref.size()), [&](FourCC, const ZQData& content, const ZQData&) {
        if (++number == index) found = (field32(content, 0) & 1) != 0;
    });
    return found;
}

void readSampleTable(const ZQData& stbl, MovieTrackTables& track) {
    const auto table = [](const ZQData& content) { return content.slice(4, content.size()); };
    forEachBox(stbl, [&](FourCC type, const ZQData& content, const ZQData&) {
        switch (type) {
            case fourCC("stsd"): {
                const std::uint64_t size = field32(content, 8);
                if (size >= 16) track.sampleEntry = content.slice(8, static_cast<std::size_t>(size));
                break;
            }
            case fourCC("stts"):
                track.stts = table(content);
                break;
            case fourCC("ctts"):
                track.ctts = table(content);
                break;
            case fourCC("stsc"):
                track.stsc = table(content);
                break;
            case fourCC("stsz"):
                track.stsz = table(content);
                break;
            case fourCC("co64"):
            case fourCC("stco"):
                track.stco = table(content);
                track.has64BitOffsets = type == fourCC("co64");
                break;
            default:
                break;
        }
    });
}

void readMedia(const ZQData& mdia, MovieTrackTables& track) {
    ZQData dref;
    forEachBox(mdia, [&](FourCC type, const ZQData& content, const ZQData&) {
        if (type == fourCC("mdhd")) track.timeScale = field32(content, isWide(content) ? 20 : 12);
        if (type == fourCC("hdlr")) track.handler = field32(content, 8);
        if (type != fourCC("minf")) return;
        forEachBox(content, [&](FourCC inner, const ZQData& part, const ZQData&) {
            if (inner == fourCC("stbl")) readSampleTable(part, track);
            if (inner == fourCC("dinf"))
                forEachBoxOfType(part, fourCC("dref"), [&](const ZQData& d) { dref = d; });
        });
    });
    if (track.sampleEntry.size() >= 16) {
        track.isSelfContained = isSelfContainedReference(dref, readBE16(track.sampleEntry.data() + 14));
    }
}

MovieTrackTables readTrack(const ZQData& trak) {
    MovieTrackTables track;
    forEachBox(trak, [&](FourCC type, const ZQData& content, const ZQData&) {
        switch (type) {
            case fourCC("tkhd"):
                track.trackID = field32(content, isWide(content) ? 20 : 12);
                break;
            case fourCC("edts"):
                forEachBoxOfType(content, fourCC("elst"),
                                 [&](const ZQData& elst) { track.edits = readEdits(elst); });
                break;
            case fourCC("tref"):
                forEachBoxOfType(content, fourCC("tmcd"), [&](const ZQData& ids) {
                    for (std::size_t i = 0; i + 4 <= ids.size() && i < 4 * 64; i += 4)
                        track.timecodeTrackIDs.push_back(field32(ids, i));
                });
                break;
            case fourCC("mdia"):
                readMedia(content, track);
                break;
            default:
                break;
        }
    });
    return track;
}

bool isHandedOutRaw(const MovieTrackTables& track) {
    return track.handler == fourCC("tmcd") || track.handler == fourCC("clcp");
}

/// The end of the decode times of the movie box's samples.
std::uint64_t mediaDuration(const MovieTrackTables& track) {
    std::uint64_t sum = 0;
    const std::uint64_t rows = field32(track.stts, 0);
    for (std::uint64_t i = 0; i < rows && 12 + i * 8 <= track.stts.size(); ++i) {
        const auto row = static_cast<std::size_t>(4 + i * 8);
        sum += std::uint64_t{field32(track.stts, row)} * field32(track.stts, row + 4);
    }
    return sum;
}

/// Reads one movie's boxes from the top.
class MovieScanner {
public:
    MovieScanner(const FileView& file, MovieTables& tables) : file_(file), tables_(tables) {}

    /// @return whether there is a movie box.
    bool run() {
        tables_.readableSize = file_.size();
        for (std::uint64_t offset = 0; file_.size() - offset >= 8;) {
            const auto box = headerAt(offset);
            if (!box || (offset == 0 && !startsMovie(box->type))) break;
            const bool isWhole = box->size <= file_.size() - offset;
            if (!isWhole) {
                if (tables_.isFragmented) tables_.readableSize = fragmentStart_.value_or(offset);
                break;
            }
            if (!take(*box, offset)) break;
            offset += box->size;
        }
        return hasMovie_;
    }

private:
    static bool startsMovie(FourCC type) {
        constexpr std::array types{fourCC("ftyp"), fourCC("moov"), fourCC("mdat"),
                                   fourCC("wide"), fourCC("free"), fourCC("skip"),
                                   fourCC("pnot"), fourCC("styp"), fourCC("uuid")};
        return std::find(types.begin(), types.end(), type) != types.end();
    }

    /// Headers are read through a window: a file of nothing but empty boxes costs no system call each.
    std::optional<Box> headerAt(std::uint64_t offset) {
        if (offset < windowStart_ || offset + 16 > windowStart_ + windowSize_) {
            windowStart_ = offset;
            windowSize_ = file_.read(offset, window_);
        }
        const auto at = static_cast<std::size_t>(offset - windowStart_);
        return boxHeader(std::span(window_).first(windowSize_).subspan(at), file_.size() - offset);
    }

    /// @return false when reading ends before this box.
    bool take(const Box& box, std::uint64_t offset) {
        const auto content = [&](std::uint64_t largest) {
            const std::uint64_t size = box.size - box.headerSize;
            return size > largest ? ZQData()
                                  : file_.data(offset + box.headerSize, static_cast<std::size_t>(size));
        };
        if (box.type == fourCC("mdat")) fragmentStart_.reset();
        if (box.type == fourCC("moov") && !hasMovie_) {
            readMovie(content(largestMovieBox));
            hasMovie_ = true;
        } else if (box.type == fourCC("moof") && tables_.isFragmented) {
            if (!readFragment(content(largestFragmentBox), offset)) {
                tables_.readableSize = offset;
                return false;
            }
            fragmentStart_ = offset;
        }
        return true;
    }

    void readMovie(const ZQData& moov) {
        forEachBox(moov, [&](FourCC type, const ZQData& content, const ZQData&) {
            if (type == fourCC("mvhd")) tables_.movieTimeScale = field32(content, isWide(content) ? 20 : 12);
            if (type == fourCC("trak")) tables_.tracks.push_back(readTrack(content));
            if (type == fourCC("mvex")) tables_.isFragmented = true;
        });
        for (auto& track : tables_.tracks) {
            byID_.emplace(track.trackID, &track);
            if (isHandedOutRaw(track)) continue;
            track.stts = track.ctts = track.stsc = track.stsz = track.stco = {};
        }
        for (const auto& track : tables_.tracks) nextDecodeTime_[track.trackID] = mediaDuration(track);
        forEachBoxOfType(moov, fourCC("mvex"), [&](const ZQData& mvex) {
            forEachBoxOfType(mvex, fourCC("trex"), [&](const ZQData& trex) {
                const auto found = byID_.find(field32(trex, 4));
                if (found == byID_.end()) return;
                found->second->defaultDuration = field32(trex, 12);
                found->second->defaultSize = field32(trex, 16);
            });
        });
    }

    /// @return whether the file holds all the fragment's samples.
    bool readFragment(const ZQData& moof, std::uint64_t moofOffset) {
        std::uint64_t nextData = moofOffset;
        bool isWhole = true;
        forEachBoxOfType(moof, fourCC("traf"), [&](const ZQData& traf) {
            isWhole = readTrackFragment(traf, moofOffset, nextData) && isWhole;
        });
        return isWhole;
    }

    bool readTrackFragment(const ZQData& traf, std::uint64_t moofOffset, std::uint64_t& nextData) {
        MovieTrackTables* track = nullptr;
        MovieFragmentRun defaults;
        std::uint64_t base = nextData;
        bool isWhole = true;
        forEachBox(traf, [&](FourCC type, const ZQData& content, const ZQData&) {
            if (type == fourCC("tfhd")) {
                const auto found = byID_.find(field32(content, 4));
                if (found == byID_.end()) return;
                track = found->second;
                defaults = fragmentDefaults(content, *track, moofOffset, base);
                defaults.decodeTime = nextDecodeTime_[track->trackID];
                nextData = base;
            }
            if (!track) return;
            if (type == fourCC("tfdt"))
                defaults.decodeTime = isWide(content) ? field64(content, 4) : field32(content, 4);
            if (type == fourCC("trun"))
                isWhole = readRun(content, *track, base, defaults, nextData) && isWhole;
        });
        if (track) nextDecodeTime_[track->trackID] = defaults.decodeTime;
        return isWhole;
    }

    static MovieFragmentRun fragmentDefaults(const ZQData& tfhd, const MovieTrackTables& track,
                                             std::uint64_t moofOffset, std::uint64_t& base) {
        const std::uint32_t flags = field32(tfhd, 0) & 0xFFFFFF;
        MovieFragmentRun defaults;
        defaults.defaultDuration = track.defaultDuration;
        defaults.defaultSize = track.defaultSize;
        std::size_t at = 8;
        if (flags & fragmentBaseIsMoof) base = moofOffset;
        if (flags & fragmentHasBaseOffset) {
            base = field64(tfhd, at);
            at += 8;
        }
        if (flags & fragmentHasDescription) at += 4;
        if (flags & fragmentHasDuration) {
            defaults.defaultDuration = field32(tfhd, at);
            at += 4;
        }
        if (flags & fragmentHasSize) defaults.defaultSize = field32(tfhd, at);
        return defaults;
    }

    /// @param defaults  its decode time moves on by the run's samples.
    bool readRun(const ZQData& trun, MovieTrackTables& track, std::uint64_t base, MovieFragmentRun& defaults,
                 std::uint64_t& nextData) {
        MovieFragmentRun run = defaults;
        run.flags = field32(trun, 0);
        run.count = field32(trun, 4);
        std::size_t at = 8;
        run.dataOffset = nextData;
        if (run.flags & runHasDataOffset) {
            run.dataOffset = base + static_cast<std::uint64_t>(static_cast<std::int32_t>(field32(trun, at)));
            at += 4;
        }
        if (run.flags & runHasFirstFlags) at += 4;
        run.rows = trun.slice(at, trun.size());
        nextData = run.dataOffset + advance(run, defaults.decodeTime);
        const bool isWhole =
            run.dataOffset <= file_.size() && nextData >= run.dataOffset && nextData <= file_.size();
        // Samples without bytes and without rows are a mere claim.
        const bool hasSamples = run.count > 0 && (run.rowSize() > 0 || run.defaultSize > 0);
        if (isWhole && isHandedOutRaw(track) && hasSamples) track.runs.push_back(std::move(run));
        return isWhole;
    }

    /// Cuts the run's count to the rows there are, moves @p decodeTime over it and gives the bytes of its
    /// samples.
    static std::uint64_t advance(MovieFragmentRun& run, std::uint64_t& decodeTime) {
        const std::size_t rowSize = run.rowSize();
        if (rowSize > 0)
            run.count =
                static_cast<std::uint32_t>(std::min<std::size_t>(run.count, run.rows.size() / rowSize));
        std::uint64_t bytes = std::uint64_t{run.count} * run.defaultSize;
        std::uint64_t duration = std::uint64_t{run.count} * run.defaultDuration;
        const std::size_t sizeAt = run.flags & runHasDurations ? 4 : 0;
        if (run.flags & runHasDurations) duration = sumOfColumn(run, rowSize, 0);
        if (run.flags & runHasSizes) bytes = sumOfColumn(run, rowSize, sizeAt);
        decodeTime += duration;
        return bytes;
    }

    static std::uint64_t sumOfColumn(const MovieFragmentRun& run, std::size_t rowSize, std::size_t column) {
        std::uint64_t sum = 0;
        for (std::size_t i = 0; i < run.count; ++i) sum += readBE32(run.rows.data() + i * rowSize + column);
        return sum;
    }

    const FileView& file_;
    MovieTables& tables_;
    bool hasMovie_ = false;
    std::optional<std::uint64_t> fragmentStart_;  // of a 'moof' whose 'mdat' has not come yet
    std::unordered_map<std::uint32_t, MovieTrackTables*> byID_;
    std::unordered_map<std::uint32_t, std::uint64_t> nextDecodeTime_;
    std::array<std::uint8_t, 65536> window_;
    std::uint64_t windowStart_ = 0;
    std::size_t windowSize_ = 0;
};

}  // namespace

std::size_t MovieFragmentRun::rowSize() const {
    std::size_t size = 0;
    for (const std::uint32_t column : {runHasDurations, runHasSizes, runHasFlags, runHasOffsets})
        size += flags & column ? 4 : 0;
    return size;
}

FourCC MovieTrackTables::sampleEntryType() const {
    return sampleEntry.size() >= 8 ? readBE32(sampleEntry.data() + 4) : 0;
}

std::uint64_t MovieTrackTables::sampleCount() const {
    std::uint64_t count = field32(stsz, 4);
    for (const auto& run : runs) count += run.count;
    return count;
}

std::optional<MovieTables> MovieTables::read(const FileView& file) {
    MovieTables tables;
    if (!std::make_unique<MovieScanner>(file, tables)->run()) return std::nullopt;
    return tables;
}

const MovieTrackTables* MovieTables::track(std::uint32_t trackID) const {
    const auto found = std::find_if(tracks.begin(), tracks.end(),
                                    [&](const MovieTrackTables& each) { return each.trackID == trackID; });
    return found == tracks.end() ? nullptr : &*found;
}

}  // namespace zenquor::platform::detail
