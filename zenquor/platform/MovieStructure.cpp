#include "zenquor/platform/MovieStructure.h"

#include <algorithm>
#include <fstream>
#include <functional>
#include <system_error>

#include <fmt/format.h>

#include "zenquor/core/ByteOrder.h"
#include "zenquor/platform/Asset.h"

namespace zenquor::platform {
namespace {

using Bytes = std::span<const std::uint8_t>;

// A day of 60 frames per second with sixteen tracks needs less; a larger movie box is not read.
constexpr std::uint64_t largestMovieBox = std::uint64_t{1} << 30;

struct Box {
    FourCC type = 0;
    std::uint64_t offset = 0;  // of the header, from the start of what was walked
    std::uint64_t headerSize = 0;
    std::uint64_t size = 0;  // with the header, as the box says
};

/// Reads the header at @p bytes (up to 16 of them); @p rest is what lies from there to the end of the parent.
std::optional<Box> boxHeader(Bytes bytes, std::uint64_t offset, std::uint64_t rest) {
    if (bytes.size() < 8) return std::nullopt;
    Box box{readBE32(bytes.data() + 4), offset, 8, readBE32(bytes.data())};
    if (box.size == 0) box.size = rest;
    if (box.size == 1) {
        if (bytes.size() < 16) return std::nullopt;
        box.size = readBE64(bytes.data() + 8);
        box.headerSize = 16;
    }
    return box.size < box.headerSize ? std::nullopt : std::optional(box);
}

/// Calls @p visit with the type and content of each whole box inside @p bytes.
void forEachBox(Bytes bytes, const std::function<void(FourCC, Bytes)>& visit) {
    while (bytes.size() >= 8) {
        const auto box = boxHeader(bytes.first(std::min<std::size_t>(bytes.size(), 16)), 0, bytes.size());
        if (!box || box->size > bytes.size()) return;
        const auto size = static_cast<std::size_t>(box->size);
        visit(box->type, bytes.first(size).subspan(static_cast<std::size_t>(box->headerSize)));
        bytes = bytes.subspan(size);
    }
}

std::uint32_t field32(Bytes bytes, std::size_t offset) {
    return bytes.size() >= 4 && offset <= bytes.size() - 4 ? readBE32(bytes.data() + offset) : 0;
}

/// The sum of a table's entries: @p count rows of two numbers, times in the second.
std::uint64_t sumOfRuns(Bytes table) {
    std::uint64_t sum = 0;
    const std::uint32_t rows = field32(table, 4);
    for (std::uint32_t i = 0; i < rows && 16 + std::size_t{i} * 8 <= table.size(); ++i)
        sum += field32(table, 8 + std::size_t{i} * 8);
    return sum;
}

class Walker {
public:
    Walker(std::ifstream& file, MovieStructure& structure) : file_(file), structure_(structure) {}

    /// @return whether anything of a movie was found.
    bool run() {
        for (std::uint64_t offset = 0; offset < structure_.fileSize;) {
            const auto box = boxAt(offset);
            if (!box) break;
            takeTopLevel(*box);
            if (box->size > structure_.fileSize - offset) {
                fault("The box '{}' at byte {} lacks its last {} bytes: the file was cut off.",
                      fourCCString(box->type), offset, box->size - (structure_.fileSize - offset));
                break;
            }
            offset += box->size;
        }
        if (known_ && !movieBoxSeen_) fault("There is no movie box: nothing can be played.");
        if (structure_.isFragmented) {
            fault("The recording was not finished: the file is still in {} fragments.",
                  structure_.fragmentCount);
        }
        for (const auto& check : pendingChunkChecks_) check();
        return known_;
    }

private:
    template <typename... A>
    void fault(fmt::format_string<A...> text, A&&... arguments) {
        structure_.faults.push_back(fmt::format(text, std::forward<A>(arguments)...));
    }

    std::optional<Box> boxAt(std::uint64_t offset) {
        std::uint8_t header[16] = {};
        file_.clear();
        file_.seekg(static_cast<std::streamoff>(offset));
        file_.read(reinterpret_cast<char*>(header), sizeof header);
        const auto got = static_cast<std::size_t>(file_.gcount());
        const auto box = boxHeader(Bytes(header, got), offset, structure_.fileSize - offset);
        if (!box && known_) fault("There is no box at byte {}, where one should begin.", offset);
        return box;
    }

    void takeTopLevel(const Box& box) {
        switch (box.type) {
            case fourCC("mdat"):
                mediaData_.push_back({box.offset, box.offset + box.size});
                [[fallthrough]];
            case fourCC("ftyp"):
                known_ = true;
                break;
            case fourCC("moof"):
                ++structure_.fragmentCount;
                break;
            case fourCC("moov"):
                known_ = movieBoxSeen_ = true;
                takeMovie(box);
                break;
            default:
                break;
        }
    }

    void takeMovie(const Box& box) {
        if (box.size > structure_.fileSize - box.offset) return;
        if (box.size > largestMovieBox) return fault("The movie box is too large to be looked at.");
        std::vector<std::uint8_t> content(static_cast<std::size_t>(box.size - box.headerSize));
        file_.clear();
        file_.seekg(static_cast<std::streamoff>(box.offset + box.headerSize));
        file_.read(reinterpret_cast<char*>(content.data()), static_cast<std::streamsize>(content.size()));
        if (static_cast<std::size_t>(file_.gcount()) != content.size())
            return fault("The movie box cannot be read.");
        structure_.tracks.clear();
        structure_.isFragmented = false;
        forEachBox(content, [&](FourCC type, Bytes bytes) {
            if (type == fourCC("mvex")) structure_.isFragmented = true;
            if (type == fourCC("trak")) takeTrack(bytes);
        });
    }

