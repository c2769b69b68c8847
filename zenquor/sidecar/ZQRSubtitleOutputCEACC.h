#pragma once
// Subtitles as CEA-608 pop-on captions.

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "zenquor/sidecar/ZQRSubtitleOutput.h"
#include "zenquor/vanc/ZQRVANCCEA608Packet.h"

namespace zenquor {

class ZQRSubtitleSidecar;

/// Turns blocks into pop-on captions, one byte pair per frame in one caption distribution packet on line 9.
///
/// Loading is queued when a block is prepared, the flip when it is shown, the erasure when it is hidden. A
/// frame with nothing queued carries "Erase Displayed Memory", or a null pair when it is a first frame: a
/// host that wants captions to stay up prepares the sidecar before every frame.
///
/// Thread-safety: Confined to the sidecar that made it.
/// Ownership:     refers to the sidecar weakly.
/// Standards:     CEA-608-E (pop-on captions, 15 rows of 32 columns), SMPTE ST 334-2.
class ZQRSubtitleOutputCEACC final : public ZQRSubtitleOutput {
public:
    static constexpr std::int32_t columns = 32;
    static constexpr std::int32_t rows = 15;

    /// Takes the caption channel and the West European permission from the sidecar's properties.
    static std::shared_ptr<ZQRSubtitleOutputCEACC> initWithSidecar(
        const std::shared_ptr<ZQRSubtitleSidecar>& sidecar);

    std::int32_t maximumVerticalPosition() const override { return rows; }
    void beginFrameAtTimecode(const ZQCKTimecode&) override {}
    void prepareBlock(const ZQRSubtitleBlock& block) override;
    void showBlock(const ZQRSubtitleBlock& block) override;
    void hideBlock(const ZQRSubtitleBlock& block) override;
    ZQRVANCPacketList finishFrame(bool firstFrame) override;

private:
    ZQRSubtitleOutputCEACC() = default;

    void queue(const std::vector<ZQRVANCCEA608Packet>& packets);
    void queueLine(const ZQRSubtitleLine& line, std::int32_t justification, std::int32_t row);
    ZQRVANCCEA608Packet nextPacket(bool firstFrame);
    std::uint32_t channel() const { return static_cast<std::uint32_t>(channel_); }

    std::int32_t channel_ = 0;
    bool allowSpecialWestEuropeanCharacters_ = false;
    std::uint16_t sequenceNumber_ = 0;
    std::weak_ptr<ZQRSubtitleSidecar> sidecar_;
    std::deque<ZQRVANCCEA608Packet> pendingPackets_;
};

}  // namespace zenquor
