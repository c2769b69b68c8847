// Teletext subtitle pages out of OP-47 packets and bare teletext packets, whatever is in them.
//
// The input: an option byte, then records. The low two bits of a record's first byte say what it is, the others
// are its argument: frames to go on, 42 bytes of a teletext packet, an OP-47 packet of a length given by the next
// byte, or a header or row that is sound but for what its bytes say.

#include <algorithm>
#include <array>
#include <vector>

#include "Check.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/sidecar/ZQRTeletextPageReader.h"
#include "zenquor/vanc/ZQRDataStream.h"
#include "zenquor/vanc/ZQRVANCOP47Packet.h"

using namespace zenquor;
using Teletext = ZQRVANCTeletextPacket;
using Bytes = std::span<const std::uint8_t>;

namespace {

constexpr std::uint64_t longestGap = 63;
constexpr std::uint64_t sortsOfRemark = 11;

Bytes take(Bytes& input, std::size_t size) {
    const Bytes taken = input.first(std::min(size, input.size()));
    input = input.subspan(taken.size());
    return taken;
}

Teletext anyPacket(Bytes bytes) {
    std::array<std::uint8_t, Teletext::packetSize()> packet{0x55, 0x55, 0x27};
    std::copy_n(bytes.begin(), std::min<std::size_t>(bytes.size(), 42), packet.begin() + 3);
    return Teletext::initWithBytes(packet);
}

Teletext soundHeader(Bytes bytes) {
    auto header = Teletext::initSubtitleHeaderWithColour(7, u' ', 0);
    if (bytes.empty()) return header;
    header.setControlErasePage((bytes[0] & 1) != 0);
    header.setControlSubtitle((bytes[0] & 2) != 0);
    header.setControlMagazineSerial((bytes[0] & 4) != 0);
    header.setControlInhibitDisplay((bytes[0] & 24) == 24);
    header.setPageUnits((bytes[0] & 96) == 96 ? 9 : 8);
    return header;
}

/// Rows and enhancements 0 to 31, parity put right except where the seventh and eighth bit are both set.
Teletext soundRow(std::uint32_t number, Bytes bytes) {
    auto row = Teletext::initSubtitleWithLine(static_cast<std::int32_t>(number), u' ', 0, u"");
    std::array<std::uint8_t, 40> payload{};
    std::transform(bytes.begin(), bytes.end(), payload.begin(), [&](std::uint8_t byte) {
        return number > 25 || byte >= 0xC0 ? byte : ZQRDataStream::oddParityByte(byte);
    });
    row.setRawPayload(payload);
    return row;
}

void checkBlock(const ZQRScreenBlock& block, std::uint32_t& lastOut) {
    const auto lines = block.lines();
    FUZZ_CHECK(block.timecodeIn().framesSinceMidnight() >= lastOut);
    lastOut = block.timecodeOut().framesSinceMidnight();
    FUZZ_CHECK(lastOut > block.timecodeIn().framesSinceMidnight());
    FUZZ_CHECK(!lines.empty() && lines.size() == block.rows().size());
    std::int32_t above = 0;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const auto& place = block.rows()[i];
        const std::u16string& text = lines[i]->string();
        FUZZ_CHECK(place.row > above && place.row <= 24);
        above = place.row + (place.doubleHeight ? 1 : 0);
        FUZZ_CHECK(!text.empty() && text.front() != u' ' && text.back() != u' ');
        FUZZ_CHECK(place.column >= 0 && static_cast<std::size_t>(place.column) + text.size() <= 40);
        FUZZ_CHECK(std::all_of(text.begin(), text.end(), [](char16_t c) { return c >= 0x20; }));
        block.enumerateFormattingForLine(lines[i], [&](const auto& run, std::size_t index, std::size_t) {
            FUZZ_CHECK(index < text.size() && run.colour() != "FFFFFF");
        });
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    [[maybe_unused]] static const auto sink = ZLGGetHandle().setSink([](ZLGLevel, std::string_view) {});
    Bytes input(bytes, size);
    if (size == 0 || size > 40000) return 0;  // frames stay within a day
    const std::uint8_t options = take(input, 1)[0];
    std::uint64_t blocks = 0;
    std::uint64_t remarks = 0;
    std::uint32_t lastOut = 0;
    ZQRTeletextPageReader::Options chosen;
    if ((options & 1) != 0) chosen.page = 0x888;
    if ((options & 2) != 0) chosen.characterSet = options >> 2;
    ZQRTeletextPageReader reader(
        chosen,
        [&](const ZQRScreenBlockPtr& block) {
            ++blocks;
            checkBlock(*block, lastOut);
        },
        [&](const ZQRCaptionRemark&) { ++remarks; });
    ZQCKTimecode frame;
    while (!input.empty()) {
        const std::uint8_t record = take(input, 1)[0];
        const std::uint32_t argument = record >> 2;
        if ((record & 3) == 0) {
            frame.addFrames(argument);
        } else if ((record & 3) == 1) {
            reader.addTeletextPacket(anyPacket(take(input, 42)), frame);
        } else if ((record & 3) == 2) {
            const std::size_t length = input.empty() ? 0 : take(input, 1)[0];
            const ZQData data = ZQData::copying(take(input, length));
            const auto line = static_cast<std::int32_t>(argument);
            reader.addVancPackets({ZQRVANCPacketImpl::initWithDID(0x43, 0x02, line, data),
                                   ZQRVANCOP47Packet::initWithDID(0x43, 0x02, line, data)},
                                  frame);
        } else if (argument == 0) {
            reader.addTeletextPacket(soundHeader(take(input, 1)), frame);
        } else {
            reader.addTeletextPacket(soundRow(argument & 31, take(input, 40)), frame);
        }
    }
    reader.finish(frame.addingFrames(1));
    const auto statistics = reader.statistics();
    FUZZ_CHECK(statistics.blocks == blocks);
    FUZZ_CHECK(statistics.badTeletextPackets + statistics.fillers + statistics.headers + statistics.rows <=
               statistics.teletextPackets);
    const std::uint64_t frames = frame.framesSinceMidnight();
    FUZZ_CHECK(remarks <= sortsOfRemark * (1 + frames / ZQRTeletextPageReader::remarkRunFrames));
    FUZZ_CHECK(frames <= size * longestGap);
    return 0;
}
