#pragma once
// What is wrong with a caption file or a stream of captions, in a person's words.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/sidecar/ZQRCaptionRemark.h"
#include "zenquor/vanc/ZQRVANCPacket.h"

namespace zenquor {

namespace detail {
class StreamCheck;
}

/// Looks through a whole caption file, or the caption packets of a movie frame by frame, and reports what a
/// reader, a receiver or a viewer would stumble over.
///
/// The sidecars stop at the first line that they cannot read; the check goes on to the end and says what is
/// lost. A finding that repeats is told a few times, and the last of these says how often more it was met and
/// where last; a report holds at most maximumRemarks remarks, and one that counts the rest.
///
/// Lifecycle:     checkFile() needs no object. For streams: make one, addVancPackets() for every frame in
///                order, finish() once.
/// Thread-safety: checkFile() and checkData() are safe; an object is for one thread at a time.
/// Standards:     CEA-608-E, CEA-708-E, SMPTE ST 334-2, SMPTE ST 291-1, EBU Tech 3264, SubRip, Scenarist SCC,
///                MacCaption MCC.
class ZQRCaptionChecker final {
public:
    static constexpr std::size_t maximumRemarks = 200;
    /// Larger files are checked up to here, which is remarked.
    static constexpr std::uintmax_t maximumFileBytes = std::uintmax_t{64} << 20;

    struct Options {
        /// The frame rate that SubRip times are played at, and that of a stream's timecodes. SCC, MCC and STL
        /// files tell their own.
        ZQCKTimebase timebase = ZQCKTimebase::timebaseForFramerate(3);
        std::int32_t channel = 1;        ///< the CEA-608 channel for SubRip files, 1 to 4
        std::int32_t columns = 32;       ///< characters of a row that SubRip lines are wrapped to
        std::int32_t rows = 4;           ///< rows that a SubRip block may take
        bool allowWestEuropean = false;  ///< SubRip files may use the West European sets of CEA-608
        /// SubRip files are meant for OP-47 teletext, which has other characters than CEA-608 and sends a
        /// block within one frame.
        bool teletext = false;
        std::uint32_t teletextCharacterSet = 0;  ///< as in ZQRVANCTeletextPacket
    };

    struct Report {
        std::string format;  ///< "SCC", "MCC", "SubRip", "EBU STL", "stream" or "unknown"
        bool readable =
            false;  ///< whether its sidecar would accept the file; for a stream, captions were met
        std::int64_t lines = 0;  ///< of the text file
        std::int64_t blocks =
            0;  ///< timecoded lines (SCC, MCC), subtitles (SubRip), text blocks (STL), frames
        std::int64_t pairs = 0;             ///< CEA-608 byte pairs
        std::int64_t packets = 0;           ///< ancillary packets
        std::int64_t badParityBytes = 0;    ///< bytes of these pairs without odd parity
        std::int64_t badWords = 0;          ///< words of an SCC file that are no four hexadecimal digits
        bool dropFrame = false;             ///< the timecodes are drop-frame
        std::optional<ZQCKTimecode> first;  ///< timecode of the first line, block or frame with captions
        std::optional<ZQCKTimecode> last;   ///< and of the last
        ZQRCaptionRemarkList remarks;       ///< in the order in which they were found
    };

    /// Checks an SCC, MCC, SubRip or EBU STL file; told apart by content first, by extension second. A file
    /// that cannot be opened or told gives one remark and readable false.
    static Report checkFile(const std::filesystem::path& path, const Options& options);
    static Report checkFile(const std::filesystem::path& path) { return checkFile(path, Options()); }
    /// The same for bytes in memory.
    /// @param extension  ".scc" and so on, for content that does not tell; may be empty.
    static Report checkData(std::span<const std::uint8_t> bytes, std::string_view extension,
                            const Options& options);

    explicit ZQRCaptionChecker(const Options& options);
    ZQRCaptionChecker() : ZQRCaptionChecker(Options()) {}
    ~ZQRCaptionChecker();
    ZQRCaptionChecker(const ZQRCaptionChecker&) = delete;
    ZQRCaptionChecker& operator=(const ZQRCaptionChecker&) = delete;

    /// Takes the packets of one frame; others than captions are passed over.
    void addVancPackets(const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode);
    /// @param timecode  the first frame behind the stream, where captions on the screen end.
    /// @return everything found; the object is then done with.
    Report finish(const ZQCKTimecode& timecode);

private:
    std::unique_ptr<detail::StreamCheck> stream_;
};

}  // namespace zenquor
