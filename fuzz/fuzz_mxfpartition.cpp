// The items of an MXF file one behind the other: lengths, partition packs, random index packs.

#include <algorithm>

#include "Check.h"
#include "zenquor/mxf/detail/PartitionPack.h"

using namespace zenquor::mxf::detail;

namespace {

void checkPartition(const UL& key, std::span<const std::uint8_t> value) {
    const auto pack = PartitionPack::read(key, value);
    if (!pack) return;
    FUZZ_CHECK(pack->essenceContainers.size() * 16 <= value.size());
    ByteSink out;
    pack->write(out);
    FUZZ_CHECK(out.size() == pack->totalBytes());
    const auto again = PartitionPack::read(UL::read(out.bytes().data()), std::span(out.bytes()).subspan(20));
    FUZZ_CHECK(again && again->bodyOffset == pack->bodyOffset && again->bodySID == pack->bodySID);
    FUZZ_CHECK(again->essenceContainers == pack->essenceContainers);
}

void checkRandomIndex(std::span<const std::uint8_t> value) {
    const auto pack = RandomIndexPack::read(value);
    if (!pack) return;
    ByteSink out;
    pack->write(out);
    // All but the length of the whole pack, which may be wrong in what was read.
    FUZZ_CHECK(out.size() == 20 + value.size());
    FUZZ_CHECK(std::equal(value.begin(), value.end() - 4, out.bytes().begin() + 20));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    std::span<const std::uint8_t> rest(bytes, size);
    while (const auto item = KLVHeader::read(rest)) {
        FUZZ_CHECK(item->headerBytes <= rest.size() && item->headerBytes <= KLVHeader::largest);
        rest = rest.subspan(item->headerBytes);
        const auto value =
            rest.first(static_cast<std::size_t>(std::min<std::uint64_t>(item->length, rest.size())));
        checkPartition(item->key, value);
        if (item->key == RandomIndexPack::key) checkRandomIndex(value);
        rest = rest.subspan(value.size());
    }
    return 0;
}
