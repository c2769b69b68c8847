#pragma once
// An MXF file that the command reads.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>

#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/core/ZQData.h"
#include "zenquor/core/ZQError.h"
#include "zenquor/mxf/Demux.h"

namespace zenquor::tools {

/// Whether @p path holds or names an MXF file: a partition pack in its first 64 KiB, or the extension.
bool isMXF(const std::filesystem::path& path);

/// The demuxer with what the subcommands ask of it.
class MXFFile {
public:
    /// @return null with an error, a sentence for a person, when the file cannot be read as MXF.
    static std::unique_ptr<MXFFile> open(const std::filesystem::path& path, ZQErrorPtr* error);

    const mxf::FileInfo& info() const { return info_; }
    const mxf::FileReport& report() const { return *mxfDemuxGetReport(demuxer_.get()); }
    /// Of the timecode, or the nearest to the edit rate.
    ZQCKTimebase timebase() const;
    /// Nothing where the file has no timecode.
    std::optional<ZQCKTimecode> timecodeOf(std::int64_t frame) const;
    /// The timecode, or where there is none the frame counted from midnight.
    ZQCKTimecode timeOf(std::int64_t frame) const;
    double seconds() const;

    /// What is known of a packet of the ancillary data; whether to go on.
    using PacketVisit = std::function<bool(std::int64_t frame, std::int32_t line, std::uint8_t did,
                                           std::uint8_t sdid, const ZQData& data)>;
    /// Hands over the packets stream by stream, each frame by frame, until @p visit returns false.
    void forEachPacket(const PacketVisit& visit) const;

private:
    using SampleVisit = std::function<bool(std::int64_t frame, std::span<const std::uint8_t> sample)>;

    void forEachSample(std::int32_t stream, const SampleVisit& visit) const;

    struct Free {
        void operator()(mxf::Demuxer* demuxer) const { mxfDemuxFree(demuxer); }
    };

    std::unique_ptr<mxf::Demuxer, Free> demuxer_;
    mxf::FileInfo info_;
};

}  // namespace zenquor::tools
