#include "zenquor/vanc/detail/AncillaryWords.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "zenquor/vanc/detail/ByteSum.h"

namespace zenquor::detail {
namespace {

constexpr std::array<std::uint8_t, 3> flagWritten = {0x00, 0xFF, 0xFF};
// What is read before an 8-bit packet is not what is written there: captured streams carry this header.
constexpr std::array<std::uint8_t, 3> flagRead = {0xFF, 0xA0, 0x09};

/// The identifiers of 10-bit words carry true parity only; the inverted form is refused.
constexpr std::uint8_t identifierParity = 1;

bool skipTenBitFlag(ZQRDataStream& stream) {
    return stream.validate10BitParityWordPacked16(true, 0x00, 0) &&
           stream.validate10BitParityWordPacked16(true, 0xFF, 3) &&
           stream.validate10BitParityWordPacked16(true, 0xFF, 3);
}

}  // namespace

std::size_t eightBitSize(std::size_t dataSize, int format, bool includeCRC) {
    return (format == eightBitWithFlag ? flagWritten.size() : 0) + 3 + dataSize + (includeCRC ? 1 : 0);
}

void writeEightBitWords(const AncillaryWords& packet, int format, bool includeCRC,
                        std::span<std::uint8_t> out) {
    std::uint8_t* word = out.data();
    if (format == eightBitWithFlag) word = std::copy(flagWritten.begin(), flagWritten.end(), word);
    const auto count = static_cast<std::uint8_t>(packet.data.size());
    *word++ = packet.did;
    *word++ = packet.sdid;
    *word++ = count;
    if (!packet.data.empty()) std::memcpy(word, packet.data.data(), packet.data.size());
    if (includeCRC) {
        word[packet.data.size()] =
            static_cast<std::uint8_t>(packet.did + packet.sdid + count + byteSum(packet.data));
    }
}

std::optional<ZQData> packTenBitWords(const AncillaryWords& packet, int format, bool includeCRC) {
    if (packet.data.size() % 2 != 0) return std::nullopt;
    ZQRDataStream stream = ZQRDataStream::initForWriting();
    stream.beginWriteBits();
    if (format == tenBitWithFlag) {
        for (const std::uint32_t word : {0x0000U, 0x03FFU, 0x03FFU}) stream.writeBits(16, word);
    }
    std::uint32_t sum = 0;
    stream.write10BitParityWordPacked16(true, packet.did, &sum);
    stream.write10BitParityWordPacked16(true, packet.sdid, &sum);
    stream.write10BitParityWordPacked16(true, static_cast<std::uint8_t>(packet.data.size()), &sum);
    // The user data are 16-bit big-endian samples here; their low bytes are sent.
    for (std::size_t i = 1; i < packet.data.size(); i += 2) {
        stream.write10BitParityWordPacked16(true, packet.data[i], &sum);
    }
    if (includeCRC) {
        const std::uint32_t low = sum & 0x1FF;
        stream.writeBits(16, low | ((low & 0x100) != 0 ? 0 : 0x200));
    }
    return stream.outputData();
}

std::optional<AncillaryWords> readEightBitWords(std::span<const std::uint8_t> words, int format) {
    if (format == eightBitWithFlag) {
        if (words.size() < flagRead.size() || !std::equal(flagRead.begin(), flagRead.end(), words.begin())) {
            return std::nullopt;
        }
        words = words.subspan(flagRead.size());
    }
    if (words.size() < 3 || words.size() - 3 < words[2]) return std::nullopt;
    const std::size_t summed = std::size_t{3} + words[2];
    if (words.size() > summed && words[summed] != byteSum(words.first(summed))) return std::nullopt;
    return AncillaryWords{words[0], words[1], words.subspan(3, words[2])};
}

std::optional<TenBitPacket> readTenBitWords(ZQRDataStream& stream, int format) {
    if (!stream.beginReadBits()) return std::nullopt;
    if (format == tenBitWithFlag && !skipTenBitFlag(stream)) return std::nullopt;
    TenBitPacket packet;
    std::uint32_t sum = 0;
    std::uint8_t parity = 0;
    for (std::uint8_t* identifier : {&packet.did, &packet.sdid}) {
        if (!stream.read10BitParityWordPacked16(true, *identifier, parity, &sum)) return std::nullopt;
        if (parity != identifierParity) return std::nullopt;
    }
    std::uint8_t count = 0;
    if (!stream.read10BitParityWordPacked16(true, count, parity, &sum)) return std::nullopt;
    std::array<std::uint8_t, 255> data;
    for (std::size_t i = 0; i < count; ++i) {
        if (!stream.read10BitParityWordPacked16(true, data[i], parity, &sum)) return std::nullopt;
    }
    std::uint8_t checksum = 0;
    if (!stream.read10BitParityWordPacked16(true, checksum, parity)) return std::nullopt;
    const bool isWordValid = (parity == 1 || parity == 2);
    if (!isWordValid || checksum + (parity & 1U) * 256 != (sum & 0x1FF)) return std::nullopt;
    packet.data = ZQData::copying(std::span(data).first(count));
    return packet;
}

}  // namespace zenquor::detail
