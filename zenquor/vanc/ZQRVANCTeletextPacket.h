#pragma once
// One teletext packet as OP-47 carries it.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "zenquor/core/ZQData.h"

namespace zenquor {

class ZQRVANCTeletextDummyIDLPacketGenerator;

/// A teletext packet of 45 bytes: run-in, framing code, address, and a page header, a row of characters or an
/// independent data line.
///
/// Character sets are numbered 0 to 13, see docs/vanc.md: 0 is the Latin primary set, 1 to 6 are the national
/// sets that a page header names by the same number, 7 to 13 the other ones of the standard. Receivers take
/// the number 0 of a header for English; text for set 0 is coded so that they show what is meant. To read a
/// row, hand payload() to decodedData() with displayedCharacterSet() of the header before it.
///
/// Of a subtitle page receivers show what stands between two Start Box codes (0x0B) and two End Box codes
/// (0x0A); colours are the codes 0x01 to 0x07, 0x0D makes the row and the one below it double height.
///
/// Thread-safety: Safe for reading; a value that allocates nothing.
/// Standards:     ETS 300 706 (EN 300 706), OP-47; bytes are in OP-47's order, least significant bit sent
///                first.
class ZQRVANCTeletextPacket final {
public:
    static constexpr std::size_t maximumPayloadLength = 40;
    static constexpr std::int32_t headerPayloadLength = 32;
    static constexpr std::uint32_t characterSetCount = 14;
    static constexpr std::size_t packetSize() { return 45; }

    /// The characters of a packet, parity bits taken off where they were right.
    struct Payload {
        std::array<std::uint8_t, maximumPayloadLength> bytes{};
        std::size_t length = 0;

        const std::uint8_t* begin() const { return bytes.data(); }
        const std::uint8_t* end() const { return bytes.data() + length; }
        const std::uint8_t* data() const { return bytes.data(); }
        std::size_t size() const { return length; }
        std::uint8_t operator[](std::size_t i) const { return bytes[i]; }
    };

    /// An empty packet, not valid.
    ZQRVANCTeletextPacket() = default;

    /// Reads the 45 bytes of a packet; valid() says whether they are sound, the log why they are not.
    static ZQRVANCTeletextPacket initWithBytes(std::span<const std::uint8_t> bytes);
    static ZQRVANCTeletextPacket initWithData(const ZQData& data) { return initWithBytes(data); }
    /// The header of subtitle page 888: erases the page and starts a new one.
    /// @param colour  control code of the header text, 0 to 7; the rest of the text is @p filler.
    static ZQRVANCTeletextPacket initSubtitleHeaderWithColour(char16_t colour, char16_t filler,
                                                              std::uint32_t characterSet);
    /// A row of page 888. For the other parameters see setPayloadString().
    /// @param line  1 to 24; not checked, other numbers make another kind of packet of it.
    static ZQRVANCTeletextPacket initSubtitleWithLine(std::int32_t line, char16_t filler,
                                                      std::uint32_t characterSet, std::u16string_view string);
    /// A filler packet with the next contents of the generator.
    static ZQRVANCTeletextPacket initWithDummyIDLPacketGenerator(
        ZQRVANCTeletextDummyIDLPacketGenerator& generator);
    /// What reading data() gives; where the packet is carried and, in a row, its character set are not in it.
    ZQRVANCTeletextPacket copy() const { return initWithBytes(data()); }

    /// Whether the packet was read without fault or was built.
    bool valid() const { return valid_; }
    void setValid(bool valid) { valid_ = valid; }
    bool isHeader() const { return packetNumber_ == 0; }
    bool isDisplayable() const { return packetNumber_ >= 1 && packetNumber_ <= 25; }
    bool isIDL() const { return packetNumber_ == 31; }

    /// 1 to 8; sent in three bits, 8 as 0.
    std::uint32_t magazine() const { return magazine_; }
    void setMagazine(std::uint32_t magazine) { magazine_ = magazine; }
    /// 0 header, 1 to 25 rows, 26 to 30 enhancements, 31 independent data line.
    std::uint32_t packetNumber() const { return packetNumber_; }
    void setPacketNumber(std::uint32_t number) { packetNumber_ = number; }
    /// The two digits of the page number, 0 to 15 each.
    std::uint32_t pageUnits() const { return pageUnits_; }
    void setPageUnits(std::uint32_t units) { pageUnits_ = units; }
    std::uint32_t pageTens() const { return pageTens_; }
    void setPageTens(std::uint32_t tens) { pageTens_ = tens; }
    /// S1 in bits 0–3, S2 in 4–6, S3 in 8–11, S4 in 12–13.
    std::uint32_t pageSubcode() const { return pageSubcode_; }
    void setPageSubcode(std::uint32_t subcode) { pageSubcode_ = subcode; }

