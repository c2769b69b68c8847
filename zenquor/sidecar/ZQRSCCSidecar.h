#pragma once
// Scenarist caption files.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string_view>

#include "zenquor/sidecar/ZQRMCCSidecar.h"

namespace zenquor {

/// Reads and plays, or writes, SCC files: lines of CEA-608 byte pairs of field 1, one pair a frame from the
/// line's timecode on.
///
/// The first line that does not decode ends playback. Writing collects pairs into lines: a mode command, text
/// behind a carriage return, another channel, or a pause after the end of a caption starts a new one. Null
/// pairs are not stored, so what follows a single one inside a line moves one frame ahead.
///
/// Lifecycle:     as ZQRMCCSidecar; the line that is being collected is written by close().
/// Thread-safety: One thread at a time.
/// Standards:     Scenarist SCC V1.0 (de facto), 29.97 frames per second drop-frame when read; CEA-608-E.
class ZQRSCCSidecar final : public ZQRMCCSidecar {
public:
    /// Opens a file and reads up to its first caption. valid() is false when there is no such file, when its
    /// first line is not "Scenarist_SCC V1.0" or when it holds no caption.
    static std::shared_ptr<ZQRSCCSidecar> initForReadingWithURL(const std::filesystem::path& url);
    /// Creates or empties a file and writes its header; valid() says whether that worked.
    /// @param timebase    lines get the label of their first pair's frame in it.
    /// @param properties  kept; SCC files have no entries.
    static std::shared_ptr<ZQRSCCSidecar> initForWritingWithURL(const std::filesystem::path& url,
                                                                ZQCKTimebase timebase,
                                                                ZQDictionary properties = {});

    bool readHeader() override;
    bool writeHeader() override;
    /// The caption of a line of text with its end timecode, which wraps at midnight; null when it is none.
    ZQRSidecarCaptionPtr decodeCaptionForLine(std::string_view text) const override;
    /// Exactly one caption packet of type 0: the pair of this frame, else a null pair.
    ZQRVANCPacketList vancPacketsAtTimecode(const ZQCKTimecode& timecode) override;
    /// Collects the field 1 pair of each caption packet.
    void addVancPackets(const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode) override;
    /// Writes the line collected so far, if any, and starts a new one. A failure is logged and loses the line.
    void flushLine() override;

    /// Whether a first byte, parity removed, is the prefix of miscellaneous control codes of a channel.
    static bool isChannelPacket(std::uint8_t hi);
    /// Whether a pair, parity removed, is a mode command or extended data.
    static bool isChannelPacket(std::uint8_t hi, std::uint8_t lo);

private:
    ZQRSCCSidecar() = default;

    void collect(std::span<const std::uint8_t> pair, const ZQCKTimecode& timecode);
    void collectEmptyPair();
    void collectPair(std::span<const std::uint8_t> pair, bool isCarriageReturn, const ZQCKTimecode& timecode);
    void startModeCommand(std::uint8_t hi);
    bool hasData() const { return currentCaption() && !currentCaption()->data().empty(); }

    std::int32_t channel_ = 0;
    std::int32_t emptyPackets_ = 0;
    bool crFlag_ = false;
    bool eolFlag_ = false;
};

using ZQRSCCSidecarPtr = std::shared_ptr<ZQRSCCSidecar>;

}  // namespace zenquor
