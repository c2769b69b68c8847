// SMPTE 291M packets in all four stream formats: what is found is packed again and found again.

#include "Check.h"
#include "zenquor/vanc/ZQRVANCHelper.h"
#include "zenquor/vanc/ZQRVANCPacketImpl.h"

using namespace zenquor;

namespace {

/// The fast reader of 8-bit words against the bit reader.
bool isPlainlyGood(const ZQData& data) {
    auto stream = ZQRDataStream::initWithData(data);
    std::uint32_t sum = 0;
    std::uint8_t word = 0;
    if (!stream.beginReadBits()) return false;
    for (int i = 0; i < 3; ++i) {
        if (!stream.read8BitWord(word, &sum)) return false;
    }
    for (int left = word; left > 0; --left) {
        if (!stream.read8BitWord(word, &sum)) return false;
    }
    return stream.isEndOfStream() || (stream.read8BitWord(word) && word == (sum & 0xFF));
}

void checkRoundTrip(std::uint8_t did, std::uint8_t sdid, const ZQData& words) {
    const auto packet = ZQRVANCPacketImpl::initWithDID(did, sdid, 9, words);
    auto packed =
        ZQRDataStream::initWithData(ZQRVANCHelper::packVANCDataPacketInSMPTE291MStream(packet, 1, true));
    bool isFound = false;
    ZQRVANCHelper::extractVANCDataPacketFromSMPTE291MStream(
        packed, 9, 1, [&](std::int32_t, std::uint8_t d, std::uint8_t s, const ZQData& again) {
            isFound = d == did && s == sdid && again == words;
        });
    FUZZ_CHECK(isFound);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const ZQData data = ZQData::copying({bytes, size});
    for (int format = 0; format < 4; ++format) {
        int found = 0;
        auto stream = ZQRDataStream::initWithData(data);
        ZQRVANCHelper::extractVANCDataPacketFromSMPTE291MStream(
            stream, 9, format, [&](std::int32_t, std::uint8_t did, std::uint8_t sdid, const ZQData& words) {
                ++found;
                checkRoundTrip(did, sdid, words);
            });
        FUZZ_CHECK(found <= 1);
        if (format == 1) FUZZ_CHECK((found == 1) == isPlainlyGood(data));
        const auto packet = ZQRVANCPacketImpl::initWithDID(0x61, 0x01, 9, data);
        const ZQData packed = ZQRVANCHelper::packVANCDataPacketInSMPTE291MStream(packet, format, true);
        FUZZ_CHECK(packed.empty() == (format > 1 && size % 2 != 0));
    }
    return 0;
}
