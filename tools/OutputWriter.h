#pragma once
// The writer of one output file, whatever its container.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "RecordOptions.h"
#include "zenquor/audio/ZQRAudioProperties.h"
#include "zenquor/media/ZQRVideoProperties.h"
#include "zenquor/writers/ZQRMovieWriterProtocol.h"

namespace zenquor::tools {

/// A movie writer with the questions that each kind answers in its own way.
///
/// Thread-safety: as the writer says; the questions may be asked from any thread.
struct OutputWriter {
    ZQRMovieWriterPtr writer;
    std::function<std::uint64_t()> framesWritten;
    /// What a closed file suffered; null when it is whole.
    std::function<ZQErrorPtr()> error;
    /// Empty before the file is open.
    std::function<std::string()> path;

    /// An MXF writer for a name that ends in .mxf, otherwise one for QuickTime or MPEG-4 movies.
    static OutputWriter create(const std::filesystem::path& path, const RecordOptions& options,
                               const ZQRVideoPropertiesPtr& video, const ZQRAudioPropertiesPtr& audio);
};

}  // namespace zenquor::tools
