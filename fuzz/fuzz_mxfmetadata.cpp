// Header metadata: read, asked for everything, written and read again.

#include "Check.h"
#include "zenquor/mxf/detail/HeaderMetadata.h"

using namespace zenquor::mxf::detail;

namespace {

void askEverything(const HeaderMetadata& metadata) {
    for (const MetadataSet& set : metadata.sets()) {
        FUZZ_CHECK(set.kind() != SetKind::Unknown);
        for (const auto& [property, value] : set.values()) {
            FUZZ_CHECK(value.size() <= 65535);
            set.integer(property);
            set.rational(property);
            set.label(property);
            set.uuid(property);
            set.umid(property);
            set.time(property);
            set.text(property);
            FUZZ_CHECK(set.labels(property).size() * 16 <= value.size());
            FUZZ_CHECK(set.integers(property).size() * 2 <= value.size());
            FUZZ_CHECK(metadata.resolve(set, property).size() * 16 <= value.size());
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    std::vector<std::string> faults;
    const HeaderMetadata metadata = HeaderMetadata::read({bytes, size}, faults);
    askEverything(metadata);

    ByteSink once, twice;
    metadata.write(once);
    faults.clear();
    const HeaderMetadata again = HeaderMetadata::read(once.bytes(), faults);
    FUZZ_CHECK(again.sets().size() == metadata.sets().size());
    again.write(twice);
    FUZZ_CHECK(twice.bytes() == once.bytes());
    return 0;
}
