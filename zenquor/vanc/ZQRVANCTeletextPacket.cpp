#include "zenquor/vanc/ZQRVANCTeletextPacket.h"

#include <algorithm>

#include <fmt/format.h>

#include "zenquor/core/Unicode.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/vanc/ZQRDataStream.h"
#include "zenquor/vanc/ZQRVANCTeletextDummyIDLPacketGenerator.h"
#include "zenquor/vanc/detail/TeletextCharacterSets.h"
#include "zenquor/vanc/detail/TeletextReplacements.h"

namespace zenquor {
namespace {

constexpr std::uint8_t runIn = 0x55;
constexpr std::uint8_t framingCode = 0x27;
constexpr std::size_t addressOffset = 3;
constexpr std::size_t controlOffset = 5;  // header: eight control bytes, then the text
constexpr std::size_t controlSize = 8;
constexpr std::size_t rowOffset = 5;
constexpr char16_t firstPrintable = 0x20;

constexpr std::uint32_t subtitleMagazine = 8;
constexpr std::uint32_t subtitlePageUnits = 8;
constexpr std::uint32_t subtitlePageTens = 8;
constexpr std::uint32_t subtitleSubcode = 8;

constexpr std::uint32_t dataLinePacket = 31;
constexpr std::uint8_t dataLineFormatA = 4;      // with an explicit continuity byte, no repeats
constexpr std::uint8_t otherFormatFlag = 1;      // in the format byte: not format A
constexpr std::uint8_t repeatIndicatorFlag = 2;  // a byte more before the continuity byte
constexpr std::size_t dataLineChecksum = 38;     // offset of the two last bytes

constexpr std::array<std::string_view, 32> controlNames = {
    "[AlphaBlack]",
    "[AlphaRed]",
    "[AlphaGreen]",
    "[AlphaYellow]",
    "[AlphaBlue]",
    "[AlphaMagenta]",
    "[AlphaCyan]",
    "[AlphaWhite]",
    "[Flash]",
    "[Steady]",
    "[EndBox]",
    "[StartBox]",
    "[NormalSize]",
    "[DoubleHeight]",
    "[DoubleWidth]",
    "[DoubleSize]",
    "[MosaicsBlack]",
    "[MosaicsRed]",
    "[MosaicsGreen]",
    "[MosaicsYellow]",
    "[MosaicsBlue]",
    "[MosaicsMagenta]",
    "[MosaicsCyan]",
    "[MosaicsWhite]",
    "[Conceal]",
    "[ContiguousMosaicGraphics]",
    "[SeparatedMosaicGraphics]",
    "[ESC]",
    "[BlackBackground]",
    "[NewBackground]",
    "[HoldMosaics]",
    "[ReleaseMosaics]",
};

constexpr std::array<std::string_view, 8> setNames = {
    "English", "French",    "SwedishFinnishHungarian", "CzechSlovak", "German", "PortugueseSpanish",
    "Italian", "Undefined",
};

constexpr std::array<std::uint16_t, 256> makeChecksumTable() {
    std::array<std::uint16_t, 256> table{};
    for (unsigned i = 0; i < table.size(); ++i) {
        unsigned crc = 0;
        for (unsigned round = 0, bits = i; round < 8; ++round, bits >>= 1) {
            crc = ((bits ^ crc) & 1) != 0 ? (crc >> 1) ^ 0x8940 : crc >> 1;
        }
        table[i] = static_cast<std::uint16_t>(crc);
    }
    return table;
}
constexpr auto checksumTable = makeChecksumTable();

std::uint8_t hamming(std::uint32_t value) {
    return ZQRDataStream::encodeHamming84Byte(static_cast<std::uint8_t>(value & 0xF));
}

/// Decodes all @p coded bytes. @return false when one of them is no code word.
bool readHamming(std::span<const std::uint8_t> coded, std::span<std::uint8_t> decoded) {
    for (std::size_t i = 0; i < coded.size(); ++i) {
        if (!ZQRDataStream::decodeHamming84Byte(coded[i], decoded[i])) return false;
    }
    return true;
}

/// The byte without its parity bit if the parity is odd, as it must be; else the byte.
std::uint8_t withoutParity(std::uint8_t byte) {
    return ZQRDataStream::isOddParityByte(byte, 8) ? byte & 0x7F : byte;
}

std::uint32_t flag(bool on, unsigned bit) {
    return on ? 1U << bit : 0;
}

}  // namespace

ZQRVANCTeletextPacket ZQRVANCTeletextPacket::initWithBytes(std::span<const std::uint8_t> bytes) {
    ZQRVANCTeletextPacket packet;
    packet.valid_ = packet.setBytes(bytes);
    return packet;
}

ZQRVANCTeletextPacket ZQRVANCTeletextPacket::initSubtitleHeaderWithColour(char16_t colour, char16_t filler,
                                                                          std::uint32_t characterSet) {
    ZQRVANCTeletextPacket packet;
    packet.valid_ = true;
    packet.magazine_ = subtitleMagazine;
    packet.pageUnits_ = subtitlePageUnits;
    packet.pageTens_ = subtitlePageTens;
    packet.pageSubcode_ = subtitleSubcode;
    packet.controlErasePage_ = true;
    packet.controlSubtitle_ = true;
    packet.controlSupressHeader_ = true;
    packet.controlInterruptedSequence_ = true;
    packet.payloadLength_ = headerPayloadLength;
    packet.characterSet_ = characterSet;
    std::array<char16_t, headerPayloadLength> text;
    text.fill(filler);
    text[0] = colour;
    packet.setPayloadString({text.data(), text.size()}, filler);
    return packet;
}

ZQRVANCTeletextPacket ZQRVANCTeletextPacket::initSubtitleWithLine(std::int32_t line, char16_t filler,
                                                                  std::uint32_t characterSet,
                                                                  std::u16string_view string) {
    ZQRVANCTeletextPacket packet;
    packet.valid_ = true;
    packet.magazine_ = subtitleMagazine;
    packet.packetNumber_ = static_cast<std::uint32_t>(line);
    packet.characterSet_ = characterSet;
    packet.setPayloadString(string, filler);
    return packet;
}

ZQRVANCTeletextPacket ZQRVANCTeletextPacket::initWithDummyIDLPacketGenerator(
    ZQRVANCTeletextDummyIDLPacketGenerator& generator) {
    using Generator = ZQRVANCTeletextDummyIDLPacketGenerator;
    ZQRVANCTeletextPacket packet;
    packet.valid_ = true;
    packet.packetNumber_ = dataLinePacket;
    std::size_t start = 0;
    generator.withState([&](Generator::State& state) {
        packet.magazine_ = state.magazine;
        auto next = packet.payload_.begin();
        *next++ = hamming(dataLineFormatA);
        *next++ = hamming(static_cast<std::uint32_t>(state.address.size() & 7));
        for (const char digit : state.address) *next++ = hamming(static_cast<std::uint32_t>(digit - '0'));
        start = static_cast<std::size_t>(next - packet.payload_.begin());
        *next++ = state.continuity++;
        while (next != packet.payload_.begin() + dataLineChecksum) {
            *next++ = state.payloadContent;
            if (++state.payloadCounter < Generator::bytesPerContent) continue;
            state.payloadCounter = 0;
            ++state.payloadContent;
        }
    });
    const std::uint16_t crc =
        packet.idlFormatACRCWithFrom(static_cast<std::int32_t>(start), dataLineChecksum);
    packet.payload_[dataLineChecksum] = static_cast<std::uint8_t>(crc);
    packet.payload_[dataLineChecksum + 1] = static_cast<std::uint8_t>(crc >> 8);
    return packet;
}

bool ZQRVANCTeletextPacket::setBytes(std::span<const std::uint8_t> bytes) {
    if (bytes.size() != packetSize()) return false;
    if (bytes[0] != runIn || bytes[1] != runIn) {
        ZLGGetHandle().error("ZQRVANCTeletextPacket recieved invalid run-in code {:02x} {:02x}", bytes[0],
                             bytes[1]);
        return false;
    }
    if (bytes[2] != framingCode) {
        ZLGGetHandle().error("ZQRVANCTeletextPacket recieved invalid framing code {:02x}", bytes[2]);
        return false;
    }
    if (!readAddress(bytes)) return false;
    if (isHeader()) return readHeader(bytes);
    setRawPayload(bytes.subspan(rowOffset));
    return !isIDL() || isDataLineSound();
}

bool ZQRVANCTeletextPacket::readAddress(std::span<const std::uint8_t> bytes) {
    std::uint8_t low = 0;
    std::uint8_t high = 0;
    if (!ZQRDataStream::decodeHamming84Byte(bytes[addressOffset], low)) {
        ZLGGetHandle().error("ZQRVANCTeletextPacket recieved invalid MRAG 1 {:02x}", bytes[addressOffset]);
        return false;
    }
    if (!ZQRDataStream::decodeHamming84Byte(bytes[addressOffset + 1], high)) {
        ZLGGetHandle().error("ZQRVANCTeletextPacket recieved invalid MRAG 2 {:02x}",
                             bytes[addressOffset + 1]);
        return false;
    }
    magazine_ = (low & 7) != 0 ? low & 7 : 8;
    packetNumber_ = static_cast<std::uint32_t>((low >> 3 & 1) + high * 2);
    return true;
}

bool ZQRVANCTeletextPacket::readHeader(std::span<const std::uint8_t> bytes) {
    payloadLength_ = headerPayloadLength;
    setRawPayload(bytes.subspan(controlOffset + controlSize));
    std::array<std::uint8_t, controlSize> control{};
    if (!readHamming(bytes.subspan(controlOffset, controlSize), control)) return false;
    pageUnits_ = control[0];
    pageTens_ = control[1];
    pageSubcode_ = control[2] | (control[3] & 7U) << 4 | control[4] << 8 | (control[5] & 3U) << 12;
    controlErasePage_ = (control[3] & 8) != 0;
    controlNewsflash_ = (control[5] & 4) != 0;
    controlSubtitle_ = (control[5] & 8) != 0;
    controlSupressHeader_ = (control[6] & 1) != 0;
    controlUpdateIndicator_ = (control[6] & 2) != 0;
    controlInterruptedSequence_ = (control[6] & 4) != 0;
    controlInhibitDisplay_ = (control[6] & 8) != 0;
    controlMagazineSerial_ = (control[7] & 1) != 0;
    characterSet_ = control[7] >> 1;
    return true;
}

bool ZQRVANCTeletextPacket::isDataLineSound() const {
    std::uint8_t format = 0;
    std::uint8_t addressByte = 0;
    if (!ZQRDataStream::decodeHamming84Byte(payload_[0], format) ||
        !ZQRDataStream::decodeHamming84Byte(payload_[1], addressByte)) {
        return false;
    }
    if ((format & otherFormatFlag) != 0) return true;
    const std::size_t addressLength = addressByte & 7;
    std::array<std::uint8_t, 7> address{};
    if (!readHamming(std::span(payload_).subspan(2, addressLength), address)) return false;
    const std::size_t from = 2 + addressLength + ((format & repeatIndicatorFlag) != 0 ? 1 : 0);
    return idlFormatACRCWithFrom(static_cast<std::int32_t>(from), maximumPayloadLength) == 0;
}

void ZQRVANCTeletextPacket::setPayloadLength(std::int32_t length) {
    payloadLength_ = std::clamp(length, 0, static_cast<std::int32_t>(maximumPayloadLength));
}

ZQRVANCTeletextPacket::Payload ZQRVANCTeletextPacket::payload() const {
    Payload plain;
    plain.length = rawPayload().size();
    std::transform(rawPayload().begin(), rawPayload().end(), plain.bytes.begin(), withoutParity);
    return plain;
}

void ZQRVANCTeletextPacket::setRawPayload(std::span<const std::uint8_t> bytes) {
    payload_.fill(0);
    std::copy_n(bytes.begin(), std::min(bytes.size(), payload_.size()), payload_.begin());
}

void ZQRVANCTeletextPacket::setPayloadString(std::u16string_view string, char16_t filler) {
    const std::size_t length = std::min(string.size(), rawPayload().size());
    payload_.fill(ZQRDataStream::oddParityByte(firstPrintable));
    // Control codes are taken as they are, past the tables, but get their parity too: a receiver drops an
    // End Box or a yellow whose parity is wrong.
    for (std::size_t i = 0; i < length; ++i) {
        const std::uint8_t code = string[i] < firstPrintable ? static_cast<std::uint8_t>(string[i])
                                                             : codeForCharacter(string[i], filler);
        payload_[i] = ZQRDataStream::oddParityByte(code);
    }
}

std::uint8_t ZQRVANCTeletextPacket::codeForCharacter(char16_t character, char16_t filler) const {
    const auto code =
        detail::teletextCode(detail::teletextReplacement(character, characterSet_), characterSet_);
    if (code) return *code;
    ZLGGetHandle().error("ZQRVANCTeletextPacket failed to match character {} in set {}, using filler",
                         utf8FromUTF16({&character, 1}), detail::teletextSetName(characterSet_));
    return static_cast<std::uint8_t>(filler < 0x80 ? filler : firstPrintable);
}

std::array<std::uint8_t, 45> ZQRVANCTeletextPacket::data() const {
    std::array<std::uint8_t, 45> bytes{runIn, runIn, framingCode};
    bytes[addressOffset] = hamming((magazine_ & 7) + (packetNumber_ & 1) * 8);
    bytes[addressOffset + 1] = hamming(packetNumber_ / 2);
    if (isHeader()) {
        writeHeader(std::span(bytes).subspan(controlOffset, controlSize));
        std::copy_n(payload_.begin(), headerPayloadLength, bytes.begin() + controlOffset + controlSize);
    } else {
        std::copy(payload_.begin(), payload_.end(), bytes.begin() + rowOffset);
    }
    return bytes;
}

void ZQRVANCTeletextPacket::writeHeader(std::span<std::uint8_t> bytes) const {
    const std::uint32_t control[controlSize] = {
        pageUnits_,
        pageTens_,
        pageSubcode_,
        (pageSubcode_ >> 4 & 7) | flag(controlErasePage_, 3),
        pageSubcode_ >> 8,
        (pageSubcode_ >> 12 & 3) | flag(controlNewsflash_, 2) | flag(controlSubtitle_, 3),
        flag(controlSupressHeader_, 0) | flag(controlUpdateIndicator_, 1) |
            flag(controlInterruptedSequence_, 2) | flag(controlInhibitDisplay_, 3),
        flag(controlMagazineSerial_, 0) | (characterSet_ & 7) << 1,
    };
    std::transform(std::begin(control), std::end(control), bytes.begin(), hamming);
}

std::uint16_t ZQRVANCTeletextPacket::idlFormatACRCWithFrom(std::int32_t from, std::int32_t to) const {
    const std::int32_t end = std::min(to, static_cast<std::int32_t>(maximumPayloadLength));
    unsigned crc = 0;
    for (std::int32_t i = std::max(from, 0); i < end; ++i) {
        crc = checksumTable[payload_[static_cast<std::size_t>(i)] ^ (crc & 0xFF)] ^ crc >> 8;
    }
    return static_cast<std::uint16_t>(crc);
}

std::string ZQRVANCTeletextPacket::description() const {
    std::string text = fmt::format("Teletext magazine:{} packet:{}", magazine_, packetNumber_);
    if (isHeader()) text += fmt::format(" page:{}{:x}{:x}", magazine_, pageTens_, pageUnits_);
    return text;
}

std::string ZQRVANCTeletextPacket::debugDescription() const {
    std::string text = fmt::format("{} line:{} {}{}", description(), lineNumber_, oddField_ ? "odd" : "even",
                                   valid_ ? "" : " invalid");
    if (isHeader()) {
        const std::pair<bool, const char*> controls[] = {
            {controlErasePage_, " erasePage"},
            {controlNewsflash_, " newsflash"},
            {controlSubtitle_, " subtitle"},
            {controlSupressHeader_, " supressHeader"},
            {controlUpdateIndicator_, " updateIndicator"},
            {controlInterruptedSequence_, " interruptedSequence"},
            {controlInhibitDisplay_, " inhibitDisplay"},
            {controlMagazineSerial_, " magazineSerial"},
        };
        text += fmt::format(" subcode:{:04x} set:{}", pageSubcode_, characterSet_);
        for (const auto& [on, name] : controls) {
            if (on) text += name;
        }
    }
    if (!isHeader() && !isDisplayable()) return text;
    const std::u16string shown = decodedData(payload(), displayedCharacterSet(characterSet_));
    return text + fmt::format(" \"{}\"", utf8FromUTF16(stringWithReplacedControlCharacters(shown)));
}

std::span<const std::string_view, 32> ZQRVANCTeletextPacket::controlStrings() {
    return controlNames;
}

std::span<const std::string_view, 8> ZQRVANCTeletextPacket::characterSetNames() {
    return setNames;
}

std::uint32_t ZQRVANCTeletextPacket::displayedCharacterSet(std::uint32_t headerSet) {
    return headerSet == 0 ? detail::teletextEnglishSet : headerSet;
}

std::u16string ZQRVANCTeletextPacket::stringWithReplacedControlCharacters(std::u16string_view string) {
    std::u16string text;
    for (const char16_t character : string) {
        if (character >= firstPrintable) {
            text += character;
        } else {
            text.append(controlNames[character].begin(), controlNames[character].end());
        }
    }
    return text;
}

std::u16string ZQRVANCTeletextPacket::decodedData(std::span<const std::uint8_t> bytes,
                                                  std::uint32_t characterSet) {
    const detail::TeletextMapping& mapping = detail::teletextMapping(characterSet);
    std::u16string text;
    text.reserve(bytes.size());
    for (const std::uint8_t byte : bytes) {
        const std::uint8_t code = byte < 0x80 ? byte : withoutParity(byte);
        if (code >= 0x80) {
            text += u'\uFFFD';
        } else {
            text += code < firstPrintable ? code : mapping[code - firstPrintable];
        }
    }
    return text;
}

}  // namespace zenquor
