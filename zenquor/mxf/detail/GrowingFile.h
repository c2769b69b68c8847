#pragma once
// The layout of a file over time: what is written when, so that it can be read at every moment.

#include <cstdint>

#include "zenquor/mxf/detail/ContentPackage.h"
#include "zenquor/mxf/detail/FileOutput.h"
#include "zenquor/mxf/detail/IndexBuilder.h"
#include "zenquor/mxf/detail/PackageGraph.h"
#include "zenquor/mxf/detail/PartitionChain.h"

namespace zenquor::mxf::detail {

/// Writes the header partition, body partitions that alternate between essence and the index of it, the footer
/// with the whole index and the final metadata, and the random index pack; then makes header and body packs
/// true.
///
/// Lifecycle:     begin(), add() every edit unit in stored order, finish(). After a failure nothing more is written.
/// Thread-safety: One thread at a time.
/// Standards:     SMPTE ST 377-1.
class GrowingFile {
public:
    struct Options {
        std::int64_t partitionUnits =
            0;  // edit units of a body partition at most; 0: one partition holds all
        std::int64_t headerUpdateUnits = 0;  // units between two refreshes of the header; 0: never
        std::uint32_t headerReserveBytes = 0;
        bool closesHeader =
            true;  // false: header and body packs stay open, the footer has the final metadata
    };

    GrowingFile(FileOutput& file, PackageGraph& graph, ContentPackage& package, const Options& options);

    /// The header partition, open and incomplete.
    /// @param hasEssence  false when the file will hold none.
    bool begin(bool hasEssence);
    /// One edit unit, behind the start of a new body partition where one is due.
    bool add(ContentPackage::Values values, const UnitFacts& facts);
    /// Everything that follows the last unit.
    bool finish();

    std::int64_t unitCount() const { return index_.unitCount(); }
    /// The header metadata grew beyond the room kept for them: the header tells what it told before.
    bool hasOutgrownHeader() const { return outgrown_; }

private:
    bool isPartitionDue(const UnitFacts& facts) const;
    bool beginBody();
    bool endBody();
    bool writeFooter();
    bool writeFooterIndex();
    bool closePacks();
    bool rewriteHeader(PartitionPack::State state, std::uint64_t footer);
    ByteSink headerMetadata();
    ByteSink headerIndex(bool isClosed) const;
    ByteSink headerPartition(PartitionPack::State state, std::uint64_t footer);

    FileOutput& file_;
    PackageGraph& graph_;
    ContentPackage& package_;
    Options options_;
    IndexBuilder index_;
    PartitionChain chain_;
    bool hasHeaderIndex_ = false;
    bool outgrown_ = false;
    std::uint64_t metadataRoom_ = 0;  // bytes of primer, sets and fill in the header partition
    std::uint64_t streamBytes_ = 0;   // of the essence stream so far
    std::int64_t unitsInBody_ = 0;
    std::int64_t unitsSinceKeyFrame_ = 0;
    std::int64_t indexed_ = 0;  // entries that stand in index partitions
};

}  // namespace zenquor::mxf::detail
