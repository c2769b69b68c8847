#pragma once
// Bytes and bits, read from a buffer or written to one.

#include <cstdint>
#include <span>
#include <vector>

#include "zenquor/core/ZQData.h"

namespace zenquor {

/// A byte and bit stream, most significant bit first, with the word codings of ancillary data and teletext.
///
/// Lifecycle:     a stream either reads (initWithData) or writes (initForWriting). Bit reading starts with
///                beginReadBits(), bit writing with beginWriteBits(). A last partial byte is never written.
/// Thread-safety: One thread at a time.
/// Ownership:     a reading stream keeps its data alive; making one allocates nothing.
/// Standards:     SMPTE ST 291-1 (10-bit words), ETS 300 706 (odd parity, Hamming 8/4).
class ZQRDataStream {
public:
    enum class SeekMode : int { Absolute = 0, Relative = 1, FromEnd = 2 };

    static ZQRDataStream initWithData(ZQData data);
    /// A view of @p size bytes from @p position; clipped to what exists.
    static ZQRDataStream initWithData(ZQData data, std::size_t position, std::size_t size);
    static ZQRDataStream initForWriting();

    /// A new reading stream over the same data. @param offset  counts from the start of the data, not of this
    /// view.
    ZQRDataStream streamAtPosition(std::size_t offset, std::size_t size) const;

    /// Moves to @p offset (Absolute), by @p offset (Relative) or to size − @p offset (FromEnd).
    /// @return false, without moving, when the target lies outside 0 … size.
    bool setPosition(std::int64_t offset, SeekMode mode, std::int64_t* newPosition = nullptr);
    /// Whether nothing is left to read, the bits of the byte at hand included.
    bool isEndOfStream() const;
    std::int64_t position() const { return position_; }
    std::size_t size() const { return view_.size(); }
    /// The bytes from the position to the end of the view, for readers of whole words.
    std::span<const std::uint8_t> unreadBytes() const {
        return view_.subspan(static_cast<std::size_t>(position_));
    }

    /// Copies as many bytes as are left, at most @p destination holds. @return whether it was one or more.
    bool readBytes(std::span<std::uint8_t> destination, std::size_t* bytesRead = nullptr);

    /// Loads the next byte and starts reading bits. @return false when no byte is left.
    bool beginReadBits();
    /// Reads 1 to 8 bits. @return false for another count, which reads nothing, and when the data ends before
    /// the last bit asked for.
    bool readBits(int count, std::uint8_t& value);
    bool skipBits(int count);
    /// Reads 8 bits and adds them to @p crc.
    bool read8BitWord(std::uint8_t& value, std::uint32_t* crc = nullptr);
    /// Reads a 10-bit word: bits 9 and 8 to @p parity, the rest to @p value; adds the whole word to @p crc.
    /// @param packed16  the word lies right-justified in 16 bits.
    bool read10BitParityWordPacked16(bool packed16, std::uint8_t& value, std::uint8_t& parity,
                                     std::uint32_t* crc = nullptr);
    /// Reads one word and says whether it is the expected one.
    bool validate8BitWord(std::uint8_t expected, std::uint32_t* crc = nullptr);
    bool validate10BitParityWordPacked16(bool packed16, std::uint8_t expectedValue,
                                         std::uint8_t expectedParity, std::uint32_t* crc = nullptr);

    bool writeBytes(std::span<const std::uint8_t> bytes);
    void beginWriteBits();
    /// Writes the @p count low bits of @p value and adds value AND @p crcMask to @p crc; does nothing when
    /// @p count is above 31.
    void writeBits(int count, std::uint32_t value, std::uint32_t* crc = nullptr, std::uint32_t crcMask = 0);
    /// Writes @p value as a 10-bit word with its two parity bits and adds its low 9 bits to @p crc.
    /// @param tight  true writes 10 bits, false 16 bits with the word right-justified.
    void write10BitParityWordPacked16(bool tight, std::uint8_t value, std::uint32_t* crc = nullptr);
    /// A copy of what has been written.
    ZQData outputData() const { return ZQData::copying(output_); }

    /// One bits among the @p count low bits of @p byte; 0 for a count below 1.
    static int bitCount(std::uint8_t byte, int count);
    static bool isOddParityByte(std::uint8_t byte, int count) { return (bitCount(byte, count) & 1) != 0; }
    /// @p byte with bit 7 such that the number of one bits is odd.
    static std::uint8_t oddParityByte(std::uint8_t byte);
    static std::uint8_t encodeHamming84Byte(std::uint8_t nibble);
    /// Refuses every byte that is not a code word; corrects nothing. @return false, @p decoded untouched.
    static bool decodeHamming84Byte(std::uint8_t byte, std::uint8_t& decoded);

private:
    ZQRDataStream() = default;
    bool loadByte();

    ZQData input_;
    std::span<const std::uint8_t> view_;
    std::int64_t position_ = 0;
    std::uint8_t bits_ = 0;
    std::uint8_t bitMask_ = 0x80;
    bool readBits_ = false;
    bool writeBits_ = false;
    std::vector<std::uint8_t> output_;
};

}  // namespace zenquor
