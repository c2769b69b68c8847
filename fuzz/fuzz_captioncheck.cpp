// Caption files of any content and streams of any packets through the check. The first byte chooses.
#include <cstdint>
#include <span>
#include <string>

#include "Check.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/sidecar/ZQRCaptionChecker.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"
#include "zenquor/vanc/ZQRVANCPacketImpl.h"

using namespace zenquor;

namespace {

using Report = ZQRCaptionChecker::Report;

constexpr const char* extensions[] = {".scc", ".mcc", ".srt", ".stl"};
constexpr unsigned stream = std::size(extensions);

ZQRCaptionChecker::Options optionsFrom(std::uint8_t choice) {
    ZQRCaptionChecker::Options options;
    options.timebase = ZQCKTimebase::timebaseForFramerate(choice & 7);
    options.teletext = (choice & 8) != 0;
    options.allowWestEuropean = (choice & 16) != 0;
    options.columns = choice % 41;
    options.rows = choice % 5;
    return options;
}

/// One packet a frame, each behind a byte for its kind and a byte for its length.
Report checkStream(std::span<const std::uint8_t> bytes, const ZQRCaptionChecker::Options& options) {
    ZQRCaptionChecker checker(options);
    auto timecode = ZQCKTimecode::zeroTimeWithTimebase(options.timebase);
    while (bytes.size() >= 2) {
        const std::uint8_t kind = bytes[0];
        const auto data = bytes.subspan(2, std::min<std::size_t>(bytes[1], bytes.size() - 2));
        ZQRVANCPacketPtr packet = ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(
            ZQData::copying(data), (kind & 1) != 0 ? 1 : 0);
        if ((kind & 2) != 0) packet->setSDID(kind & 3);
        checker.addVancPackets({packet}, timecode);
        timecode.addFrames((kind & 4) != 0 ? -1 : 1);
        bytes = bytes.subspan(2 + data.size());
    }
    return checker.finish(timecode);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    [[maybe_unused]] static const auto quiet = ZLGGetHandle().setSink([](ZLGLevel, std::string_view) {});
    const auto options = optionsFrom(data[1]);
    const std::span<const std::uint8_t> rest(data + 2, size - 2);
    const unsigned choice = data[0] % (stream + 1);
    const Report report = choice == stream ? checkStream(rest, options)
                                           : ZQRCaptionChecker::checkData(rest, extensions[choice], options);
    FUZZ_CHECK(report.remarks.size() <= ZQRCaptionChecker::maximumRemarks + 1);
    FUZZ_CHECK(report.first.has_value() == report.last.has_value());
    for (const ZQRCaptionRemark& remark : report.remarks) FUZZ_CHECK(!remark.text.empty());
    return 0;
}
