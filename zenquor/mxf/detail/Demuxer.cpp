#include "zenquor/mxf/detail/Demuxer.h"

#include <algorithm>
#include <span>
#include <utility>

namespace zenquor::mxf {
namespace {

/// Samples go to their sinks in pieces of at most this size, so that a length in the file allocates nothing.
constexpr std::size_t chunkBytes = 256u << 10;

}  // namespace

std::int32_t Demuxer::open(const char* utf8Path, const DemuxParameters& parameters, ZQRMXFLoggerPtr logger) {
    if (file_ || !utf8Path) return StatusBadArgument;
    const FileFunctions& functions = parameters.file ? *parameters.file : FileFunctions::systemReadOnly();
    std::int32_t status = StatusOK;
    file_ = detail::DemuxFile::open(utf8Path, functions, logger, status);
    if (status != StatusOK && logger) {
        const char* why = status == StatusNotMXF       ? "it has no header partition"
                          : status == StatusReadFailed ? "it cannot be read"
                                                       : "it cannot be opened";
        logger->DoLogError("{} is not read as MXF: {}.", utf8Path, why);
    }
    return status;
}

void Demuxer::close() {
    parsers_.clear();
    file_.reset();
}

std::int32_t Demuxer::refresh() {
    if (!file_) return StatusBadArgument;
    try {
        return file_->refresh();
    } catch (...) {
        close();  // what is half looked at must not be asked
        throw;
    }
}

Demuxer::Parser* Demuxer::find(std::int32_t parser) {
    if (!file_ || parser < 0 || parser >= static_cast<std::int32_t>(parsers_.size())) return nullptr;
    Parser& found = parsers_[static_cast<std::size_t>(parser)];
    return hasStream(found.stream) ? &found : nullptr;
}

std::int32_t Demuxer::createParser(std::int32_t stream, std::int32_t& parser) {
    parser = -1;
    if (!hasStream(stream)) return StatusBadArgument;
    if (!file_->canRead(stream)) return StatusUnknownEssence;
    auto free = std::find_if(parsers_.begin(), parsers_.end(), [](const Parser& p) { return p.stream < 0; });
    if (free == parsers_.end()) free = parsers_.insert(parsers_.end(), Parser{});
    *free = {stream, 0, nullptr};
    parser = static_cast<std::int32_t>(free - parsers_.begin());
    return StatusOK;
}

std::int32_t Demuxer::freeParser(std::int32_t parser) {
    Parser* const found = find(parser);
    if (!found) return StatusBadArgument;
    *found = {};
    return StatusOK;
}

std::int32_t Demuxer::addStream(std::int32_t parser, std::int32_t stream, MemoryStream* sink) {
    Parser* const found = find(parser);
    if (!found || !sink || found->stream != stream) return StatusBadArgument;
    found->sink = sink;
    return StatusOK;
}

std::int32_t Demuxer::removeStream(std::int32_t parser, std::int32_t stream) {
    Parser* const found = find(parser);
    if (!found || found->stream != stream || !found->sink) return StatusBadArgument;
    found->sink = nullptr;
    return StatusOK;
}

std::int32_t Demuxer::seek(std::int32_t parser, std::int64_t frame, std::int32_t mode) {
    Parser* const found = find(parser);
    if (!found || frame < 0 || (mode != SeekModeKeyFrame && mode != SeekModeExact)) return StatusBadArgument;
    if (frame >= file_->unitCount(found->stream)) return StatusEndOfFile;
    found->position = mode == SeekModeExact ? frame : file_->keyUnitOf(found->stream, frame);
    return StatusOK;
}

std::int32_t Demuxer::push(std::int32_t parser) {
    Parser* const found = find(parser);
    if (!found || !found->sink) return StatusBadArgument;
    if (found->position >= file_->unitCount(found->stream)) return StatusEndOfFile;
    // A unit that fails is behind the parser as well: what follows it may be good.
    return deliver(*found, found->position++);
}

std::int32_t Demuxer::deliver(const Parser& parser, std::int64_t unit) {
    const auto ranges = file_->sampleAt(parser.stream, unit);
    if (!ranges) return StatusOK;
    SampleRecord record{file_->timeOf(parser.stream, unit), file_->flagsOf(parser.stream, unit), 0};
    for (const detail::FileRange& range : *ranges) {
        if (const std::int32_t status = copyBytes(range, *parser.sink); status != StatusOK) return status;
        record.byteCount += range.length;
    }
    return parser.sink->Control(MemoryStream::commandSampleReady, record.bytes());
}

std::int32_t Demuxer::copyBytes(const detail::FileRange& range, MemoryStream& sink) {
    for (std::uint64_t done = 0; done < range.length;) {
        const auto wanted =
            static_cast<std::size_t>(std::min<std::uint64_t>(chunkBytes, range.length - done));
        if (chunk_.size() < wanted) chunk_.resize(wanted);
        const std::span<std::uint8_t> bytes(chunk_.data(), wanted);
        if (file_->file().read(range.position + done, bytes) != wanted) return StatusReadFailed;
        const std::int32_t taken = sink.Write(bytes);
        if (taken < 0) return taken;
        if (static_cast<std::size_t>(taken) != wanted) return StatusWriteFailed;
        done += wanted;
    }
    return StatusOK;
}

}  // namespace zenquor::mxf
