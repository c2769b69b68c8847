#pragma once
// Reads the structure of an MXF file byte by byte, with nothing of the engine's own: the judge of what is written.

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include <fmt/core.h>

namespace zenquor::mxf::test {

/// Partitions, elements and index of a file, and what is wrong with them.
class FileWalk {
public:
    struct Element {
        std::uint32_t number = 0;  // last four bytes of the key
        std::uint64_t offset = 0;  // in the file
        std::uint64_t stream = 0;  // in the essence stream
        std::span<const std::uint8_t> value;
    };
    struct Partition {
        int kind = 0, state = 0;
        std::uint64_t offset = 0, self = 0, previous = 0, footer = 0, headerBytes = 0, indexBytes = 0,
                      bodyOffset = 0;
        std::uint32_t grid = 0, indexSID = 0, bodySID = 0;
        std::uint64_t realHeaderBytes = 0, realIndexBytes = 0;
        std::size_t elements = 0;
    };
    struct Entry {
        int temporal = 0, key = 0, flags = 0;
        std::uint64_t stream = 0;
        std::vector<std::uint32_t> slices;

        friend bool operator==(const Entry&, const Entry&) = default;
    };
    struct Delta {
        int position = 0, slice = 0;
        std::uint32_t offset = 0;

        friend bool operator==(const Delta&, const Delta&) = default;
    };

    std::vector<Partition> partitions;
    std::vector<Element> elements;
    std::vector<std::pair<std::uint32_t, std::uint64_t>> randomIndex;
    std::map<std::int64_t, Entry> index;  // by edit unit
    std::vector<Delta> deltas;
    std::uint32_t constantBytes = 0;
    std::int64_t constantDuration = -1;
    std::vector<std::string> faults;
    bool isCut = false;  // the last item runs past the end

    explicit FileWalk(std::span<const std::uint8_t> file) : file_(file) {
        for (std::uint64_t at = 0; at < file_.size() && !isCut;) at = item(at);
        judge();
    }

    /// Content packages, each a range of elements.
    std::vector<std::span<const Element>> packages() const {
        std::vector<std::span<const Element>> result;
        for (std::size_t i = 0, start = 0; i <= elements.size(); ++i) {
            if (i != elements.size() && (i == start || elements[i].number != systemItem)) continue;
            if (i != start) result.push_back(std::span(elements).subspan(start, i - start));
            start = i;
        }
        return result;
    }

    static constexpr std::uint32_t systemItem = 0x04010100;

private:
    std::uint64_t number(std::uint64_t at, unsigned bytes) const {
        std::uint64_t v = 0;
        for (unsigned i = 0; i < bytes; ++i) v = v << 8 | file_[at + i];
        return v;
    }
    template <typename... Arguments>
    void fault(fmt::format_string<Arguments...> text, Arguments&&... arguments) {
        faults.push_back(fmt::format(text, std::forward<Arguments>(arguments)...));
    }

    std::uint64_t item(std::uint64_t at) {
        isCut = at + 20 > file_.size();
        if (isCut) return at;
        if (number(at, 4) != 0x060E2B34) {
            fault("no key at {}", at);
            isCut = true;
            return at;
        }
        const bool isLong = file_[at + 16] == 0x88;
        if (!isLong && file_[at + 16] != 0x83) fault("length of another form at {}", at);
        if (isLong && at + 25 > file_.size()) isCut = true;
        if (isCut) return at;
        const std::uint64_t length = isLong ? number(at + 17, 8) : number(at + 17, 3);
        const std::uint64_t value = at + (isLong ? 25 : 20);
        isCut = length > file_.size() - value;
        if (isCut) return at;
        dispatch(at, value, value + length);
        return value + length;
    }

    void dispatch(std::uint64_t at, std::uint64_t value, std::uint64_t end) {
        const std::uint64_t group = number(at + 8, 5), kind = number(at + 4, 1);
        const std::uint32_t tail = static_cast<std::uint32_t>(number(at + 12, 4));
        if (group == 0x0D01020101 && file_[at + 13] >= 2 && file_[at + 13] <= 4) return pack(at, value);
        if (group == 0x0D01020101 && file_[at + 13] == 0x11) return places(value, end);
        if (partitions.empty()) return fault("no partition in front of {}", at);
        Partition& partition = partitions.back();
        if (number(at + 8, 4) == 0x03010210) {  // fill
            if (last_ == 'h') partition.realHeaderBytes = end - headerStart_;
            if (last_ == 'i') partition.realIndexBytes = end - indexStart_;
            if (last_ == 'e') stream_ += end - at;
            return;
        }
        if (number(at + 8, 4) == 0x0D010301) {
            if (last_ != 'e') partition.elements == 0 ? void() : fault("essence in two runs at {}", at);
            if (partition.elements++ == 0 && partition.bodyOffset != stream_)
                fault("body offset {} at {}, {} is right", partition.bodyOffset, at, stream_);
            if (kind == 1 || tail == systemItem) {
                elements.push_back({tail, at, stream_, file_.subspan(value, end - value)});
                if (tail == systemItem && at % partition.grid != 0) fault("package at {} off the grid", at);
            }
            stream_ += end - at;
            last_ = 'e';
        } else if (group == 0x0D01020101 && file_[at + 13] == 0x10) {
            if (last_ != 'i') indexStart_ = at;
            last_ = 'i';
            partition.realIndexBytes = end - indexStart_;
            segment(value, end);
        } else {
            if (last_ != 'h') headerStart_ = at;
            last_ = 'h';
            partition.realHeaderBytes = end - headerStart_;
        }
    }

