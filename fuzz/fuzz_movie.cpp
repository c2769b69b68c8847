// The sample tables of QuickTime and MPEG-4 movies.

#include "Check.h"
#include "zenquor/platform/reader/MovieSampleSource.h"
#include "zenquor/platform/reader/StreamDescription.h"

using namespace zenquor;
using namespace zenquor::platform;
using namespace zenquor::platform::detail;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const auto file = FileView::wrapping(ZQData::copying({bytes, size}));
    auto read = MovieTables::read(*file);
    if (!read) return 0;
    FUZZ_CHECK(read->readableSize <= size);
    file->limitTo(read->readableSize);
    const auto tables = std::make_shared<const MovieTables>(std::move(*read));
    const auto format = FormatDescription::closedCaption(fourCC("c608"));
    for (const auto& track : tables->tracks) {
        timecodeDescription(track.sampleEntry);
        if (tables->track(track.trackID) != &track) continue;
        MovieSampleSource source(file, tables, track.trackID, format, MediaTime{1, 25});
        // Broken tables may name the same bytes again and again; the first samples show every path.
        for (int i = 0; i < 1000; ++i) {
            const auto sample = source.next();
            if (!sample) break;
            FUZZ_CHECK(sample->dataBuffer()->dataLength() <= size);
        }
    }
    return 0;
}
