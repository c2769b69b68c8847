#pragma once
// The demuxer behind its C-like functions: an open file and the parsers that walk it.

#include <cstdint>
#include <memory>
#include <vector>

#include "zenquor/mxf/Demux.h"
#include "zenquor/mxf/detail/DemuxFile.h"

namespace zenquor::mxf {

/// One demuxer.
///
/// Thread-safety: One thread at a time.
class Demuxer {
public:
    std::int32_t open(const char* utf8Path, const DemuxParameters& parameters, ZQRMXFLoggerPtr logger);
    void close();
    std::int32_t refresh();
    /// Null when nothing is open.
    detail::DemuxFile* file() { return file_.get(); }
    bool hasStream(std::int32_t stream) const {
        return file_ && stream >= 0 && stream < file_->streamCount();
    }

    std::int32_t createParser(std::int32_t stream, std::int32_t& parser);
    std::int32_t freeParser(std::int32_t parser);
    std::int32_t addStream(std::int32_t parser, std::int32_t stream, MemoryStream* sink);
    std::int32_t removeStream(std::int32_t parser, std::int32_t stream);
    std::int32_t seek(std::int32_t parser, std::int64_t frame, std::int32_t mode);
    std::int32_t push(std::int32_t parser);

private:
    struct Parser {
        std::int32_t stream = -1;  // below 0: freed
        std::int64_t position = 0;
        MemoryStream* sink = nullptr;
    };

    Parser* find(std::int32_t parser);
    std::int32_t deliver(const Parser& parser, std::int64_t unit);
    std::int32_t copyBytes(const detail::FileRange& range, MemoryStream& sink);

    std::unique_ptr<detail::DemuxFile> file_;
    std::vector<Parser> parsers_;
    std::vector<std::uint8_t> chunk_;
};

}  // namespace zenquor::mxf
