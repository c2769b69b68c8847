#pragma once
// Reads a finished movie's tracks the plain way, straight from the layout in the QuickTime File Format.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <string>
#include <vector>

#include "zenquor/core/ByteOrder.h"
#include "zenquor/core/FourCC.h"

namespace zenquor::test {

using Bytes = std::vector<std::uint8_t>;
using View = std::span<const std::uint8_t>;

/// The content of the @p n-th box of @p type in @p boxes; empty without one.
inline View box(View boxes, FourCC type, int n = 0) {
    while (boxes.size() >= 8) {
        const std::uint64_t size =
            readBE32(boxes.data()) == 1 ? readBE64(boxes.data() + 8) : readBE32(boxes.data());
        const std::size_t head = readBE32(boxes.data()) == 1 ? 16 : 8;
        if (size < head || size > boxes.size()) break;
        if (readBE32(boxes.data() + 4) == type && n-- == 0) return boxes.subspan(head, size - head);
        boxes = boxes.subspan(size);
    }
    return {};
}

struct MovieTrack {
    std::string handler, entry;
    std::uint32_t timeScale = 0;
    View entryBytes;             // the sample description behind its code
    View references;             // the content of 'tref'
    std::vector<Bytes> samples;  // PCM: of one frame each
    std::vector<std::uint32_t> durations;
    std::vector<std::uint32_t> syncSamples;

    Bytes joined() const {
        Bytes all;
        for (const auto& sample : samples) all.insert(all.end(), sample.begin(), sample.end());
        return all;
    }
};

struct Movie {
    Bytes file;
    std::vector<MovieTrack> tracks;
    std::uint32_t timeScale = 0;
    bool isFragmented = false;

    explicit Movie(const std::filesystem::path& path) {
        std::ifstream stream(path, std::ios::binary);
        file.assign(std::istreambuf_iterator<char>(stream), {});
        const View moov = box(file, fourCC("moov"));
        if (moov.empty()) return;
        timeScale = readBE32(box(moov, fourCC("mvhd")).data() + 12);
        isFragmented = !box(moov, fourCC("mvex")).empty();
        for (int n = 0; !box(moov, fourCC("trak"), n).empty(); ++n) addTrack(box(moov, fourCC("trak"), n));
    }

    /// Pointers into this movie.
    std::vector<const MovieTrack*> tracksOf(const std::string& handler) const& {
        std::vector<const MovieTrack*> found;
        for (const auto& track : tracks) {
            if (track.handler == handler) found.push_back(&track);
        }
        return found;
    }

private:
    void addTrack(View trak) {
        MovieTrack track;
        track.references = box(trak, fourCC("tref"));
        const View mdia = box(trak, fourCC("mdia"));
        track.timeScale = readBE32(box(mdia, fourCC("mdhd")).data() + 12);
        track.handler = fourCCString(readBE32(box(mdia, fourCC("hdlr")).data() + 8));
        const View stbl = box(box(mdia, fourCC("minf")), fourCC("stbl"));
        const View stsd = box(stbl, fourCC("stsd"));
        track.entry = fourCCString(readBE32(stsd.data() + 12));
        track.entryBytes = stsd.subspan(16);
        const View stts = box(stbl, fourCC("stts"));
        for (std::uint32_t i = 0; i < readBE32(stts.data() + 4); ++i) {
            const auto* run = stts.data() + 8 + i * 8;
            track.durations.insert(track.durations.end(), readBE32(run), readBE32(run + 4));
        }
        const View stss = box(stbl, fourCC("stss"));
        for (std::size_t at = 8; at + 4 <= stss.size(); at += 4)
            track.syncSamples.push_back(readBE32(&stss[at]));
        readSamples(track, stbl);
        tracks.push_back(std::move(track));
    }

    void readSamples(MovieTrack& track, View stbl) {
        const View stsz = box(stbl, fourCC("stsz")), stsc = box(stbl, fourCC("stsc"));
        const View co64 = box(stbl, fourCC("co64")), stco = box(stbl, fourCC("stco"));
        const std::uint32_t constant = readBE32(stsz.data() + 4), count = readBE32(stsz.data() + 8);
        const std::uint32_t chunks = readBE32((co64.empty() ? stco : co64).data() + 4);
        std::uint32_t sample = 0;
        for (std::uint32_t chunk = 0, row = 0; chunk < chunks; ++chunk) {
            if (row + 1 < readBE32(&stsc[4]) && readBE32(&stsc[8 + (row + 1) * 12]) == chunk + 1) ++row;
            std::uint64_t offset =
                co64.empty() ? readBE32(&stco[8 + chunk * 4]) : readBE64(&co64[8 + chunk * 8]);
            for (std::uint32_t i = 0; i < readBE32(&stsc[12 + row * 12]) && sample < count; ++i, ++sample) {
                const std::uint32_t size = constant ? constant : readBE32(&stsz[12 + sample * 4]);
                track.samples.emplace_back(file.begin() + static_cast<std::ptrdiff_t>(offset),
                                           file.begin() + static_cast<std::ptrdiff_t>(offset + size));
                offset += size;
            }
        }
    }
};

}  // namespace zenquor::test
