// Turns a line of text into CEA-608 pairs, wraps each pair into a caption distribution packet, packs it as
// SMPTE 291M, and reads the text back.

#include <cstdio>
#include <string>

#include "zenquor/vanc/ZQRDataStream.h"
#include "zenquor/vanc/ZQRVANCCEA608Packet.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"
#include "zenquor/vanc/ZQRVANCHelper.h"

using namespace zenquor;

namespace {

constexpr int eightBitWords = 1;  // the form of MXF and MCC files

std::string textOf(const ZQRVANCCEA608Packet& pair) {
    std::string text;
    if (pair.type() != ZQRVANCCEA608Packet::CharacterPair) return text;
    for (const auto code : {pair.firstCharacter(), pair.secondCharacter()}) {
        if (code != 0) text += static_cast<char>(code);
    }
    return text;
}

}  // namespace

int main() {
    auto pairs = ZQRVANCCEA608Packet::packetsForStartOfCaptionOnChannel(0);
    const auto position = ZQRVANCCEA608Packet::packetsForPosition(4, 14, false, 0);
    const auto text = ZQRVANCCEA608Packet::packetsEncodingString(u"Good evening.", 14, 0, 0, false);
    pairs.insert(pairs.end(), position.begin(), position.end());
    pairs.insert(pairs.end(), text.begin(), text.end());

    std::string read;
    for (const auto& pair : pairs) {
        const auto bytes = pair.data();
        const auto packet = ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(
            ZQData::copying(bytes), ZQRVANCClosedCaptionPacket::TypeCEA608);
        auto stream = ZQRDataStream::initWithData(
            ZQRVANCHelper::packVANCDataPacketInSMPTE291MStream(packet, eightBitWords, true));
        ZQRVANCHelper::extractVANCDataPacketFromSMPTE291MStream(
            stream, packet->lineNumber(), eightBitWords,
            [&](std::int32_t line, std::uint8_t did, std::uint8_t sdid, const ZQData& data) {
                const auto received = std::dynamic_pointer_cast<ZQRVANCClosedCaptionPacket>(
                    ZQRVANCHelper::vancPacketWithLine(line, did, sdid, data));
                const auto received608 = received->dataFor608Fields(1);
                read += textOf(ZQRVANCCEA608Packet::initWithHiByte((*received608)[0], (*received608)[1]));
            });
    }
    std::printf("%zu frames carry: %s\n", pairs.size(), read.c_str());
    return read == "Good evening." ? 0 : 1;
}
