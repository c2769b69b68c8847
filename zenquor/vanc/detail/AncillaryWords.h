#pragma once
// SMPTE 291M packets as runs of words: the four stream formats.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "zenquor/core/ZQData.h"
#include "zenquor/vanc/ZQRDataStream.h"

namespace zenquor::detail {

/// Stream formats of a packet.
enum AncillaryFormat : int {
    eightBitWithFlag = 0,
    eightBit = 1,
    tenBitWithFlag = 2,
    tenBit = 3,
};

constexpr bool isAncillaryFormat(int format) {
    return format >= eightBitWithFlag && format <= tenBit;
}
constexpr bool isEightBitFormat(int format) {
    return format == eightBitWithFlag || format == eightBit;
}

/// A packet's identifiers (low 8 bits of each) and user data words.
struct AncillaryWords {
    std::uint8_t did = 0;
    std::uint8_t sdid = 0;
    std::span<const std::uint8_t> data;
};

/// Bytes of a packet of @p dataSize user data words in 8-bit words.
std::size_t eightBitSize(std::size_t dataSize, int format, bool includeCRC);
/// Writes a packet in 8-bit words. @param out  eightBitSize() bytes.
void writeEightBitWords(const AncillaryWords& packet, int format, bool includeCRC,
                        std::span<std::uint8_t> out);
/// A packet in 10-bit words; nothing for user data of odd length, which this form cannot carry.
std::optional<ZQData> packTenBitWords(const AncillaryWords& packet, int format, bool includeCRC);

/// The packet at the start of @p words, as a view; nothing unless it is complete and its checksum, if any, is
/// right.
std::optional<AncillaryWords> readEightBitWords(std::span<const std::uint8_t> words, int format);

struct TenBitPacket {
    std::uint8_t did = 0;
    std::uint8_t sdid = 0;
    ZQData data;
};
/// The packet at the stream's position, in words of 16 bits.
std::optional<TenBitPacket> readTenBitWords(ZQRDataStream& stream, int format);

}  // namespace zenquor::detail
