// OP-47 subtitling distribution packets.

#include <algorithm>

#include "Check.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/vanc/ZQRVANCOP47Packet.h"

using namespace zenquor;
using OP47 = ZQRVANCOP47Packet;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    [[maybe_unused]] static const auto quiet = ZLGGetHandle().setSink([](ZLGLevel, std::string_view) {});
    const ZQData data = ZQData::copying({bytes, size});
    const auto packet = OP47::initWithDID(0x43, 0x02, 12, data);
    FUZZ_CHECK(!packet->valid() || OP47::lengthForHeader(data) == size);
    FUZZ_CHECK(packet->packets().size() <= size / 45);
    FUZZ_CHECK(!packet->debugDescription().empty());

    // What is written reads back the same, but for what no descriptor can say.
    const auto packets = packet->packets();
    const auto isDescribed = [](const auto& each) { return each.oddField() || each.lineNumber() != 0; };
    const auto described = std::count_if(packets.begin(), packets.end(), isDescribed);
    const ZQData written = packet->sdiData();
    const auto again = OP47::initWithDID(0x43, 0x02, 12, written);
    FUZZ_CHECK(again->valid());
    FUZZ_CHECK(again->packets().size() == static_cast<std::size_t>(described));
    FUZZ_CHECK(again->sdiData() == written);
    FUZZ_CHECK(!packet->valid() || written.size() <= size);

    OP47::finishOP47Packet(packet);
    FUZZ_CHECK(packet->packets().size() >= 3);
    FUZZ_CHECK(OP47::initWithDID(0x43, 0x02, 12, packet->sdiData())->valid());
    return 0;
}
