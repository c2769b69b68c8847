// SCTE-104 messages: what is read is described, written, read again and merged.

#include <algorithm>

#include "Check.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/vanc/ZQRVANCSCTEPacket.h"

using namespace zenquor;
using Packet = ZQRVANCSCTEPacket;
using Operations = std::vector<ZQRVANCSCTEOperation>;

namespace {

std::shared_ptr<Packet> read(const ZQData& data) {
    return Packet::initWithDID(0x41, 0x07, 10, data);
}

/// The operations that a reader finds in the message of @p packet: a list ends at its first operation without
/// data, and the data of a single operation is never zero bytes.
Operations readable(const Packet& packet) {
    const Operations& written = packet.operations();
    if (packet.singleOperation()) return written;
    return {written.begin(), std::find_if(written.begin(), written.end(),
                                          [](const auto& operation) { return operation.dataLength() == 0; })};
}

bool isPrintable(const std::string& text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) >= 0x20; });
}

void checkAgain(const Packet& packet, const Packet& again) {
    FUZZ_CHECK(again.operations() == readable(packet));
    FUZZ_CHECK(again.ASIndex() == packet.ASIndex() && again.DPIPID() == packet.DPIPID());
    FUZZ_CHECK(again.messageNumber() == packet.messageNumber());
    FUZZ_CHECK(again.continuedPacket() == packet.continuedPacket());
    FUZZ_CHECK(again.followingPacket() == packet.followingPacket());
    FUZZ_CHECK(again.duplicatePacket() == packet.duplicatePacket());
}

void checkMerging(const std::shared_ptr<Packet>& packet, const std::shared_ptr<Packet>& other) {
    const Operations before = packet->operations();
    const std::size_t added = other->operations().size();
    const bool isMerged = packet->merge(other);
    FUZZ_CHECK(packet->operations().size() == before.size() + (isMerged ? added : 0));
    FUZZ_CHECK(std::equal(before.begin(), before.end(), packet->operations().begin()));
    FUZZ_CHECK(packet->operations().size() <= Packet::maximumOperations);
    const ZQData data = packet->sdiData();
    FUZZ_CHECK(data.size() <= 0x10000);
    checkAgain(*packet, *read(data));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    // Every text is formatted, none is shown.
    [[maybe_unused]] static const auto sink = ZLGGetHandle().setSink(
        [](ZLGLevel, std::string_view text) { FUZZ_CHECK(isPrintable(std::string(text))); });
    const ZQData data = ZQData::copying({bytes, size});
    const auto packet = read(data);
    const std::string text = packet->description();
    FUZZ_CHECK(isPrintable(text) && text.size() <= 1000 + 100 * size);
    const ZQData written = packet->sdiData();
    FUZZ_CHECK(written.size() <= size + 14 && written == packet->sdiData());
    const auto again = read(written);
    checkAgain(*packet, *again);
    // Two messages in one input, the second from the middle on.
    checkMerging(packet, read(data.slice(size / 2, size)));
    checkMerging(again, again);
    return 0;
}
