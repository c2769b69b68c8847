#pragma once
// What is wrong with a caption stream or file, where, and in words.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "zenquor/core/ZQCKTimecode.h"

namespace zenquor {

/// One finding about a caption file or stream.
struct ZQRCaptionRemark {
    /// What was found.
    enum class Kind : std::uint8_t {
        Parity,    ///< a byte without odd parity
        Checksum,  ///< a packet or extended data whose checksum is wrong
        Sequence,  ///< a sequence counter that does not follow the one before
        Count,     ///< a count or length that contradicts the content, such as a wrong cc_count
        Timing,    ///< captions that cannot be transmitted in time
        Overlap,   ///< blocks or lines that run into the next one
        Length,    ///< a line or block too long for its raster
        Code,      ///< a code without meaning, or out of place
        Timecode,  ///< a timecode that does not exist, or runs backwards
        SafeArea,  ///< text outside the safe raster
        Format,    ///< a header, line or field that is not of the format
        Loss,      ///< content that was left out, and why
    };

    Kind kind = Kind::Format;
    std::optional<ZQCKTimecode> timecode;  ///< of the frame or line concerned, where there is one
    std::optional<std::int64_t> line;      ///< of the file, from 1, where there is one
    std::string text;                      ///< one sentence for a person, UTF-8

    /// "parity", "checksum", …: a word for programs.
    static const char* nameOfKind(Kind kind);
    friend bool operator==(const ZQRCaptionRemark&, const ZQRCaptionRemark&) = default;
};

using ZQRCaptionRemarkList = std::vector<ZQRCaptionRemark>;
/// Receives each finding as it is made.
using ZQRCaptionRemarkHandler = std::function<void(const ZQRCaptionRemark&)>;

}  // namespace zenquor