    void takeTrack(Bytes bytes) {
        MovieStructure::Track track;
        forEachBox(bytes, [&](FourCC type, Bytes content) {
            if (type == fourCC("tkhd") && !content.empty())
                track.trackID = field32(content, content[0] == 1 ? 20 : 12);
            if (type == fourCC("tref")) takeReferences(content, track);
            if (type == fourCC("mdia")) takeMedia(content, track);
        });
        structure_.tracks.push_back(std::move(track));
    }

    void takeReferences(Bytes bytes, MovieStructure::Track& track) {
        forEachBox(bytes, [&](FourCC type, Bytes ids) {
            if (type != fourCC("tmcd")) return;
            for (std::size_t i = 0; i + 4 <= ids.size(); i += 4)
                track.timecodeTrackIDs.push_back(field32(ids, i));
        });
    }

    void takeMedia(Bytes bytes, MovieStructure::Track& track) {
        std::uint64_t duration = 0;
        forEachBox(bytes, [&](FourCC type, Bytes content) {
            if (type == fourCC("mdhd") && !content.empty()) {
                const bool wide = content[0] == 1;
                track.timeScale = field32(content, wide ? 20 : 12);
                duration = wide ? std::uint64_t{field32(content, 24)} << 32 | field32(content, 28)
                                : field32(content, 16);
            }
            if (type == fourCC("hdlr")) track.handler = field32(content, 8);
            if (type != fourCC("minf")) return;
            forEachBox(content, [&](FourCC inner, Bytes table) {
                if (inner == fourCC("stbl")) takeSampleTable(table, track, duration);
            });
        });
    }

    void takeSampleTable(Bytes bytes, MovieStructure::Track& track, std::uint64_t duration) {
        std::uint64_t timed = 0;
        std::uint64_t length = 0;
        forEachBox(bytes, [&](FourCC type, Bytes table) {
            if (type == fourCC("stsd")) track.sampleEntry = field32(table, 12);
            if (type == fourCC("stsz")) track.sampleCount = field32(table, 8);
            if (type == fourCC("stts")) {
                timed = sumOfRuns(table);
                for (std::uint32_t i = 0; i < field32(table, 4) && 16 + std::size_t{i} * 8 <= table.size();
                     ++i) {
                    const std::size_t row = 8 + std::size_t{i} * 8;
                    length += std::uint64_t{field32(table, row)} * field32(table, row + 4);
                }
            }
            if (type == fourCC("stco") || type == fourCC("co64"))
                takeChunks(table, type == fourCC("co64") ? 8 : 4, track);
        });
        if (timed != track.sampleCount) {
            fault("Track {}: the times are of {} samples, the sizes of {}.", track.trackID, timed,
                  track.sampleCount);
        }
        if (track.sampleCount > 0 && length != duration) {
            fault("Track {}: the samples last {} units, the track says {}.", track.trackID, length, duration);
        }
    }

    void takeChunks(Bytes table, std::size_t width, MovieStructure::Track& track) {
        const std::size_t room = table.size() < 8 ? 0 : (table.size() - 8) / width;
        const std::size_t count = std::min<std::size_t>(field32(table, 4), room);
        track.chunkCount = count;
        std::vector<std::uint64_t> offsets(count);
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t at = 8 + i * width;
            offsets[i] = width == 8 ? std::uint64_t{field32(table, at)} << 32 | field32(table, at + 4)
                                    : field32(table, at);
        }
        // The media data may follow the movie box, so the offsets wait until the whole file has been seen.
        pendingChunkChecks_.push_back([this, id = track.trackID, offsets = std::move(offsets)] {
            const auto outside = [&](std::uint64_t offset) {
                return std::ranges::none_of(
                    mediaData_, [&](const auto& m) { return offset >= m.first && offset < m.second; });
            };
            const auto lost = std::ranges::count_if(offsets, outside);
            if (lost > 0)
                fault("Track {}: {} of {} chunks lie outside the media data.", id, lost, offsets.size());
        });
    }

    std::ifstream& file_;
    MovieStructure& structure_;
    bool known_ = false;
    bool movieBoxSeen_ = false;
    std::vector<std::pair<std::uint64_t, std::uint64_t>> mediaData_;
    std::vector<std::function<void()>> pendingChunkChecks_;
};

}  // namespace

std::optional<MovieStructure> MovieStructure::structureOfFile(const std::filesystem::path& url,
                                                              ZQErrorPtr* error) {
    MovieStructure structure;
    std::error_code status;
    structure.fileSize = std::filesystem::file_size(url, status);
    std::ifstream file(url, std::ios::binary);
    if (status || !file) {
        fail(error, ZQError::errorWithDomain(assetErrorDomain, assetErrorCannotOpen,
                                             fmt::format("The file \"{}\" cannot be read.", url.string())));
        return std::nullopt;
    }
    if (!Walker(file, structure).run()) {
        fail(error, ZQError::errorWithDomain(
                        assetErrorDomain, assetErrorCannotOpen,
                        fmt::format("\"{}\" is not a QuickTime or MPEG-4 movie.", url.string())));
        return std::nullopt;
    }
    return structure;
}

}  // namespace zenquor::platform
