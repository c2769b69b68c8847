#pragma once
// A reader of movie files that knows nothing of the writer, and samples to feed the writer with.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <semaphore>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include <unistd.h>

#include "zenquor/core/ByteOrder.h"
#include "zenquor/platform/AssetWriter.h"

namespace zenquor::platform::test {

using Bytes = std::vector<std::uint8_t>;
using Span = std::span<const std::uint8_t>;

/// A folder that goes with the test.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "zenquor.XXXXXX").string();
        if (!::mkdtemp(name.data())) throw std::runtime_error("no temporary folder");
        path_ = name;
    }
    ~TemporaryFolder() { std::filesystem::remove_all(path_); }
    std::filesystem::path operator/(const char* name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

inline Bytes contentOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

struct Box {
    FourCC type;
    std::uint64_t offset;  // of the header, in the file
    Span content;
};

/// The whole boxes of a run of bytes; a box that overruns or reaches to the end (size 0) ends the walk.
inline std::vector<Box> boxesOf(Span bytes, std::uint64_t base = 0) {
    std::vector<Box> boxes;
    for (std::size_t at = 0; bytes.size() - at >= 8;) {
        std::uint64_t size = readBE32(bytes.data() + at);
        std::size_t header = 8;
        if (size == 1 && bytes.size() - at >= 16) {
            size = readBE64(bytes.data() + at + 8);
            header = 16;
        }
        if (size < header || size > bytes.size() - at) break;
        boxes.push_back(
            {readBE32(bytes.data() + at + 4), base + at, bytes.subspan(at + header, size - header)});
        at += size;
    }
    return boxes;
}

/// The content of the first box at a path such as "mdia/minf/stbl/stts"; empty when there is none.
inline Span find(Span content, const std::string& path) {
    const FourCC type = fourCCFromString(path.substr(0, 4));
    for (const Box& box : boxesOf(content)) {
        if (box.type == type) return path.size() == 4 ? box.content : find(box.content, path.substr(5));
    }
    return {};
}

inline std::string hex(Span bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        constexpr const char* digits = "0123456789abcdef";
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

struct ReadSample {
    std::uint64_t offset = 0;
    std::uint32_t size = 0;
    std::int64_t decodeTime = 0;
    std::int64_t compositionOffset = 0;
    bool sync = true;
};

struct ReadTrack {
    FourCC handler = 0;
    std::uint32_t timescale = 0;
    Span trak;
    std::vector<ReadSample> samples;
    Bytes data;  // all samples end to end
    std::int64_t end = 0;
};

/// A movie as a player sees it: the first movie box, and the whole fragments that lie beside it.
struct ReadMovie {
    Span moov;
    bool fragmented = false;
    std::size_t fragments = 0;
    std::map<std::uint32_t, ReadTrack> tracks;

    explicit ReadMovie(const Bytes& file) {
        for (const Box& box : boxesOf(file)) {
            if (box.type == fourCC("moov") && moov.empty()) readHeader(file, box.content);
            if (box.type == fourCC("moof") && fragmented) readFragment(file, box);
        }
    }

private:
    static std::uint32_t u32(Span s, std::size_t at) { return readBE32(s.subspan(at, 4).data()); }

    void readHeader(Span file, Span content) {
        moov = content;
        fragmented = !find(content, "mvex").empty();
        for (const Box& box : boxesOf(content)) {
            if (box.type != fourCC("trak")) continue;
            ReadTrack& track = tracks[u32(find(box.content, "tkhd"), 12)];
            track.trak = box.content;
            track.handler = u32(find(box.content, "mdia/hdlr"), 8);
            track.timescale = u32(find(box.content, "mdia/mdhd"), 12);
            readTables(file, track, find(box.content, "mdia/minf/stbl"));
        }
    }

    static void readTables(Span file, ReadTrack& track, Span table) {
        const Span stts = find(table, "stts"), ctts = find(table, "ctts"), stsz = find(table, "stsz");
        const Span stsc = find(table, "stsc"), stss = find(table, "stss"), co64 = find(table, "co64");
        const Span offsets = co64.empty() ? find(table, "stco") : co64;
        std::vector<ReadSample> samples(u32(stsz, 8));
        std::size_t n = 0;
        for (std::uint32_t i = 0; i < u32(stts, 4); ++i) {
            for (std::uint32_t k = 0; k < u32(stts, 8 + 8 * i); ++k, ++n) {
                samples.at(n).decodeTime = track.end;
                track.end += u32(stts, 12 + 8 * i);
            }
        }
        if (n != samples.size()) throw std::runtime_error("stts and stsz disagree");
        n = 0;
        for (std::uint32_t i = 0; !ctts.empty() && i < u32(ctts, 4); ++i) {
            for (std::uint32_t k = 0; k < u32(ctts, 8 + 8 * i); ++k)
                samples.at(n++).compositionOffset = static_cast<std::int32_t>(u32(ctts, 12 + 8 * i));
        }
        if (!stss.empty()) {
            for (ReadSample& sample : samples) sample.sync = false;
            for (std::uint32_t i = 0; i < u32(stss, 4); ++i) samples.at(u32(stss, 8 + 4 * i) - 1).sync = true;
        }
        n = 0;
        for (std::uint32_t chunk = 0, entry = 0; chunk < u32(offsets, 4); ++chunk) {
            if (entry + 1 < u32(stsc, 4) && u32(stsc, 8 + 12 * (entry + 1)) == chunk + 1) ++entry;
            std::uint64_t at = co64.empty() ? u32(offsets, 8 + 4 * chunk)
                                            : readBE64(offsets.subspan(8 + 8 * chunk, 8).data());
            for (std::uint32_t k = 0; k < u32(stsc, 12 + 12 * entry); ++k, ++n) {
                samples.at(n).offset = at;
                samples.at(n).size = u32(stsz, 4) != 0 ? u32(stsz, 4) : u32(stsz, 12 + 4 * n);
                at += samples.at(n).size;
            }
        }
        if (n != samples.size()) throw std::runtime_error("stsc and stsz disagree");
        for (const ReadSample& sample : samples) take(file, track, sample);
    }

    static void take(Span file, ReadTrack& track, const ReadSample& sample) {
        const Span bytes = file.subspan(sample.offset, sample.size);
        track.data.insert(track.data.end(), bytes.begin(), bytes.end());
        track.samples.push_back(sample);
    }

    /// A fragment counts once its media box, the next but for free space, is there as a whole.
    void readFragment(Span file, const Box& moof) {
        const std::uint64_t end = moof.offset + 8 + moof.content.size();
        const auto following = boxesOf(file.subspan(end), end);
        const auto isMedia = [](const Box& box) { return box.type == fourCC("mdat"); };
        if (following.empty() || !(isMedia(following[0]) || (following.size() > 1 && isMedia(following[1]))))
            return;
        ++fragments;
        for (const Box& box : boxesOf(moof.content)) {
            if (box.type == fourCC("traf")) readRun(file, box.content, moof.offset);
        }
    }

    void readRun(Span file, Span traf, std::uint64_t moofOffset) {
        const Span head = find(traf, "tfhd"), run = find(traf, "trun"), time = find(traf, "tfdt");
        const std::uint32_t headFlags = u32(head, 0), runFlags = u32(run, 0);
        ReadTrack& track = tracks.at(u32(head, 4));
        std::size_t at = 8;
        std::uint64_t base = moofOffset;
        if (headFlags & 1) base = readBE64(head.subspan(at, 8).data()), at += 8;
        const auto field = [&](std::uint32_t flag) {
            return headFlags & flag ? u32(head, (at += 4) - 4) : 0;
        };
        const std::uint32_t duration = field(8), size = field(0x10), flags = field(0x20);
        std::int64_t decodeTime = static_cast<std::int64_t>(readBE64(time.subspan(4, 8).data()));
        std::size_t next = 8;
        if (runFlags & 1) base += u32(run, next), next += 4;
        for (std::uint32_t i = 0; i < u32(run, 4); ++i) {
            const auto own = [&](std::uint32_t flag, std::uint32_t fallback) {
                return runFlags & flag ? u32(run, (next += 4) - 4) : fallback;
            };
            ReadSample sample{base, 0, decodeTime, 0, true};
            decodeTime += own(0x100, duration);
            sample.size = own(0x200, size);
            sample.sync = (own(0x400, flags) & 0x10000) == 0;
            sample.compositionOffset = static_cast<std::int32_t>(own(0x800, 0));
            base += sample.size;
            take(file, track, sample);
        }
        track.end = decodeTime;
    }
};

// ---- feeding the writer

inline SampleBufferPtr makeSample(const FormatDescriptionPtr& format, Span bytes, const SampleTiming& timing,
                                  std::size_t count = 1, const SampleAttachments& attachments = {}) {
    BlockBufferPtr block;
    SampleBufferPtr sample;
    BlockBuffer::createWithLength(bytes.size(), block);
    block->replaceDataBytes(ZQData::copying(bytes), 0);
    SampleBuffer::create(block, format, count, timing, bytes.size() / count, attachments, sample);
    return sample;
}

inline FormatDescriptionPtr videoFormat(FourCC codec = fourCC("v210"),
                                        const std::function<void(VideoFormat&)>& change = {}) {
    VideoFormat format;
    format.width = 96;
    format.height = 16;
    if (change) change(format);
    return FormatDescription::video(codec, format);
}

inline FormatDescriptionPtr pcmFormat(std::uint32_t bits = 24, std::uint32_t channels = 1,
                                      std::uint32_t flags = 12, double rate = 48000) {
    const std::uint32_t frame = bits / 8 * channels;
    return FormatDescription::audio(
        {{rate, audioFormatLinearPCM, flags, frame, 1, frame, channels, bits, 0}, 0, {}});
}

inline AssetWriterInputPtr makeInput(const FormatDescriptionPtr& format,
                                     const AssetWriterInput::OutputSettings& settings = {}) {
    return AssetWriterInput::initWithMediaType(format->mediaType(), settings, format);
}

inline AssetWriterPtr makeWriter(const std::filesystem::path& path,
                                 const std::vector<AssetWriterInputPtr>& inputs,
                                 FileType type = FileType::QuickTimeMovie) {
    const auto writer = AssetWriter::assetWriterWithURL(path, type);
    writer->setMovieTimeScale(25000);
    for (const auto& input : inputs) writer->addInput(input);
    return writer;
}

inline AssetWriterStatus finish(const AssetWriterPtr& writer) {
    std::binary_semaphore done{0};
    writer->finishWritingWithCompletionHandler([&] { done.release(); });
    done.acquire();
    return writer->status();
}

}  // namespace zenquor::platform::test
