#pragma once
// One open file of the demuxer: everything that is known of it, and where each stream's samples lie.

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "zenquor/mxf/Demux.h"
#include "zenquor/mxf/detail/ClipMap.h"
#include "zenquor/mxf/detail/EditUnitMap.h"
#include "zenquor/mxf/detail/FaultList.h"
#include "zenquor/mxf/detail/FileView.h"
#include "zenquor/mxf/detail/HeaderMetadata.h"
#include "zenquor/mxf/detail/PartitionMap.h"
#include "zenquor/mxf/detail/StreamTable.h"

namespace zenquor::mxf::detail {

/// A file that is read.
///
/// Lifecycle:     open(), then ask; refresh() looks at what has been appended.
/// Thread-safety: One thread at a time.
class DemuxFile {
public:
    /// @param status  why the result is null.
    static std::unique_ptr<DemuxFile> open(const char* utf8Path, const FileFunctions& functions,
                                           ZQRMXFLoggerPtr logger, std::int32_t& status);
    /// @return StatusReadFailed when the file cannot be read any more.
    std::int32_t refresh();

    const FileReport& report();
    FileInfo info() const;
    std::int32_t streamCount() const { return static_cast<std::int32_t>(streams_.size()); }
    const StreamFormat& formatOf(std::int32_t stream) const { return at(stream).entry.report.format; }
    /// Whether the elements of a stream are known.
    bool canRead(std::int32_t stream) const;
    /// Edit units of a stream that can be read now.
    std::int64_t unitCount(std::int32_t stream) const;
    /// The bytes of a stream's sample; nothing where the edit unit has no such element, several where it is in pieces.
    std::optional<std::vector<FileRange>> sampleAt(std::int32_t stream, std::int64_t unit);
    /// 27 MHz.
    std::int64_t timeOf(std::int32_t stream, std::int64_t unit) const;
    /// Picture type of a sample record; 0 where the index does not tell it, and of other streams than video.
    std::uint64_t flagsOf(std::int32_t stream, std::int64_t unit) const;
    /// The stored unit that decoding must start at to show a frame.
    std::int64_t keyUnitOf(std::int32_t stream, std::int64_t frame) const;
    FileView& file() { return file_; }

private:
    struct Body {
        std::uint32_t bodySID = 0;
        EditUnitMap units;
        std::vector<UL> keys;
    };
    struct Stream {
        StreamEntry entry;
        std::uint32_t elementNumber = 0;  // last four bytes of its elements' keys; 0 when unknown
        Body* body = nullptr;             // null while its essence is not there
        std::unique_ptr<ClipMap> clip;    // of clip-wrapped streams
    };

    DemuxFile(const FileFunctions& functions, ZQRMXFLoggerPtr logger)
        : file_(functions), faults_(std::move(logger)), partitions_(file_, faults_) {}

    const Stream& at(std::int32_t stream) const { return streams_[static_cast<std::size_t>(stream)]; }
    void look();
    void readMetadata();
    std::optional<HeaderMetadata> readCopy(const Partition& partition, std::vector<std::string>& faults);
    void listStreams();
    void updateBodies();
    void unwrapFrames(Stream& stream, const std::vector<EssenceExtent>& extents);
    Body& bodyOf(std::uint32_t bodySID);
    std::vector<UL> firstKeys(const std::vector<EssenceExtent>& extents);
    void listStreamsOfKeys();
    void findElements();
    void updateClips();
    void checkKeyFrames(const Body& body);
    void describe();
    void listFaults();
    const IndexEntry* entryOf(const Stream& stream, std::int64_t unit) const;
    std::int64_t countOf(const Stream& stream) const;
    Rational rateOf(const Stream& stream) const;

    FileView file_;
    FaultList faults_;
    PartitionMap partitions_;
    HeaderMetadata metadata_;
    bool hasWholeMetadata_ = false;
    std::vector<std::unique_ptr<Body>> bodies_;
    std::vector<Stream> streams_;
    FileReport report_;  // empty until somebody asks
    std::size_t faultCount_ = 0;
};

}  // namespace zenquor::mxf::detail
