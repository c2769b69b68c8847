#include "zenquor/platform/quicktime/Fragment.h"

#include <algorithm>

#include "zenquor/platform/detail/BoxWriter.h"

namespace zenquor::platform::quicktime {
namespace {

using detail::BoxWriter;
using Entry = FragmentRun::Entry;

// tfhd
constexpr std::uint32_t hasBaseOffset = 0x1;
constexpr std::uint32_t hasDefaultDuration = 0x8;
constexpr std::uint32_t hasDefaultSize = 0x10;
constexpr std::uint32_t hasDefaultFlags = 0x20;
constexpr std::uint32_t baseIsMoof = 0x20000;
// trun
constexpr std::uint32_t hasDataOffset = 0x1;
constexpr std::uint32_t hasDurations = 0x100;
constexpr std::uint32_t hasSizes = 0x200;
constexpr std::uint32_t hasFlags = 0x400;
constexpr std::uint32_t hasCompositionOffsets = 0x800;
// a sample
constexpr std::uint32_t dependsOnNone = 0x02000000;
constexpr std::uint32_t dependsOnOthersNotSync = 0x01010000;

std::uint32_t sampleFlags(const Entry& entry) {
    return entry.notSync ? dependsOnOthersNotSync : dependsOnNone;
}

template <typename Field>
bool allEqual(std::span<const Entry> entries, Field field) {
    return std::ranges::all_of(entries, [&](const Entry& e) { return field(e) == field(entries.front()); });
}

/// Which fields the samples of a run share, so that they are told once.
struct Shared {
    bool duration;
    bool size;
    bool flags;
    bool presentation;  // no sample has a composition offset

    explicit Shared(std::span<const Entry> entries)
        : duration(allEqual(entries, [](const Entry& e) { return e.duration; })),
          size(allEqual(entries, [](const Entry& e) { return e.size; })),
          flags(allEqual(entries, [](const Entry& e) { return e.notSync; })),
          presentation(
              std::ranges::all_of(entries, [](const Entry& e) { return e.compositionOffset == 0; })) {}
};

void writeHeader(BoxWriter& out, FileType type, const FragmentTrack& track, const Shared& shared) {
    const bool movie = type == FileType::QuickTimeMovie;
    const std::uint32_t flags = (movie ? hasBaseOffset : baseIsMoof) |
                                (shared.duration ? hasDefaultDuration : 0) |
                                (shared.size ? hasDefaultSize : 0) | (shared.flags ? hasDefaultFlags : 0);
    const Entry& first = track.entries.front();
    out.fullBox(fourCC("tfhd"), 0, flags, [&] {
        out.u32(track.trackID);
        if (movie) out.u64(track.offset);  // older QuickTime readers know no other base
        if (shared.duration) out.u32(first.duration);
        if (shared.size) out.u32(first.size);
        if (shared.flags) out.u32(sampleFlags(first));
    });
}

void writeRun(BoxWriter& out, FileType type, const FragmentTrack& track, const Shared& shared,
              std::uint64_t moofOffset) {
    const std::uint32_t flags = hasDataOffset | (shared.duration ? 0 : hasDurations) |
                                (shared.size ? 0 : hasSizes) | (shared.flags ? 0 : hasFlags) |
                                (shared.presentation ? 0 : hasCompositionOffsets);
    out.fullBox(fourCC("trun"), shared.presentation ? 0 : 1, flags, [&] {
        out.u32(static_cast<std::uint32_t>(track.entries.size()));
        out.u32(type == FileType::QuickTimeMovie ? 0 : static_cast<std::uint32_t>(track.offset - moofOffset));
        for (const Entry& entry : track.entries) {
            if (!shared.duration) out.u32(entry.duration);
            if (!shared.size) out.u32(entry.size);
            if (!shared.flags) out.u32(sampleFlags(entry));
            if (!shared.presentation) out.i32(entry.compositionOffset);
        }
    });
}

}  // namespace

std::vector<std::uint8_t> makeFragment(FileType type, std::uint32_t sequence, std::uint64_t moofOffset,
                                       std::span<const FragmentTrack> tracks) {
    BoxWriter out;
    out.box(fourCC("moof"), [&] {
        out.fullBox(fourCC("mfhd"), 0, 0, [&] { out.u32(sequence); });
        for (const FragmentTrack& track : tracks) {
            if (track.entries.empty()) continue;
            const Shared shared(track.entries);
            out.box(fourCC("traf"), [&] {
                writeHeader(out, type, track, shared);
                out.fullBox(fourCC("tfdt"), 1, 0, [&] { out.i64(track.decodeTime); });
                writeRun(out, type, track, shared, moofOffset);
            });
        }
    });
    return out.take();
}

}  // namespace zenquor::platform::quicktime
