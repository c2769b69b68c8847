// Ancillary data on a frame's road, against copying and summing the same bytes.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include "Interleaved.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"
#include "zenquor/vanc/ZQRVANCHelper.h"
#include "zenquor/vanc/ZQRVANCPacketImpl.h"

using namespace zenquor;
using Caption = ZQRVANCClosedCaptionPacket;

namespace {

/// The yardstick: copies the bytes to fixed memory and adds them up.
class CopyAndSum {
public:
    explicit CopyAndSum(ZQData data) : data_(std::move(data)), copy_(data_.size()) {}
    void operator()() {
        bench::keep(data_);
        std::memcpy(copy_.data(), data_.data(), data_.size());
        bench::keep(copy_);
        std::uint32_t sum = 0;
        for (const std::uint8_t byte : copy_) sum += byte;
        bench::keep(sum);
    }

private:
    ZQData data_;
    std::vector<std::uint8_t> copy_;
};

ZQData captionCDP() {
    return *Caption::convert608CaptionsIntoSMPTE334CDP708PacketFormat(
        std::array<std::uint8_t, 4>{0x94, 0x2C, 0x80, 0x80}, 1234, 1);
}

bool benchPackets() {
    const ZQRVANCPacketPtr packet = ZQRVANCPacketImpl::initWithDID(0x61, 0x01, 9, captionCDP());
    const ZQData packed = ZQRVANCHelper::packVANCDataPacketInSMPTE291MStream(packet, 1, true);
    const auto count = [](std::int32_t, std::uint8_t, std::uint8_t, const ZQData& data) {
        bench::keep(data);
    };
    return bench::compare(
        "SMPTE 291M packet, 8-bit words with checksum, 89-byte CDP",
        {{"memcpy and byte sum", CopyAndSum(packed)},
         {"pack", [&] { bench::keep(ZQRVANCHelper::packVANCDataPacketInSMPTE291MStream(packet, 1, true)); },
          3},
         {"extract",
          [&] {
              auto stream = ZQRDataStream::initWithData(packed);
              ZQRVANCHelper::extractVANCDataPacketFromSMPTE291MStream(stream, 9, 1, count);
          },
          6}});
}

bool benchElements() {
    const ZQRVANCPacketList packets = {
        Caption::closedCaptionPacketWithData(captionCDP(), Caption::TypeCDP),
        ZQRVANCPacketImpl::initWithDID(0x43, 0x02, 12, ZQData::copying(std::vector<std::uint8_t>(148, 0x15))),
        ZQRVANCPacketImpl::initWithDID(0x43, 0x02, 575,
                                       ZQData::copying(std::vector<std::uint8_t>(148, 0x15))),
        ZQRVANCPacketImpl::initWithDID(0x41, 0x07, 10, ZQData::copying(std::vector<std::uint8_t>(40, 0x07)))};
    const ZQData element = *ZQRVANCHelper::packVANCDataPacketsInSMPTE436MStream(packets, 1, true, 4);
    const auto count = [](std::int32_t, std::uint8_t, std::uint8_t, const ZQData& data) {
        bench::keep(data);
    };
    return bench::compare(
        "SMPTE 436M element of 4 packets",
        {{"memcpy and byte sum", CopyAndSum(element)},
         {"pack",
          [&] { bench::keep(ZQRVANCHelper::packVANCDataPacketsInSMPTE436MStream(packets, 1, true, 4)); }, 3},
         {"extract",
          [&] {
              auto stream = ZQRDataStream::initWithData(element);
              ZQRVANCHelper::extractVANCDataPacketFromSMPTE436MStream(stream, count);
          },
          6}});
}

bool benchCaptions() {
    const ZQData cdp = captionCDP();
    const std::array<std::uint8_t, 4> pairs = {0x94, 0x2C, 0x80, 0x80};
    std::uint32_t sequence = 0;
    return bench::compare(
        "Caption distribution packet of 89 bytes",
        {{"memcpy and byte sum", CopyAndSum(cdp)},
         {"build",
          [&] {
              bench::keep(Caption::convert608CaptionsIntoSMPTE334CDP708PacketFormat(pairs, ++sequence, 1));
          },
          2.5},
         {"608 pairs of both fields",
          [&] { bench::keep(Caption::extract608CaptionsFromSMPTE334CDP708Packet(cdp, 2)); }, 2.5}});
}

}  // namespace

int main() {
    bool good = benchPackets();
    good = benchElements() && good;
    good = benchCaptions() && good;
    return good ? 0 : 1;
}
