#include "CaptionConversion.h"

#include <fmt/format.h>

#include "CaptionCollector.h"
#include "CaptionComparison.h"
#include "CaptionReader.h"
#include "CaptionStream.h"
#include "SubtitleWriter.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"
#include "zenquor/vanc/ZQRVANCHelper.h"

namespace zenquor::tools {
namespace {

// A caption is loaded before its time: the timeline starts that much earlier, where the day has begun.
constexpr std::int64_t leadSeconds = 15;
// After the last block: until nothing has been sent for so long, at most for so long.
constexpr std::int64_t quietSeconds = 2;
constexpr std::int64_t maximumTailSeconds = 600;
constexpr int fieldOfChannel[] = {1, 1, 2, 2};

void complain(const std::string& sentence) {
    fmt::print(stderr, "zenquor: {}\n", sentence);
}

bool isQuiet(const ZQRVANCPacketList& packets) {
    const auto packet = ZQRVANCHelper::closedCaptionPacket(packets);
    bool quiet = true;
    if (packet) {
        packet->enumerate608Pairs([&](int, std::span<const std::uint8_t, 2> pair) {
            quiet = quiet && ((pair[0] | pair[1]) & 0x7F) == 0;
        });
    }
    return quiet;
}

/// Where an SCC file takes its pairs from: the second field only when the channel is sent there.
int fieldToWrite(const std::filesystem::path& input, const CaptionConversion& conversion) {
    if (conversion.settings.channel < 3) return 1;
    ZQErrorPtr error;
    const auto stream = CaptionStream::open(input, conversion.settings, conversion.rate, &error);
    bool usesSecondField = false;
    if (stream && stream->wanted().empty()) {
        auto timecode = stream->first();
        for (auto left = framesBetween(timecode, stream->last()); left >= 0 && !usesSecondField; --left) {
            const auto packet = ZQRVANCHelper::closedCaptionPacket(stream->packetsAt(timecode));
            timecode.addFrames(1);
            if (!packet) continue;
            packet->enumerate608Pairs([&](int field, std::span<const std::uint8_t, 2> pair) {
                usesSecondField = usesSecondField || (field == 2 && ((pair[0] | pair[1]) & 0x7F) != 0);
            });
        }
    }
    return usesSecondField ? fieldOfChannel[conversion.settings.channel - 1] : 1;
}

/// Plays the stream from before its first caption until nothing comes any more.
template <typename Take>
ZQCKTimecode play(CaptionStream& stream, const Take& take) {
    const std::int64_t second = stream.timebase().nominalFramesPerSecond();
    const bool isSubtitles = !stream.wanted().empty();
    const std::int64_t lead =
        isSubtitles ? std::min<std::int64_t>(leadSeconds * second, stream.first().framesSinceMidnight()) : 0;
    ZQCKTimecode timecode = stream.first().addingFrames(-lead);
    const std::int64_t body = lead + framesBetween(stream.first(), stream.last());
    std::int64_t quiet = 0;
    for (std::int64_t frame = 0; frame <= body || quiet < quietSeconds * second; ++frame) {
        if (frame > body + maximumTailSeconds * second) break;
        const auto packets = stream.packetsAt(timecode);
        take(packets, timecode);
        quiet = frame > body && isQuiet(packets) ? quiet + 1 : 0;
        timecode.addFrames(1);
    }
    return timecode;
}

void report(const CaptionConversion& conversion, const CaptionStream& stream,
            const ZQRScreenBlockList& seen) {
    fmt::print("{}: {}, {} to {} at {} frames per second", conversion.input.string(),
               nameOfKind(stream.kind()), stream.first(), stream.last(), stream.timebase().description());
    if (!stream.wanted().empty()) fmt::print(", {} subtitles", stream.wanted().size());
    fmt::print("\n{}: a viewer sees {} captions\n", conversion.output.string(), seen.size());
    if (!stream.wanted().empty()) {
        const auto comparison = CaptionComparison::of(stream.wanted(), seen);
        fmt::print(
            "  {} of {} as written; on screen {:+.2f} s after their time on average, {:+.2f} s at worst; "
            "off {:+.2f} s on average, {:+.2f} s at worst\n",
            comparison.shownAsWritten, comparison.wanted, comparison.meanIn, comparison.worstIn,
            comparison.meanOut, comparison.worstOut);
        for (const auto& difference : comparison.differences) fmt::print("  {}\n", difference);
    }
    for (const auto& note : stream.notes()) fmt::print("  {}\n", note);
}

}  // namespace

bool CaptionConversion::run() const {
    ZQErrorPtr error;
    const auto stream = CaptionStream::open(input, settings, rate, &error);
    const bool writesSubRip = captionFileKindByName(output) == CaptionFileKind::SubRip;
    std::unique_ptr<CaptionCollector> collector;
    if (stream && !writesSubRip) {
        const bool scenarist = captionFileKindByName(output) == CaptionFileKind::Scenarist;
        collector = CaptionCollector::create(output, stream->timebase(),
                                             scenarist ? fieldToWrite(input, *this) : 1, &error);
    }
    if (!stream || (!writesSubRip && !collector)) {
        complain(error->localizedDescription());
        return false;
    }
    CaptionReader reader(settings.output);
    const auto end = play(*stream, [&](const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode) {
        if (collector) collector->add(packets, timecode);
        reader.add(packets, timecode);
    });
    reader.finish(end);

    std::int32_t channel = settings.channel;
    if (reader.blocks(channel).empty() && !settings.channelWasAsked && reader.busiest() != 0)
        channel = reader.busiest();
    const ZQRScreenBlockList& seen = reader.blocks(channel);
    if (seen.empty() && writesSubRip) {
        complain(fmt::format("\"{}\" shows nothing on channel {}.", input.string(), channel));
        return false;
    }
    const bool written = writesSubRip ? writeSubRip(output, seen, &error) : collector->close(&error);
    if (!written) complain(error->localizedDescription());
    report(*this, *stream, seen);
    if (channel != settings.channel) fmt::print("  Channel 1 shows nothing; this is channel {}.\n", channel);
    if (collector && !collector->note().empty()) fmt::print("  {}\n", collector->note());
    return written;
}

}  // namespace zenquor::tools
