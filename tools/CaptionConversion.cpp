#include "CaptionConversion.h"

#include <fmt/format.h>

#include "AncillaryWalk.h"
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

/// Whether the packet sends anything but null pairs in the field; 0: in any.
bool hasPairs(const std::shared_ptr<ZQRVANCClosedCaptionPacket>& packet, int field) {
    bool found = false;
    if (!packet) return found;
    packet->enumerate608Pairs([&](int fieldOfPair, std::span<const std::uint8_t, 2> pair) {
        found = found || ((field == 0 || field == fieldOfPair) && ((pair[0] | pair[1]) & 0x7F) != 0);
    });
    return found;
}

/// Where an SCC file takes its pairs from: the second field only where the input sends something there.
int fieldToWrite(const CaptionConversion& conversion) {
    const int field = fieldOfChannel[conversion.settings.channel - 1];
    bool usesSecondField = false;
    if (field == 1) return field;
    AncillaryWalk::ofFile(
        conversion.input,
        [&](const AncillaryPacket& entry) {
            usesSecondField =
                usesSecondField || hasPairs(ZQRVANCHelper::closedCaptionPacket({entry.packet}), 2);
        },
        nullptr);
    return usesSecondField ? field : 1;
}

/// Plays the stream from before its first caption until nothing comes any more.
template <typename Take>
ZQCKTimecode play(CaptionStream& stream, const Take& take) {
    const std::int64_t second = stream.timebase().nominalFramesPerSecond();
    const bool isSubtitles = !stream.wanted().empty();
    const std::int64_t lead =
        isSubtitles ? std::min<std::int64_t>(leadSeconds * second, stream.first().framesSinceMidnight()) : 0;
    ZQCKTimecode timecode = stream.first().addingFrames(-lead);
    const std::int64_t body = lead + stream.frames() - 1;
    std::int64_t quiet = 0;
    for (std::int64_t frame = 0; frame <= body || quiet < quietSeconds * second; ++frame) {
        if (frame > body + maximumTailSeconds * second) break;
        const auto packets = stream.packetsAt(timecode);
        take(packets, timecode);
        const bool isQuiet = !hasPairs(ZQRVANCHelper::closedCaptionPacket(packets), 0);
        quiet = frame > body && isQuiet ? quiet + 1 : 0;
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
        fmt::print("  {} of {} as written", comparison.shownAsWritten, comparison.wanted);
        if (comparison.shownAsWritten > 0)
            fmt::print(
                "; on screen {:+.2f} s after their time on average, {:+.2f} s at worst; off {:+.2f} s on "
                "average, "
                "{:+.2f} s at worst",
                comparison.meanIn, comparison.worstIn, comparison.meanOut, comparison.worstOut);
        fmt::print("\n");
        for (const auto& difference : comparison.differences) fmt::print("  {}\n", difference);
    }
    for (const auto& note : stream.notes()) fmt::print("  {}\n", note);
}

/// A SubRip file holds one channel: names the others that show something.
void reportOtherChannels(const CaptionReader& reader, std::int32_t channel) {
    for (std::int32_t other = 1; other <= static_cast<std::int32_t>(std::size(fieldOfChannel)); ++other) {
        const std::size_t count = reader.blocks(other).size();
        if (other != channel && count > 0)
            fmt::print("  Channel {0} shows {1} captions too: --channel {0} writes them.\n", other, count);
    }
}

}  // namespace

bool CaptionConversion::run() const {
    ZQErrorPtr error;
    const auto stream = CaptionStream::open(input, settings, rate, &error);
    const bool writesSubRip = captionFileKindByName(output) == CaptionFileKind::SubRip;
    std::unique_ptr<CaptionCollector> collector;
    if (stream && !writesSubRip) {
        const bool scenarist = captionFileKindByName(output) == CaptionFileKind::Scenarist;
        collector =
            CaptionCollector::create(output, stream->timebase(), scenarist ? fieldToWrite(*this) : 1, &error);
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
        complain(fmt::format("\"{}\" shows nothing on channel {}. \"zenquor anc\" lists what it holds.",
                             input.string(), channel));
        return false;
    }
    const bool written = writesSubRip ? writeSubRip(output, seen, &error) : collector->close(&error);
    if (!written) {
        complain(error->localizedDescription());
        return false;
    }
    report(*this, *stream, seen);
    if (channel != settings.channel) fmt::print("  Channel 1 shows nothing; this is channel {}.\n", channel);
    if (writesSubRip && settings.output == CaptionSettings::Output::CEA608)
        reportOtherChannels(reader, channel);
    if (collector) {
        for (const auto& note : collector->notes()) fmt::print("  {}\n", note);
    }
    return true;
}

}  // namespace zenquor::tools
