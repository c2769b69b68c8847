#pragma once
// MacCaption files.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "zenquor/core/ZQCKTimebase.h"
#include "zenquor/core/ZQValue.h"
#include "zenquor/sidecar/ZQRSidecar.h"
#include "zenquor/sidecar/ZQRSidecarCaption.h"
#include "zenquor/sidecar/ZQRSidecarInputFile.h"
#include "zenquor/sidecar/ZQRSidecarOutputFile.h"

namespace zenquor {

/// Reads and plays, or writes, MCC files: one ancillary data packet per line, each with its timecode.
///
/// The first line that does not decode ends playback; from then on frames are empty. Of several lines with
/// the same timecode only the first is played.
///
/// Lifecycle:     as ZQRSidecar. A host may also walk a file itself: after opening, currentCaption() is the
///                first line, and decodeCaptionForLine() decodes what inputFile()->readLine() gives.
/// Thread-safety: One thread at a time.
/// Standards:     MacCaption MCC V1.0 and V2.0 (read; V2.0 is written), SMPTE ST 291-1 packets of 8-bit
///                words, SMPTE ST 334-2 caption distribution packets.
class ZQRMCCSidecar : public ZQRSidecar {
public:
    /// Opens a file and reads up to its first caption. valid() is false when there is no such file, when it
    /// does not start with a known "File Format", names an unknown "Time Code Rate" or holds no caption.
    static std::shared_ptr<ZQRMCCSidecar> initForReadingWithURL(const std::filesystem::path& url);
    /// Creates or empties a file and writes its header; valid() says whether that worked.
    /// @param timebase    named by the header; the timecodes of addVancPackets() should be of it.
    /// @param properties  header entries, texts by name. "UUID" is made up when absent; the time code rate and
    /// the time of creation are always added.
    static std::shared_ptr<ZQRMCCSidecar> initForWritingWithURL(const std::filesystem::path& url,
                                                                ZQCKTimebase timebase,
                                                                ZQDictionary properties = {});

    /// Reads lines up to and including the first caption. @return whether there is one and the header is good.
    virtual bool readHeader();
    /// @return whether everything was written.
    virtual bool writeHeader();
    /// The "Time Code Rate" of the timebase. 23.98 has none: that is logged and gives "30DF".
    std::string timebaseFormatString() const;
    /// The caption of a line of text, or null when it is none. Changes nothing.
    virtual ZQRSidecarCaptionPtr decodeCaptionForLine(std::string_view text) const;

    /// Exactly one caption packet: the one of the line at @p timecode, else an empty one. Timecodes are
    /// compared by their frames since midnight, each in its own timebase.
    ZQRVANCPacketList vancPacketsAtTimecode(const ZQCKTimecode& timecode) override;
    /// Writes one line per caption packet, under the timecode's own label; a packet of pairs is a CDP from then
    /// on. Failures are logged and lose the line.
    void addVancPackets(const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode) override;
    /// Writes a line that is still being collected; MCC lines never wait.
    virtual void flushLine() {}
    /// Does nothing: playback goes by timecode alone.
    void prepareToReadFromFrame(std::int32_t) override {}
    /// Flushes, closes the files and lets go of them.
    void close() override;

    bool valid() const override { return valid_; }
    std::int32_t timecodeType() const override { return 1; }
    /// Of a file that is read: 1 or 2 as its "File Format" says; otherwise 0.
    std::int32_t version() const { return version_; }
    /// The header's entries, as read or as written.
    const ZQDictionary& properties() const { return properties_; }
    /// The file's frame rate; 29.97 drop-frame unless the header says otherwise.
    ZQCKTimebase timebase() const { return timebase_; }
    void setTimebase(ZQCKTimebase timebase) { timebase_ = timebase; }
    /// Null unless reading, null unless writing.
    const ZQRSidecarInputFilePtr& inputFile() const { return inputFile_; }
    const ZQRSidecarOutputFilePtr& outputFile() const { return outputFile_; }
    /// The line that is played or written at the moment; null when playback has ended at a bad line.
    const ZQRSidecarCaptionPtr& currentCaption() const { return currentCaption_; }
    void setCurrentCaption(ZQRSidecarCaptionPtr caption) { currentCaption_ = std::move(caption); }
    /// The line end that is written; empty while reading.
    std::string_view newline() const { return newline_; }

protected:
    ZQRMCCSidecar() = default;

    void openForReading(const std::filesystem::path& url);
    void openForWriting(const std::filesystem::path& url, ZQCKTimebase timebase, ZQDictionary properties);
    /// Makes the next line the current caption. @return false, the caption unchanged, at the end of the file;
    /// false, without a current caption, at a line that does not decode.
    bool readCaption();
    bool writeLine(std::string_view text, int newlines);

private:
    bool readEntry(std::string_view line);
    bool readFileFormat();
    bool writeEntries();
    ZQRVANCPacketPtr packetOfCurrentCaption() const;

    std::int32_t version_ = 0;
    ZQDictionary properties_;
    bool valid_ = false;
    ZQCKTimebase timebase_;
    ZQRSidecarInputFilePtr inputFile_;
    ZQRSidecarOutputFilePtr outputFile_;
    ZQRSidecarCaptionPtr currentCaption_;
    std::string_view newline_;
};

using ZQRMCCSidecarPtr = std::shared_ptr<ZQRMCCSidecar>;

}  // namespace zenquor
