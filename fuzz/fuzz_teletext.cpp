// Teletext packets, and text turned into them: the first byte chooses set, filler and kind.

#include <algorithm>
#include <cstring>

#include "Check.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/vanc/ZQRVANCTeletextPacket.h"

using namespace zenquor;
using Teletext = ZQRVANCTeletextPacket;

namespace {

void readPacket(std::span<const std::uint8_t> bytes) {
    const Teletext packet = Teletext::initWithBytes(bytes);
    FUZZ_CHECK(packet.rawPayload().size() == (packet.isHeader() && packet.payloadLength() == 32 ? 32U : 40U));
    FUZZ_CHECK(!packet.debugDescription().empty());
    if (!packet.valid()) return;
    const auto data = packet.data();
    FUZZ_CHECK(std::equal(bytes.begin(), bytes.end(), data.begin(), data.end()));
}

void writeText(std::span<const std::uint8_t> bytes) {
    if (bytes.empty()) return;
    const std::uint8_t choice = bytes[0];
    std::u16string text((bytes.size() - 1) / 2, u' ');
    if (!text.empty()) std::memcpy(text.data(), bytes.data() + 1, text.size() * 2);
    const std::uint32_t set = choice & 0xF;
    const char16_t filler = (choice & 0x80) != 0 && !text.empty() ? text[0] : u'?';
    const auto row = Teletext::initSubtitleWithLine(choice % 24 + 1, filler, set, text);
    const auto plain = row.payload();
    for (const std::uint8_t byte : plain) FUZZ_CHECK(byte < 0x80);  // odd parity everywhere
    const std::u16string shown = Teletext::decodedData(plain, set);
    FUZZ_CHECK(shown.size() == 40 && shown.find(u'\uFFFD') == shown.npos);
    // What a set shows it can also code: a second pass changes nothing, except for the codes of set 0.
    if (Teletext::displayedCharacterSet(set) == set && set < Teletext::characterSetCount) {
        Teletext again = row;
        again.setPayloadString(shown, filler);
        FUZZ_CHECK(again == row);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    [[maybe_unused]] static const auto quiet = ZLGGetHandle().setSink([](ZLGLevel, std::string_view) {});
    readPacket({bytes, size});
    writeText({bytes, size});
    return 0;
}
