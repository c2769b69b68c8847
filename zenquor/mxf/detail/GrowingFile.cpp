#include "zenquor/mxf/detail/GrowingFile.h"

#include <utility>

namespace zenquor::mxf::detail {
namespace {

using Kind = PartitionPack::Kind;
using State = PartitionPack::State;

constexpr std::uint32_t grid = ContentPackage::grid;

/// Bytes with the fill up to the next point of the grid.
std::uint64_t filledUp(std::uint64_t bytes) {
    const std::uint64_t beyond = bytes % grid;
    if (beyond == 0) return bytes;
    const std::uint64_t gap = grid - beyond;
    return bytes + gap + (gap < ByteSink::smallestFill ? grid : 0);
}

ByteSink packWithFill(const PartitionPack& pack) {
    ByteSink out;
    pack.write(out);
    out.alignWithFill(grid);
    return out;
}

}  // namespace

GrowingFile::GrowingFile(FileOutput& file, PackageGraph& graph, ContentPackage& package,
                         const Options& options)
    : file_(file),
      graph_(graph),
      package_(package),
      options_(options),
      index_(package.indexLayout()),
      chain_(graph.operationalPattern(), graph.essenceContainers(), grid) {}

bool GrowingFile::begin(bool hasEssence) {
    // Units of one size need no entries: their index stands in front of the essence and holds however long the
    // file grows.
    hasHeaderIndex_ = hasEssence && index_.isConstant();
    graph_.setDuration(-1);
    ByteSink metadata;
    graph_.write(metadata);
    metadataRoom_ = filledUp(metadata.size() + ByteSink::smallestFill + options_.headerReserveBytes);
    PartitionChain::Place header;
    header.kind = Kind::Header;
    header.headerBytes = metadataRoom_;
    header.indexBytes = headerIndex(false).size();
    chain_.add(header);
    return file_.append(headerPartition(State::OpenIncomplete, 0).bytes());
}

bool GrowingFile::add(ContentPackage::Values values, const UnitFacts& facts) {
    // Whatever happens from here on, the partitions before are there to be read.
    if (isPartitionDue(facts) && !(endBody() && beginBody() && file_.settle())) return false;
    if (facts.keyFrameOffset == 0) unitsSinceKeyFrame_ = 0;
    const std::uint64_t start = file_.size();
    if (!package_.write(file_, unitCount(), values)) return false;
    index_.add(streamBytes_, facts, package_.sliceOffsets());
    streamBytes_ += file_.size() - start;
    ++unitsInBody_;
    ++unitsSinceKeyFrame_;
    // From the first picture on there is something to open.
    if (unitCount() == 1 && !file_.settle()) return false;
    if (options_.headerUpdateUnits <= 0 || unitCount() % options_.headerUpdateUnits != 0) return true;
    graph_.close(unitCount());
    return rewriteHeader(State::OpenComplete, 0);
}

bool GrowingFile::isPartitionDue(const UnitFacts& facts) const {
    if (unitCount() == 0) return true;
    if (options_.partitionUnits <= 0) return false;
    if (unitsInBody_ >= 2 * options_.partitionUnits) return true;
    // In front of a key frame all pictures stored before it are settled. It is the time when another group of
    // pictures as long as the last one would go beyond the partition's length.
    return facts.keyFrameOffset == 0 && unitsInBody_ + unitsSinceKeyFrame_ > options_.partitionUnits;
}

bool GrowingFile::beginBody() {
    PartitionChain::Place body;
    body.hasEssence = true;
    body.offset = file_.size();
    body.bodyOffset = streamBytes_;
    chain_.add(body);
    unitsInBody_ = 0;
    return file_.append(packWithFill(chain_.pack(chain_.count() - 1, State::OpenComplete, 0)).bytes());
}

bool GrowingFile::endBody() {
    const std::int64_t settled = index_.settledCount();
    if (index_.isConstant() || indexed_ == settled) return true;
    ByteSink entries;
    index_.putEntries(entries, indexed_, settled);
    entries.alignWithFill(grid);
    indexed_ = settled;
    PartitionChain::Place place;
    place.offset = file_.size();
    place.indexBytes = entries.size();
    chain_.add(place);
    ByteSink out = packWithFill(chain_.pack(chain_.count() - 1, State::OpenComplete, 0));
    out.put(entries.bytes());
    return file_.append(out.bytes());
}

bool GrowingFile::finish() {
    index_.finish();
    graph_.close(unitCount());
    if (!endBody() || !writeFooter()) return false;
    return !options_.closesHeader || closePacks();
}

bool GrowingFile::writeFooter() {
    ByteSink metadata;
    graph_.write(metadata);
    metadata.alignWithFill(grid);
    PartitionChain::Place place;
    place.kind = Kind::Footer;
    place.offset = file_.size();
    place.headerBytes = metadata.size();
    place.indexBytes =
        index_.isConstant() ? headerIndex(true).size() : filledUp(index_.bytesOfEntries(0, unitCount()));
    chain_.add(place);
    ByteSink out = packWithFill(chain_.pack(chain_.count() - 1, State::ClosedComplete, place.offset));
    out.put(metadata.bytes());
    if (!file_.append(out.bytes()) || !writeFooterIndex()) return false;
    ByteSink places;
    chain_.randomIndex().write(places);
    return file_.append(places.bytes());
}

bool GrowingFile::writeFooterIndex() {
    if (index_.isConstant()) {
        const ByteSink all = headerIndex(true);
        return all.size() == 0 || file_.append(all.bytes());
    }
    const std::int64_t most = index_.segmentEntries();
    for (std::int64_t first = 0; first < unitCount(); first += most) {
        const std::int64_t last = std::min(first + most, unitCount());
        ByteSink part;
        index_.putEntries(part, first, last);
        if (last == unitCount())
            part.alignWithFill(grid, part.size() - index_.bytesOfEntries(0, last) % grid);
        if (!file_.append(part.bytes())) return false;
    }
    return true;
}

bool GrowingFile::closePacks() {
    const std::uint64_t footer = chain_[chain_.count() - 1].offset;
    if (!rewriteHeader(State::ClosedComplete, footer)) return false;
    for (std::size_t i = 1; i + 1 < chain_.count(); ++i) {
        ByteSink pack;
        chain_.pack(i, State::ClosedComplete, footer).write(pack);
        if (!file_.overwrite(chain_[i].offset, pack.bytes())) return false;
    }
    return true;
}

bool GrowingFile::rewriteHeader(State state, std::uint64_t footer) {
    const ByteSink partition = headerPartition(state, footer);
    // An outgrown header stays as it is; the footer tells the rest.
    return outgrown_ || file_.overwrite(0, partition.bytes());
}

ByteSink GrowingFile::headerMetadata() {
    ByteSink metadata;
    graph_.write(metadata);
    const std::uint64_t bytes = metadata.size();
    outgrown_ = bytes != metadataRoom_ && bytes + ByteSink::smallestFill > metadataRoom_;
    if (!outgrown_ && bytes != metadataRoom_)
        metadata.putFill(static_cast<std::size_t>(metadataRoom_ - bytes));
    return metadata;
}

ByteSink GrowingFile::headerIndex(bool isClosed) const {
    ByteSink index;
    if (!hasHeaderIndex_) return index;
    index_.putConstant(index, isClosed ? unitCount() : 0);
    index.alignWithFill(grid);
    return index;
}

ByteSink GrowingFile::headerPartition(State state, std::uint64_t footer) {
    ByteSink out = packWithFill(chain_.pack(0, state, footer));
    out.put(headerMetadata().bytes());
    out.put(headerIndex(state == State::ClosedComplete).bytes());
    return out;
}

}  // namespace zenquor::mxf::detail
