#include "zenquor/sidecar/ZQRSCCSidecar.h"

#include <string>
#include <utility>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"

namespace zenquor {
namespace {

using Caption = ZQRVANCClosedCaptionPacket;

constexpr std::string_view header = "Scenarist_SCC V1.0";
constexpr std::size_t tabPosition = 11;  // behind the timecode
constexpr std::size_t pairSize = 2;
constexpr int emptyPairsThatEndLine = 2;
constexpr std::size_t bytesThatEndLine = 6;  // three pairs: a command later in a line is not a repetition

/// The first bytes of the miscellaneous control codes, one per caption channel, and their channel.
struct ChannelPrefix {
    std::uint8_t hi;
    std::int32_t channel;
};
constexpr ChannelPrefix channelPrefixes[] = {{0x14, 1}, {0x1C, 2}, {0x15, 3}, {0x1D, 4}};
/// Extended data belongs to field 2, and so to its first channel.
constexpr std::int32_t extendedDataChannel = 3;

/// Second bytes of miscellaneous control codes (CEA-608).
enum : std::uint8_t {
    ResumeCaptionLoading = 0x20,
    RollUp2 = 0x25,
    RollUp3 = 0x26,
    RollUp4 = 0x27,
    ResumeDirectCaptioning = 0x29,
    TextRestart = 0x2A,
    ResumeTextDisplay = 0x2B,
    EraseDisplayedMemory = 0x2C,
    CarriageReturn = 0x2D,
    EndOfCaption = 0x2F,
};
constexpr std::uint8_t endOfExtendedData = 0x0F;

constexpr bool isExtendedData(std::uint8_t hi) {
    return hi >= 0x01 && hi <= 0x0E;
}

constexpr bool isModeCommand(std::uint8_t lo) {
    switch (lo) {
        case ResumeCaptionLoading:
        case RollUp2:
        case RollUp3:
        case RollUp4:
        case ResumeDirectCaptioning:
        case TextRestart:
        case ResumeTextDisplay:
            return true;
        default:
            return false;
    }
}

std::int32_t channelOf(std::uint8_t hi) {
    for (const ChannelPrefix& prefix : channelPrefixes) {
        if (prefix.hi == hi) return prefix.channel;
    }
    return extendedDataChannel;
}

/// A null pair behind the end: a host may set a caption whose end timecode does not fit its data.
ZQData pairAt(std::span<const std::uint8_t> data, std::size_t index) {
    if (index >= data.size() / pairSize) return Caption::empty608PacketData();
    return ZQData::copying(data.subspan(index * pairSize, pairSize));
}

ZQRVANCPacketList listOfPair(ZQData pair) {
    return {Caption::closedCaptionPacketWithData(std::move(pair), Caption::TypeCEA608)};
}

std::uint32_t framesSinceMidnight(const std::optional<ZQCKTimecode>& timecode) {
    return timecode ? timecode->framesSinceMidnight() : 0;
}

}  // namespace

std::shared_ptr<ZQRSCCSidecar> ZQRSCCSidecar::initForReadingWithURL(const std::filesystem::path& url) {
    std::shared_ptr<ZQRSCCSidecar> sidecar(new ZQRSCCSidecar);
    sidecar->openForReading(url);
    return sidecar;
}

std::shared_ptr<ZQRSCCSidecar> ZQRSCCSidecar::initForWritingWithURL(const std::filesystem::path& url,
                                                                    ZQCKTimebase timebase,
                                                                    ZQDictionary properties) {
    std::shared_ptr<ZQRSCCSidecar> sidecar(new ZQRSCCSidecar);
    sidecar->openForWriting(url, timebase, std::move(properties));
    return sidecar;
}

bool ZQRSCCSidecar::readHeader() {
    if (!inputFile()) return false;
    const auto first = inputFile()->readLineInPlace();
    if (!first || *first != header) return false;
    while (const auto line = inputFile()->readLineInPlace()) {
        setCurrentCaption(decodeCaptionForLine(*line));
        if (currentCaption()) return true;
    }
    return false;
}

bool ZQRSCCSidecar::writeHeader() {
    channel_ = extendedDataChannel;
    return writeLine(header, 2);
}

ZQRSidecarCaptionPtr ZQRSCCSidecar::decodeCaptionForLine(std::string_view text) const {
    auto caption = ZQRSidecarCaption::init();
    if (!caption->validateTimecode(text, timebase()) || text[tabPosition] != '\t') return nullptr;
    if (!caption->appendText(text.substr(tabPosition + 1), false)) return nullptr;
    const std::size_t pairs = caption->data().size() / pairSize;
    if (!caption->data().empty()) {
        caption->setEndTimecode(caption->timecode()->addingFrames(static_cast<std::int64_t>(pairs)));
    }
    return caption;
}

ZQRVANCPacketList ZQRSCCSidecar::vancPacketsAtTimecode(const ZQCKTimecode& timecode) {
    const std::uint32_t frame = timecode.framesSinceMidnight();
    while (const ZQRSidecarCaption* const caption = currentCaption().get()) {
        const std::uint32_t start = framesSinceMidnight(caption->timecode());
        if (frame >= start && frame < framesSinceMidnight(caption->endTimecode())) {
            return listOfPair(pairAt(caption->data(), frame - start));
        }
        if (frame <= start || !readCaption()) break;
    }
    return listOfPair(Caption::empty608PacketData());
}

bool ZQRSCCSidecar::isChannelPacket(std::uint8_t hi) {
    for (const ChannelPrefix& prefix : channelPrefixes) {
        if (prefix.hi == hi) return true;
    }
    return false;
}

bool ZQRSCCSidecar::isChannelPacket(std::uint8_t hi, std::uint8_t lo) {
    return isExtendedData(hi) || (isChannelPacket(hi) && isModeCommand(lo));
}

void ZQRSCCSidecar::addVancPackets(const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode) {
    for (const ZQRVANCPacketPtr& packet : packets) {
        const auto captions = std::dynamic_pointer_cast<Caption>(packet);
        if (!captions) continue;
        const auto pair = captions->dataFor608Fields(1);
        if (!pair) {
            ZLGGetHandle().error("ZQRSCCSidecar could not extract 608 captions from packet {} at {}", packet,
                                 timecode);
            continue;
        }
        if (!currentCaption()) setCurrentCaption(ZQRSidecarCaption::init());
        collect(*pair, timecode);
    }
}

void ZQRSCCSidecar::collect(std::span<const std::uint8_t> pair, const ZQCKTimecode& timecode) {
    const std::uint8_t hi = pair[0] & 0x7F;
    const std::uint8_t lo = pair[1] & 0x7F;
    const bool isCommand = isChannelPacket(hi);
    const bool isCarriageReturn = isCommand && lo == CarriageReturn;
    if (hi == 0 && lo == 0) {
        collectEmptyPair();
    } else {
        collectPair(pair, isCarriageReturn, timecode);
    }
    crFlag_ = isCarriageReturn;
    const bool endsCaption = isCommand && (lo == EndOfCaption || lo == EraseDisplayedMemory);
    if (hi == endOfExtendedData || endsCaption) eolFlag_ = true;
}

void ZQRSCCSidecar::collectEmptyPair() {
    if (eolFlag_) {
        flushLine();
    } else if (hasData() && ++emptyPackets_ == emptyPairsThatEndLine) {
        flushLine();
    }
}

void ZQRSCCSidecar::collectPair(std::span<const std::uint8_t> pair, bool isCarriageReturn,
                                const ZQCKTimecode& timecode) {
    const std::uint8_t hi = pair[0] & 0x7F;
    const std::uint8_t lo = pair[1] & 0x7F;
    emptyPackets_ = 0;
    if (crFlag_ && !isCarriageReturn) flushLine();
    if (isChannelPacket(hi, lo)) startModeCommand(hi);
    if (!hasData()) {
        currentCaption()->setTimecode(
            ZQCKTimecode::timecodeWithFrames(timecode.framesSinceMidnight(), timebase()));
    }
    currentCaption()->appendData(pair);
}

void ZQRSCCSidecar::startModeCommand(std::uint8_t hi) {
    const std::int32_t channel = channelOf(hi);
    if (hasData() && channel_ != channel) flushLine();
    if (currentCaption()->data().size() >= bytesThatEndLine) flushLine();
    channel_ = channel;
}

void ZQRSCCSidecar::flushLine() {
    // A caption that is being played is nothing to write.
    if (hasData() && !newline().empty()) {
        std::string text = describe(currentCaption()->timecode());
        currentCaption()->stripTrailingEmtpy608Packets();
        currentCaption()->encodeData(text, false);
        if (!writeLine(text, 2)) ZLGGetHandle().error("ZQRSCCSidecar could not write line {}", text);
        setCurrentCaption(ZQRSidecarCaption::init());
    }
    emptyPackets_ = 0;
    crFlag_ = false;
    eolFlag_ = false;
}

}  // namespace zenquor
