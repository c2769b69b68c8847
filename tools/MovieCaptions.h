#pragma once
// The caption track of a movie, played like a caption file.

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "zenquor/core/FourCC.h"
#include "zenquor/core/ZQError.h"
#include "zenquor/sidecar/ZQRSidecar.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"

namespace zenquor::tools {

/// Answers each frame's timecode with the caption packet that the movie holds for it, or an empty one. Timecodes
/// are counted on from the first, whatever the track does later; a movie without timecode starts at midnight.
class MovieCaptions final : public ZQRSidecar {
public:
    /// @param preferred  the kind of track to read where there are both, 'c608' or 'c708'.
    /// @return null with an error when the movie cannot be read or holds no captions.
    static std::shared_ptr<MovieCaptions> open(const std::filesystem::path& path, FourCC preferred,
                                               ZQErrorPtr* error);

    ZQCKTimebase timebase() const { return timebase_; }
    ZQCKTimecode first() const { return first_; }
    /// From the first packet to the last.
    std::int64_t frames() const { return packets_.back().frame + 1; }
    /// Sentences about what is not played as it stands in the movie.
    std::vector<std::string> notes() const;

    ZQRVANCPacketList vancPacketsAtTimecode(const ZQCKTimecode& timecode) override;
    void addVancPackets(const ZQRVANCPacketList&, const ZQCKTimecode&) override {}
    void prepareToReadFromFrame(std::int32_t) override {}
    void close() override {}
    bool valid() const override { return !packets_.empty(); }
    std::int32_t timecodeType() const override { return 1; }

private:
    struct Entry {
        std::int64_t frame;  // from the first
        std::shared_ptr<ZQRVANCClosedCaptionPacket> packet;
    };

    ZQCKTimebase timebase_;
    ZQCKTimecode first_;
    bool jumps_ = false;
    std::uint64_t unreadable_ = 0;
    std::vector<Entry> packets_;
    std::size_t next_ = 0;
};

}  // namespace zenquor::tools
