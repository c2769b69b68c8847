#include "zenquor/mxf/detail/DemuxFile.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include <fmt/core.h>

#include "zenquor/mxf/detail/FileReportBuilder.h"
#include "zenquor/mxf/detail/ItemKeys.h"

namespace zenquor::mxf::detail {
namespace {

constexpr std::uint64_t longestMetadata = 64u << 20;
constexpr std::size_t largestCopyCount = 16;  // of header metadata that are tried
constexpr std::size_t largestKeyCount = 64;
constexpr std::int64_t largestCheckCount = 4096;
constexpr std::int64_t clockRate = 27'000'000;

bool isIntra(const IndexEntry& entry) {
    return (entry.flags & (IndexEntry::forwardPrediction | IndexEntry::backwardPrediction)) == 0 &&
           (entry.flags & 3) == 0;
}

/// Closed copies before open ones, later before earlier ones.
std::vector<const Partition*> copiesOfMetadata(const std::vector<Partition>& partitions) {
    std::vector<const Partition*> copies;
    for (auto partition = partitions.rbegin(); partition != partitions.rend(); ++partition) {
        if (partition->hasMetadata()) copies.push_back(&*partition);
    }
    std::stable_sort(copies.begin(), copies.end(), [](const Partition* a, const Partition* b) {
        return a->pack.isClosed() && !b->pack.isClosed();
    });
    if (copies.size() > largestCopyCount) copies.resize(largestCopyCount);
    return copies;
}

}  // namespace

std::unique_ptr<DemuxFile> DemuxFile::open(const char* utf8Path, const FileFunctions& functions,
                                           ZQRMXFLoggerPtr logger, std::int32_t& status) {
    std::unique_ptr<DemuxFile> result(new DemuxFile(functions, std::move(logger)));
    status = StatusCannotOpen;
    if (!result->file_.open(utf8Path)) return nullptr;
    const bool hasHeader = result->partitions_.open();
    status = result->file_.hasFailed() ? StatusReadFailed : StatusNotMXF;
    if (!hasHeader) return nullptr;
    result->look();
    status = StatusOK;
    return result;
}

std::int32_t DemuxFile::refresh() {
    file_.update();
    if (file_.hasFailed()) return StatusReadFailed;
    look();
    return StatusOK;
}

void DemuxFile::look() {
    partitions_.update();
    readMetadata();
    listStreams();
    updateBodies();
    if (streams_.empty()) listStreamsOfKeys();
    findElements();
    updateClips();
    report_ = {};
}

std::optional<HeaderMetadata> DemuxFile::readCopy(const Partition& partition,
                                                  std::vector<std::string>& faults) {
    const std::uint64_t count = partition.metadataEnd - partition.metadataStart;
    if (count > longestMetadata) return std::nullopt;
    return HeaderMetadata::read(file_.bytes(partition.metadataStart, count), faults);
}

/// The last complete copy wins; where none is complete, the one that tells of most. A header that is read while somebody
/// writes it again is in pieces: what was known before still holds then.
void DemuxFile::readMetadata() {
    std::optional<HeaderMetadata> best;
    std::vector<std::string> bestFaults, incomplete;
    bool isWhole = false;
    for (const Partition* copy : copiesOfMetadata(partitions_.partitions())) {
        std::vector<std::string> faults;
        auto metadata = readCopy(*copy, faults);
        if (!metadata) continue;
        const bool isComplete = metadata->first(SetKind::Preface) && !streamsOf(*metadata).empty();
        if (!isComplete) {
            incomplete.push_back(
                fmt::format("The header metadata at byte {} are not complete.", copy->metadataStart));
        }
        if (isComplete || !best || metadata->sets().size() > best->sets().size()) {
            best = std::move(metadata);
            bestFaults = std::move(faults);
        }
        isWhole = isComplete;
        if (isComplete) break;
    }
    if (!isWhole && hasWholeMetadata_ && !partitions_.hasFooter()) return;
    hasWholeMetadata_ = isWhole;
    for (std::string& fault : incomplete) faults_.tell(std::move(fault));
    for (std::string& fault : bestFaults) faults_.tell(std::move(fault));
    if (!best) faults_.tell("The file has no header metadata that can be read.");
    metadata_ = best ? *std::move(best) : HeaderMetadata{};
}

void DemuxFile::listStreams() {
    const auto bodySIDs = partitions_.bodySIDs();
    streams_.clear();
    for (StreamEntry& entry : streamsOf(metadata_)) {
        if (entry.bodySID == 0 && !bodySIDs.empty()) entry.bodySID = bodySIDs.front();
        Stream& stream = streams_.emplace_back();
        stream.entry = std::move(entry);
        stream.elementNumber = stream.entry.report.trackNumber;
    }
}

DemuxFile::Body& DemuxFile::bodyOf(std::uint32_t bodySID) {
    const auto known = std::find_if(bodies_.begin(), bodies_.end(),
                                    [&](const auto& body) { return body->bodySID == bodySID; });
    if (known != bodies_.end()) return **known;
    return *bodies_.emplace_back(new Body{bodySID, EditUnitMap(file_, faults_), {}});
}

std::vector<UL> DemuxFile::firstKeys(const std::vector<EssenceExtent>& extents) {
    std::vector<UL> keys;
    ElementWalk walk(file_, faults_, extents, extents.front().start);
    for (std::size_t i = 0; i < largestKeyCount; ++i) {
        const auto element = walk.next();
        if (!element) break;
        if (std::find(keys.begin(), keys.end(), element->key) == keys.end()) keys.push_back(element->key);
    }
    return keys;
}

/// In OP-Atom some makers label clips as frames, and some store frames: the second element of a partition decides.
void DemuxFile::unwrapFrames(Stream& stream, const std::vector<EssenceExtent>& extents) {
    if (!stream.entry.mayBeFrames) return;
    const std::vector<EssenceExtent> first{extents.front()};
    ElementWalk walk(file_, faults_, first, first.front().start);
    int count = 0;
    while (const auto element = walk.next()) {
        if (isElementKey(element->key) && trackNumberOf(element->key) == stream.elementNumber) ++count;
        if (count < 2) continue;
        stream.entry.isClip = false;
        stream.entry.report.wrapping = "frame";
        stream.entry.report.format.isFrameWrapped = true;
        return;
    }
}

/// Frame-wrapped essence is divided into edit units; clips are looked at stream by stream.
void DemuxFile::updateBodies() {
    const auto bodySIDs = partitions_.bodySIDs();
    // What is gone from the file must not be asked: its index is gone too.
    std::erase_if(bodies_, [&](const auto& body) {
        return std::find(bodySIDs.begin(), bodySIDs.end(), body->bodySID) == bodySIDs.end();
    });
    for (const std::uint32_t bodySID : bodySIDs) {
        Body& body = bodyOf(bodySID);
        const auto extents = partitions_.extentsOf(bodySID);
        bool isOfClips = false, isOfFrames = streams_.empty();
        std::vector<std::uint32_t> expected;
        for (Stream& stream : streams_) {
            if (stream.entry.bodySID != bodySID) continue;
            stream.body = &body;
            unwrapFrames(stream, extents);
            (stream.entry.isClip ? isOfClips : isOfFrames) = true;
            if (stream.elementNumber != 0) expected.push_back(stream.elementNumber);
        }
        if (isOfFrames && !isOfClips) {
            body.units.update(extents, partitions_.indexOf(bodySID), expected);
            checkKeyFrames(body);
            body.keys = body.units.keys();
        } else {
            body.units.update({}, {}, {});  // what it knew was of the file as it was before
            body.keys = firstKeys(extents);
        }
    }
}

/// Without metadata, the elements themselves tell what streams there are.
void DemuxFile::listStreamsOfKeys() {
    for (const auto& body : bodies_) {
        for (const UL& key : body->keys) {
            if (!isElementKey(key) || streamKindOfItemType(key[12]) == 0) continue;
            Stream& stream = streams_.emplace_back();
            stream.entry = streamOfKey(key, body->bodySID, body->units.table().editRate());
            stream.entry.isClip = false;
            stream.elementNumber = stream.entry.report.trackNumber;
            stream.body = body.get();
        }
    }
    std::stable_sort(streams_.begin(), streams_.end(), [](const Stream& a, const Stream& b) {
        return a.entry.report.format.streamKind < b.entry.report.format.streamKind;
    });
}

/// A track that names elements which are not there gets those of its kind that no track names.
void DemuxFile::findElements() {
    const auto isNamed = [this](const Body& body, std::uint32_t number) {
        return std::any_of(streams_.begin(), streams_.end(), [&](const Stream& stream) {
            return stream.body == &body && stream.elementNumber == number;
        });
    };
    for (Stream& stream : streams_) {
        if (!stream.body) continue;
        const auto& keys = stream.body->keys;
        const auto isThere = [&](std::uint32_t number) {
            return std::any_of(keys.begin(), keys.end(),
                               [&](const UL& key) { return trackNumberOf(key) == number; });
        };
        if (isThere(stream.elementNumber)) continue;
        const auto spare = std::find_if(keys.begin(), keys.end(), [&](const UL& key) {
            return isElementKey(key) &&
                   streamKindOfItemType(key[12]) == stream.entry.report.format.streamKind &&
                   !isNamed(*stream.body, trackNumberOf(key));
        });
        if (spare == keys.end()) continue;
        faults_.tell(fmt::format(
            "Track {} says that its elements have the number {:08x}, but there are none; {:08x} is "
            "taken for it.",
            stream.entry.report.trackID, stream.elementNumber, trackNumberOf(*spare)));
        stream.elementNumber = trackNumberOf(*spare);
    }
}

void DemuxFile::updateClips() {
    for (Stream& stream : streams_) {
        if (!stream.entry.isClip || !stream.body) continue;
        const std::uint32_t bodySID = stream.body->bodySID;
        stream.clip = std::make_unique<ClipMap>(file_, faults_);
        stream.clip->update(partitions_.extentsOf(bodySID), stream.elementNumber,
                            partitions_.indexOf(bodySID), stream.entry.sound);
        if (stream.clip->isFound() && stream.clip->count() == 0) {
            faults_.tell(
                fmt::format("Track {} is one clip without an index; its edit units cannot be told apart.",
                            stream.entry.report.trackID));
        }
    }
}

void DemuxFile::checkKeyFrames(const Body& body) {
    const std::int64_t count = std::min(body.units.count(), largestCheckCount);
    for (std::int64_t unit = 0; unit < count; ++unit) {
        const IndexEntry* entry = body.units.entryOf(unit);
        if (!entry || entry->keyFrameOffset <= 0) continue;
        faults_.tell(fmt::format(
            "The index says that decoding edit unit {} starts at a later one; key frames are found "
            "by their type instead.",
            unit));
        return;
    }
}

bool DemuxFile::canRead(std::int32_t stream) const {
    const Stream& s = at(stream);
    if (s.elementNumber == 0) return false;
    // What is not there yet may come while the file grows.
    if (!s.body) return !partitions_.hasFooter();
    return !s.clip || s.clip->count() > 0 || !partitions_.hasFooter();
}

std::int64_t DemuxFile::countOf(const Stream& stream) const {
    if (!stream.body) return 0;
    return stream.clip ? stream.clip->count() : stream.body->units.count();
}

std::int64_t DemuxFile::unitCount(std::int32_t stream) const {
    return countOf(at(stream));
}

std::optional<std::vector<FileRange>> DemuxFile::sampleAt(std::int32_t stream, std::int64_t unit) {
    const Stream& s = at(stream);
    if (!s.body) return std::nullopt;
    std::vector<FileRange> ranges;
    if (s.clip) {
        ranges = s.clip->rangesOf(unit);
    } else {
        for (const Element& element : s.body->units.elementsOf(unit)) {
            if (isElementKey(element.key) && trackNumberOf(element.key) == s.elementNumber)
                ranges.push_back({element.valuePosition, element.length});
        }
    }
    if (ranges.empty()) return std::nullopt;
    return ranges;
}

const IndexEntry* DemuxFile::entryOf(const Stream& stream, std::int64_t unit) const {
    if (!stream.body) return nullptr;
    return stream.clip ? stream.clip->entryOf(unit) : stream.body->units.entryOf(unit);
}

Rational DemuxFile::rateOf(const Stream& stream) const {
    const Rational rate = stream.entry.report.editRate;
    if (rate.numerator > 0 && rate.denominator > 0) return rate;
    if (!stream.body) return {};
    return stream.clip ? stream.clip->table().editRate() : stream.body->units.table().editRate();
}

std::int64_t DemuxFile::timeOf(std::int32_t stream, std::int64_t unit) const {
    const Rational rate = rateOf(at(stream));
    if (rate.numerator <= 0 || rate.denominator <= 0) return 0;
    const std::int64_t common =
        std::gcd(static_cast<std::int64_t>(rate.numerator), clockRate * rate.denominator);
    const std::int64_t ticks = clockRate * rate.denominator / common;  // in so many units
    const std::int64_t units = rate.numerator / common;
    std::int64_t whole = 0, rest = 0, time = 0;
    if (__builtin_mul_overflow(unit / units, ticks, &whole) ||
        __builtin_mul_overflow(unit % units, ticks, &rest) ||
        __builtin_add_overflow(whole, rest / units, &time))
        return 0;
    return time;
}

std::uint64_t DemuxFile::flagsOf(std::int32_t stream, std::int64_t unit) const {
    const Stream& s = at(stream);
    const IndexEntry* entry = entryOf(s, unit);
    if (!entry || s.entry.report.format.streamKind != streamKindVideo) return 0;
    const bool isBackward = (entry->flags & IndexEntry::backwardPrediction) != 0;
    const bool isForward = (entry->flags & IndexEntry::forwardPrediction) != 0;
    switch (entry->flags & 3) {
        case 2:
            return sampleFlagPredicted;
        case 3:
            return sampleFlagBidirectional;
        default:
            break;
    }
    return isBackward ? sampleFlagBidirectional : isForward ? sampleFlagPredicted : sampleFlagIntra;
}

std::int64_t DemuxFile::keyUnitOf(std::int32_t stream, std::int64_t frame) const {
    const Stream& s = at(stream);
    const IndexEntry* entry = entryOf(s, frame);
    if (!entry) return frame;
    const std::int64_t stored = std::clamp<std::int64_t>(frame + entry->temporalOffset, 0, countOf(s) - 1);
    entry = entryOf(s, stored);
    if (!entry) return stored;
    const bool isTold = entry->keyFrameOffset <= 0 && (entry->flags & IndexEntry::offsetOverflow) == 0;
    if (isTold) return std::max<std::int64_t>(stored + entry->keyFrameOffset, 0);
    std::int64_t key = stored;
    while (key > 0 && entryOf(s, key) && !isIntra(*entryOf(s, key))) --key;
    return key;
}

FileInfo DemuxFile::info() const {
    FileInfo info;
    info.streamCount = streamCount();
    const Partition& header = partitions_.partitions().front();
    info.isGrowing = !partitions_.hasFooter() && !header.pack.isClosed();
    if (!streams_.empty()) {
        const Stream& first = streams_.front();
        const Rational rate = rateOf(first);
        info.editRate = perSecond(rate);
        info.editRateNumerator = static_cast<std::uint32_t>(std::max(rate.numerator, 0));
        info.editRateDenominator = static_cast<std::uint32_t>(std::max(rate.denominator, 0));
        info.duration = countOf(first);
    }
    const auto timecodes = timecodesOf(metadata_);
    if (!timecodes.empty()) {
        info.hasTimecode = true;
        info.startTimecodeFrames = timecodes.front().startFrames;
        info.timecodeBase = timecodes.front().base;
        info.dropFrame = timecodes.front().dropFrame;
    }
    return info;
}

/// Built once, so that it stays where it is; reading may have added faults.
const FileReport& DemuxFile::report() {
    if (report_.partitions.empty()) describe();
    if (faultCount_ != faults_.sentences().size()) listFaults();
    return report_;
}

void DemuxFile::describe() {
    describeFile(report_, file_, partitions_, metadata_);
    for (const Stream& stream : streams_) report_.streams.push_back(stream.entry.report);
    report_.editUnits = info().duration;
    if (!streams_.empty() && streams_.front().body) {
        const Stream& stream = streams_.front();
        const IndexTable& table = stream.clip ? stream.clip->table() : stream.body->units.table();
        report_.index.segments = static_cast<std::int64_t>(partitions_.indexOf(stream.body->bodySID).size());
        report_.index.editUnits = table.coveredCount();
        report_.index.editUnitBytes = table.constantBytes();
        report_.index.isUsed = !table.isEmpty();
    }
    listFaults();
}

/// What was met, and what is missing at the end; in a file that grows nothing is.
void DemuxFile::listFaults() {
    faultCount_ = faults_.sentences().size();
    report_.faults = faults_.sentences();
    if (info().isGrowing) return;
    const Stream* const first = streams_.empty() || !streams_.front().body ? nullptr : &streams_.front();
    if (first && first->body->units.brokenUnitAt()) {
        report_.faults.push_back(
            fmt::format("The file ends in the middle of edit unit {}, which begins at byte {}.",
                        first->body->units.count(), *first->body->units.brokenUnitAt()));
    }
    describeLostEnd(report_.faults, file_, partitions_);
    if (first && first->entry.report.duration > report_.editUnits) {
        report_.faults.push_back(fmt::format("The metadata tell of {} edit units, but only {} can be read.",
                                             first->entry.report.duration, report_.editUnits));
    }
}

}  // namespace zenquor::mxf::detail