    void pack(std::uint64_t at, std::uint64_t value) {
        Partition p;
        p.offset = at;
        p.kind = file_[at + 13];
        p.state = file_[at + 14];
        p.grid = static_cast<std::uint32_t>(number(value + 4, 4));
        p.self = number(value + 8, 8);
        p.previous = number(value + 16, 8);
        p.footer = number(value + 24, 8);
        p.headerBytes = number(value + 32, 8);
        p.indexBytes = number(value + 40, 8);
        p.indexSID = static_cast<std::uint32_t>(number(value + 48, 4));
        p.bodyOffset = number(value + 52, 8);
        p.bodySID = static_cast<std::uint32_t>(number(value + 60, 4));
        if (p.self != at) fault("partition at {} says {}", at, p.self);
        if (!partitions.empty() && p.previous != partitions.back().offset)
            fault("previous of {} is wrong", at);
        if (p.grid > 1 && at % p.grid != 0) fault("partition at {} off the grid", at);
        partitions.push_back(p);
        last_ = 'p';
    }

    void places(std::uint64_t value, std::uint64_t end) {
        for (std::uint64_t at = value; at + 12 < end; at += 12)
            randomIndex.emplace_back(static_cast<std::uint32_t>(number(at, 4)), number(at + 4, 8));
        if (number(end - 4, 4) != end - value + 20) fault("random index pack's length");
        if (end != file_.size()) fault("bytes behind the random index pack");
        last_ = 'r';
    }

    void segment(std::uint64_t value, std::uint64_t end) {
        std::uint64_t start = 0, duration = 0, slices = 0, entries = 0, unitBytes = 0;
        deltas.clear();
        for (std::uint64_t at = value; at + 4 <= end;) {
            const std::uint64_t tag = number(at, 2), length = number(at + 2, 2);
            at += 4;
            if (tag == 0x3F0C) start = number(at, 8);
            if (tag == 0x3F0D) duration = number(at, 8);
            if (tag == 0x3F05) unitBytes = number(at, 4);
            if (tag == 0x3F08) slices = number(at, 1);
            if (tag == 0x3F0A) entries = at;
            for (std::uint64_t d = 0; tag == 0x3F09 && d < number(at, 4); ++d) {
                const std::uint64_t p = at + 8 + 6 * d;
                deltas.push_back({static_cast<std::int8_t>(file_[p]), file_[p + 1],
                                  static_cast<std::uint32_t>(number(p + 2, 4))});
            }
            at += length;
        }
        if (unitBytes != 0) {
            constantBytes = static_cast<std::uint32_t>(unitBytes);
            constantDuration = static_cast<std::int64_t>(duration);
            return;
        }
        if (entries == 0 || number(entries, 4) != duration)
            return fault("entries and duration of a segment differ");
        for (std::uint64_t n = 0; n < duration; ++n)
            entry(entries + 8 + n * (11 + 4 * slices), start + n, slices);
    }

    void entry(std::uint64_t at, std::uint64_t unit, std::uint64_t slices) {
        Entry e{static_cast<std::int8_t>(file_[at]),
                static_cast<std::int8_t>(file_[at + 1]),
                file_[at + 2],
                number(at + 3, 8),
                {}};
        for (std::uint64_t s = 0; s < slices; ++s)
            e.slices.push_back(static_cast<std::uint32_t>(number(at + 11 + 4 * s, 4)));
        const auto [place, isNew] = index.emplace(static_cast<std::int64_t>(unit), e);
        if (!isNew && partitions.back().kind != 4)
            fault("edit unit {} is indexed again in front of the footer", unit);
        if (!isNew && place->second != e) fault("edit unit {} is indexed in two ways", unit);
    }

    void judge() {
        for (const Partition& p : partitions) {
            const bool isLast = &p == &partitions.back() && randomIndex.empty();
            if (!isLast && p.headerBytes != p.realHeaderBytes) fault("header bytes of {}", p.offset);
            if (!isLast && p.indexBytes != p.realIndexBytes) fault("index bytes of {}", p.offset);
            if ((p.indexSID != 0) != (p.indexBytes != 0)) fault("index SID of {}", p.offset);
            if (p.elements != 0 && p.bodySID == 0) fault("body SID of {}", p.offset);
        }
        judgeIndex();
    }

    /// Every entry and every delta has to lead to an element.
    void judgeIndex() {
        const auto all = packages();
        for (const auto& [unit, e] : index) {
            if (unit >= static_cast<std::int64_t>(all.size())) {
                fault("entry {} without a package", unit);
                continue;
            }
            const auto package = all[static_cast<std::size_t>(unit)];
            if (package[0].stream != e.stream) fault("entry {} leads to {}", unit, e.stream);
            judgeDeltas(unit, package, e.slices);
        }
        for (std::size_t n = 0; constantBytes != 0 && n < all.size(); ++n) {
            if (all[n][0].stream != n * constantBytes) fault("package {} is not of constant size", n);
            judgeDeltas(static_cast<std::int64_t>(n), all[n], {});
        }
    }

    void judgeDeltas(std::int64_t unit, std::span<const Element> package,
                     const std::vector<std::uint32_t>& slices) {
        if (randomIndex.empty() && package.back().offset == elements.back().offset) return;
        if (deltas.size() != package.size())
            return fault("{} deltas, {} elements", deltas.size(), package.size());
        for (std::size_t i = 0; i < deltas.size(); ++i) {
            const auto slice = static_cast<std::size_t>(deltas[i].slice);
            const std::uint64_t base = slice == 0 ? 0 : slices.at(slice - 1);
            if (package[i].stream - package[0].stream != base + deltas[i].offset)
                fault("delta {} of edit unit {}", i, unit);
        }
    }

    std::span<const std::uint8_t> file_;
    std::uint64_t stream_ = 0, headerStart_ = 0, indexStart_ = 0;
    char last_ = ' ';
};

}  // namespace zenquor::mxf::test