    /// The control bits C4 to C11 of a header.
    bool controlErasePage() const { return controlErasePage_; }
    void setControlErasePage(bool on) { controlErasePage_ = on; }
    bool controlNewsflash() const { return controlNewsflash_; }
    void setControlNewsflash(bool on) { controlNewsflash_ = on; }
    bool controlSubtitle() const { return controlSubtitle_; }
    void setControlSubtitle(bool on) { controlSubtitle_ = on; }
    bool controlSupressHeader() const { return controlSupressHeader_; }
    void setControlSupressHeader(bool on) { controlSupressHeader_ = on; }
    bool controlUpdateIndicator() const { return controlUpdateIndicator_; }
    void setControlUpdateIndicator(bool on) { controlUpdateIndicator_ = on; }
    bool controlInterruptedSequence() const { return controlInterruptedSequence_; }
    void setControlInterruptedSequence(bool on) { controlInterruptedSequence_ = on; }
    bool controlInhibitDisplay() const { return controlInhibitDisplay_; }
    void setControlInhibitDisplay(bool on) { controlInhibitDisplay_ = on; }
    bool controlMagazineSerial() const { return controlMagazineSerial_; }
    void setControlMagazineSerial(bool on) { controlMagazineSerial_ = on; }
    /// 0 to 13; the low three bits travel in a header as C12 to C14, rows carry none.
    std::uint32_t characterSet() const { return characterSet_; }
    void setCharacterSet(std::uint32_t set) { characterSet_ = set; }

    /// Where the packet is carried: line 0 to 31 of the field, and which field. Not part of data().
    std::uint32_t lineNumber() const { return lineNumber_; }
    void setLineNumber(std::uint32_t line) { lineNumber_ = line; }
    bool oddField() const { return oddField_; }
    void setOddField(bool odd) { oddField_ = odd; }

    /// 40 for rows and data lines, 32 for headers; setting it is clamped to 0 to 40.
    std::int32_t payloadLength() const { return payloadLength_; }
    void setPayloadLength(std::int32_t length);
    /// Bytes whose parity is wrong are left as they came.
    Payload payload() const;
    /// The payload as sent, payloadLength() bytes with their parity bits.
    std::span<const std::uint8_t> rawPayload() const {
        return std::span(payload_).first(static_cast<std::size_t>(payloadLength_));
    }
    /// Stores up to 40 bytes as they are, parity included; what they do not reach is zero.
    void setRawPayload(std::span<const std::uint8_t> bytes);
    /// Codes text for the packet's character set, with odd parity; what it does not reach is spaces.
    /// Characters below 0x20 are control codes. Characters that the set lacks become a near one of the set,
    /// and where there is none, @p filler with an error in the log.
    /// @param filler  a code from 0x20 to 0x7F.
    void setPayloadString(std::u16string_view string, char16_t filler);

    /// The 45 bytes.
    std::array<std::uint8_t, 45> data() const;

    /// The checksum of a format A data line over the payload bytes from @p from up to, not including, @p to;
    /// 0 for no bytes.
    std::uint16_t idlFormatACRCWithFrom(std::int32_t from, std::int32_t to) const;

    /// "Teletext magazine:… packet:…", for a header with its page.
    std::string description() const;
    /// The same with where the packet is carried, control bits and text as a receiver shows it.
    std::string debugDescription() const;

    /// Readable names of the control codes 0x00 to 0x1F.
    static std::span<const std::string_view, 32> controlStrings();
    /// Names of the character sets 0 to 7 as a header's number is read.
    static std::span<const std::string_view, 8> characterSetNames();
    /// The set that a receiver shows for a header's number: English (7) for 0, else the number itself.
    static std::uint32_t displayedCharacterSet(std::uint32_t headerSet);
    /// The text with its control codes replaced by their names.
    static std::u16string stringWithReplacedControlCharacters(std::u16string_view string);
    /// The characters of payload bytes, with or without parity. Control codes stay; a byte above 0x7F with
    /// wrong parity gives U+FFFD. A set that does not exist reads as set 0.
    static std::u16string decodedData(std::span<const std::uint8_t> bytes, std::uint32_t characterSet);

    friend bool operator==(const ZQRVANCTeletextPacket&, const ZQRVANCTeletextPacket&) = default;

private:
    bool setBytes(std::span<const std::uint8_t> bytes);
    bool readAddress(std::span<const std::uint8_t> bytes);
    bool readHeader(std::span<const std::uint8_t> bytes);
    bool isDataLineSound() const;
    void writeHeader(std::span<std::uint8_t> bytes) const;
    std::uint8_t codeForCharacter(char16_t character, char16_t filler) const;

    std::array<std::uint8_t, maximumPayloadLength> payload_{};
    std::int32_t payloadLength_ = maximumPayloadLength;
    bool controlErasePage_ = false;
    bool controlNewsflash_ = false;
    bool controlSubtitle_ = false;
    bool controlSupressHeader_ = false;
    bool controlUpdateIndicator_ = false;
    bool controlInterruptedSequence_ = false;
    bool controlInhibitDisplay_ = false;
    bool controlMagazineSerial_ = false;
    bool valid_ = false;
    std::uint32_t magazine_ = 8;
    std::uint32_t packetNumber_ = 0;
    std::uint32_t pageUnits_ = 0;
    std::uint32_t pageTens_ = 0;
    std::uint32_t pageSubcode_ = 0;
    std::uint32_t characterSet_ = 0;
    std::uint32_t lineNumber_ = 0;
    bool oddField_ = false;
};

}  // namespace zenquor
