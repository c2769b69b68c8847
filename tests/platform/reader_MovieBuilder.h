#pragma once
// Builds small movies byte by byte, so that a test knows every number in them.

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace zenquor::test {

using Bytes = std::vector<std::uint8_t>;

/// Appends big-endian numbers and other runs of bytes.
class ByteRun {
public:
    ByteRun& u8(std::uint32_t v) { return number(v, 1); }
    ByteRun& u16(std::uint32_t v) { return number(v, 2); }
    ByteRun& u32(std::uint32_t v) { return number(v, 4); }
    ByteRun& u64(std::uint64_t v) { return number(v, 8); }
    ByteRun& all32(std::initializer_list<std::uint32_t> values) {
        for (const auto v : values) u32(v);
        return *this;
    }
    ByteRun& zeros(std::size_t count) {
        bytes_.insert(bytes_.end(), count, 0);
        return *this;
    }
    ByteRun& text(std::string_view t) {
        bytes_.insert(bytes_.end(), t.begin(), t.end());
        return *this;
    }
    ByteRun& add(const Bytes& more) {
        bytes_.insert(bytes_.end(), more.begin(), more.end());
        return *this;
    }
    operator const Bytes&() const { return bytes_; }
    const Bytes& bytes() const { return bytes_; }

private:
    ByteRun& number(std::uint64_t v, int size) {
        for (int i = size; i-- > 0;) bytes_.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
        return *this;
    }
    Bytes bytes_;
};

inline Bytes box(std::string_view type, std::initializer_list<Bytes> parts) {
    ByteRun content;
    for (const auto& part : parts) content.add(part);
    return ByteRun().u32(static_cast<std::uint32_t>(content.bytes().size() + 8)).text(type).add(content);
}

/// A track of timecode or captions with its tables.
struct TrackSpec {
    std::uint32_t id = 1;
    std::string handler;
    std::uint32_t timeScale = 25;
    Bytes sampleEntry;
    Bytes edits;  // an 'edts' box, or nothing
    Bytes stts, stsc, stsz, stco;
};

inline Bytes trackBox(const TrackSpec& track) {
    const Bytes full = ByteRun().u32(0);
    const auto tkhd = box("tkhd", {ByteRun().all32({3, 0, 0, track.id, 0, 0}).zeros(60)});
    const auto mdhd = box("mdhd", {ByteRun().all32({0, 0, 0, track.timeScale, 0, 0})});
    const auto hdlr = box("hdlr", {ByteRun().u32(0).text("mhlr").text(track.handler).zeros(13)});
    const auto url = box("url ", {ByteRun().u32(1)});
    const auto dinf = box("dinf", {box("dref", {ByteRun().all32({0, 1}), url})});
    const auto stbl = box("stbl", {box("stsd", {ByteRun().all32({0, 1}), track.sampleEntry}),
                                   box("stts", {full, track.stts}), box("stsc", {full, track.stsc}),
                                   box("stsz", {full, track.stsz}), box("stco", {full, track.stco})});
    return box("trak", {tkhd, track.edits, box("mdia", {mdhd, hdlr, box("minf", {dinf, stbl})})});
}

inline Bytes captionEntry() {
    return box("c608", {ByteRun().zeros(6).u16(1)});
}

/// @param flags  1 for drop frame.
inline Bytes timecodeEntry(std::uint32_t flags, std::uint32_t timeScale, std::uint32_t duration,
                           std::uint32_t quanta) {
    return box("tmcd", {ByteRun().zeros(6).u16(1).all32({0, flags, timeScale, duration}).u8(quanta).u8(0),
                        box("name", {ByteRun().u16(4).u16(0).text("A001")})});
}

inline Bytes editBox(std::initializer_list<std::pair<std::uint32_t, std::int32_t>> edits) {
    ByteRun rows;
    for (const auto& [duration, time] : edits)
        rows.all32({duration, static_cast<std::uint32_t>(time), 0x10000});
    return box("edts", {box("elst", {ByteRun().all32({0, static_cast<std::uint32_t>(edits.size())}), rows})});
}

inline Bytes movieBox(std::uint32_t timeScale, std::initializer_list<Bytes> tracks, bool fragmented = false) {
    ByteRun content;
    content.add(box("mvhd", {ByteRun().all32({0, 0, 0, timeScale, 0}).zeros(80)}));
    for (const auto& track : tracks) content.add(track);
    if (fragmented) content.add(box("mvex", {box("trex", {ByteRun().all32({0, 1, 1, 1, 0, 0})})}));
    return box("moov", {content});
}

}  // namespace zenquor::test
