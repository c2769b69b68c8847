#pragma once
// SubRip files.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "zenquor/sidecar/ZQRSidecarInputFile.h"
#include "zenquor/sidecar/ZQRSidecarOutputFile.h"
#include "zenquor/sidecar/ZQRSubtitleSidecar.h"

namespace zenquor {

/// Between the two times of a block, as written and as also read.
inline constexpr std::string_view ZQRSRTSidecar_TimecodeSeparator = "  -->  ";
inline constexpr std::string_view ZQRSRTSidecar_TimecodeSeparator2 = " --> ";

/// Reads an SRT file into blocks and plays them, or writes blocks as an SRT file.
///
/// Reading ends at the first malformed block; the blocks before it stay. Two kinds of tags are understood and
/// taken out of the text: <line line="N"> places the block, <font color="C">…</font> colours characters.
///
/// Thread-safety: One thread at a time.
/// Standards:     SubRip text (de facto), UTF-8.
class ZQRSRTSidecar final : public ZQRSubtitleSidecar {
public:
    /// Reads the whole file. When it cannot be opened valid() is false and there is neither a block nor an
    /// output.
    static std::shared_ptr<ZQRSRTSidecar> initForReadingWithURL(const std::filesystem::path& url,
                                                                ZQDictionary properties);
    /// Creates or empties the file; valid() says whether that worked. Times are written as they are.
    static std::shared_ptr<ZQRSRTSidecar> initForWritingWithURL(const std::filesystem::path& url);

    /// The next block; null at the end or at a malformed block, which is logged.
    ZQRSubtitleBlockPtr readBlock();
    /// @return whether the whole block was written; a failure is logged.
    bool writeBlock(const ZQRSubtitleBlock& block);

    void validateBlocks(ZQRSubtitleBlockList& blocks, const ZQDictionary& properties) override;
    void prepareBlocks(const ZQRSubtitleBlockList& blocks, std::int32_t width, std::int32_t height) override;

    /// "HH:MM:SS,mmm".
    static std::string timecodeToString(const ZQCKTimecode& timecode);
    /// Exactly twelve characters of that form, in the sidecar's timebase.
    std::optional<ZQCKTimecode> timecodeFromString(std::string_view text) const;
    /// The value of an attribute of a tag: what stands between the double quotes after the name and "=".
    static std::optional<std::u16string> variableFromString(std::u16string_view tag,
                                                            std::u16string_view name);

    /// Null unless reading, null unless writing.
    const ZQRSidecarInputFilePtr& inputFile() const { return inputFile_; }
    const ZQRSidecarOutputFilePtr& outputFile() const { return outputFile_; }
    ZQCKTimebase timebase() const { return timebase_; }
    std::int32_t justify() const { return justify_; }

private:
    ZQRSRTSidecar() = default;

    void readFile(const std::filesystem::path& url, ZQDictionary properties);
    bool writeLine(std::string_view text, int newlines);

    ZQRSidecarInputFilePtr inputFile_;
    ZQCKTimebase timebase_;
    std::int32_t justify_ = 0;
    ZQRSidecarOutputFilePtr outputFile_;
    std::string_view newline_ = ZQRESidecarFile_CRLF;
};

}  // namespace zenquor
