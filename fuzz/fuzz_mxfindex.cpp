// Index table segments: read in both codings of lengths, written and read again.

#include "Check.h"
#include "zenquor/mxf/detail/IndexSegment.h"

using namespace zenquor::mxf::detail;

namespace {

void checkSizes(const IndexSegment& segment, std::size_t bytes) {
    FUZZ_CHECK(segment.entries.size() * 11 <= bytes && segment.deltas.size() * 6 <= bytes);
    FUZZ_CHECK(segment.sliceOffsets.size() == segment.entries.size() * segment.sliceCount);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (const auto segment = IndexSegment::read({bytes, size}, 0x13)) checkSizes(*segment, size);
    const auto segment = IndexSegment::read({bytes, size});
    if (!segment) return 0;
    checkSizes(*segment, size);
    FUZZ_CHECK(segment->entries.size() <= IndexSegment::largestEntryCount(segment->sliceCount));

    ByteSink once, twice;
    segment->write(once);
    const auto again = IndexSegment::read(std::span(once.bytes()).subspan(20));
    FUZZ_CHECK(again.has_value());
    again->write(twice);
    FUZZ_CHECK(twice.bytes() == once.bytes());
    return 0;
}
