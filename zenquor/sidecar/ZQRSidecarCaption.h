#pragma once
// One line of a caption file: a timecode and its bytes.

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/core/ZQObject.h"

namespace zenquor {

/// A caption line of an SCC or MCC file, read character by character or written as text.
///
/// Thread-safety: One thread at a time.
/// Standards:     the letters of the MacCaption (MCC) V1.0 and V2.0 formats.
class ZQRSidecarCaption final : public ZQObject {
    struct Private {
        explicit Private() = default;
    };

public:
    explicit ZQRSidecarCaption(Private) {}
    static std::shared_ptr<ZQRSidecarCaption> init() {
        return std::make_shared<ZQRSidecarCaption>(Private());
    }

    const std::optional<ZQCKTimecode>& timecode() const { return timecode_; }
    void setTimecode(std::optional<ZQCKTimecode> timecode) { timecode_ = timecode; }
    /// The first frame after the caption, where the format knows it.
    const std::optional<ZQCKTimecode>& endTimecode() const { return endTimecode_; }
    void setEndTimecode(std::optional<ZQCKTimecode> timecode) { endTimecode_ = timecode; }
    std::int32_t field() const { return field_; }
    void setField(std::int32_t field) { field_ = field; }
    std::int32_t line() const { return line_; }
    void setLine(std::int32_t line) { line_ = line; }
    /// The bytes; a view that lasts until they change.
    std::span<const std::uint8_t> data() const {
        if (isLong()) return longData_;
        return {shortData_.data(), shortSize_};
    }

    /// Takes the timecode from the start of a line of text: eleven characters, ":" or ";" between the fields,
    /// and at least one character behind them.
    /// @return false for another form; the timecode is then unchanged.
    bool validateTimecode(std::string_view text, ZQCKTimebase timebase);
    /// Decodes one character: a hexadecimal digit, a space, or with @p allowMCCEncoding a letter "G" to "Z".
    /// @return false for any other character; nothing changed.
    bool appendNibble(char character, bool allowMCCEncoding);
    /// Decodes a whole text as appendNibble() does character by character, several times faster.
    /// @return false at the first character that is none; what stands before it is then decoded.
    bool appendText(std::string_view text, bool allowMCCEncoding);
    /// Appends a byte pair; data of another length than 2 is ignored.
    void appendData(std::span<const std::uint8_t> pair);
    void replaceData(std::span<const std::uint8_t> data);
    /// Appends the bytes as text: tab- and space-separated pairs, or hexadecimal bytes with MCC letters.
    void encodeData(std::string& text, bool allowMCCEncoding) const;
    /// Removes byte pairs of zeros (parity aside) from the end.
    void stripTrailingEmtpy608Packets();

private:
    bool isLong() const { return !longData_.empty(); }
    void append(std::span<const std::uint8_t> bytes);
    void appendNibbleValue(std::uint8_t nibble);
    void encodePairs(std::string& text) const;
    void encodeLetters(std::string& text) const;

    bool isHighNibblePending_ = false;
    std::uint8_t pendingByte_ = 0;
    // Data of usual length lies in the object, so that a line costs one allocation.
    std::array<std::uint8_t, 128> shortData_;
    std::size_t shortSize_ = 0;
    std::vector<std::uint8_t> longData_;
    std::int32_t field_ = 0;
    std::int32_t line_ = 0;
    std::optional<ZQCKTimecode> timecode_;
    std::optional<ZQCKTimecode> endTimecode_;
};

using ZQRSidecarCaptionPtr = std::shared_ptr<ZQRSidecarCaption>;

}  // namespace zenquor
