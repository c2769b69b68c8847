#include "zenquor/sidecar/ZQRTeletextPageReader.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <span>
#include <utility>

#include "zenquor/sidecar/detail/DistributionPacket.h"
#include "zenquor/sidecar/detail/TeletextScreen.h"
#include "zenquor/vanc/ZQRDataStream.h"
#include "zenquor/vanc/ZQRVANCOP47Packet.h"
#include "zenquor/vanc/ZQRVANCTeletextPacket.h"

namespace zenquor {
namespace {

using Kind = ZQRCaptionRemark::Kind;
using Teletext = ZQRVANCTeletextPacket;
using OP47 = ZQRVANCOP47Packet;

constexpr std::uint32_t enhancementPacket = 26;
constexpr std::uint32_t rowBeyondScreen = 25;
constexpr std::size_t framingOffset = 2;
constexpr std::uint8_t framingReversed = 0xE4;
constexpr std::uint32_t timeFiller = 0xFF;  // in the tens and units of a header that starts no page
constexpr std::size_t pageCount = 0x900;

enum Finding : std::size_t {
    MalformedPacket,
    ReversedBits,
    OnesComplement,
    WrongSum,
    SequenceGap,
    BadTeletext,
    WrongParity,
    Row25,
    OutsideBoxes,
    BackwardTimecode,
    NoSubtitlePage,
    FindingCount,
};
struct Wording {
    Kind kind;
    bool onlyOnce;
    const char* text;
};
constexpr std::array<Wording, FindingCount> wordings = {{
    {Kind::Format, false,
     "An OP-47 packet is cut or damaged: its header, length and footer do not fit each other. What could be "
     "read "
     "of it is used."},
    {Kind::Format, true,
     "The bits of the teletext packets run in the wrong order for OP-47: most receivers show nothing. They "
     "were "
     "turned round to be read."},
    {Kind::Checksum, true,
     "The checksums of the OP-47 packets add up to 255 instead of 0: some devices write them so, others take "
     "the "
     "packets for damaged."},
    {Kind::Checksum, false,
     "The checksum of an OP-47 packet is wrong: the packet was damaged, or changed without a new checksum. "
     "Receivers may pass over it."},
    {Kind::Sequence, false,
     "The counter of the OP-47 packets jumps: packets were lost, doubled or reordered on the way, and text "
     "may be "
     "missing."},
    {Kind::Code, false,
     "A teletext packet is damaged beyond reading in its framing code, address or page header: a row or a "
     "whole "
     "page may be missing."},
    {Kind::Parity, false,
     "Characters with wrong parity arrived: they are shown as spaces until the page is sent again."},
    {Kind::SafeArea, false, "Text was sent in row 25, which no screen shows."},
    {Kind::Loss, false,
     "The subtitle page has text outside its boxes: viewers do not see it, so it is left out."},
    {Kind::Timecode, false, "The timecode runs backwards: what stood on the screen ends here."},
    {Kind::Loss, true,
     "There is teletext, but no page says that it carries subtitles: name the page to be read."},
}};

std::int32_t pageOf(const Teletext& header) {
    return static_cast<std::int32_t>(header.magazine() << 8 | header.pageTens() << 4 | header.pageUnits());
}

bool isTimeFiller(const Teletext& header) {
    return (header.pageTens() << 4 | header.pageUnits()) == timeFiller;
}

/// A page that a viewer can ask for.
bool isDecimal(const Teletext& header) {
    return header.pageTens() <= 9 && header.pageUnits() <= 9;
}

std::uint8_t reversed(std::uint8_t byte) {
    std::uint32_t b = byte;
    b = (b & 0xF0) >> 4 | (b & 0x0F) << 4;
    b = (b & 0xCC) >> 2 | (b & 0x33) << 2;
    return static_cast<std::uint8_t>((b & 0xAA) >> 1 | (b & 0x55) << 1);
}

std::vector<std::int32_t> numbersIn(const std::bitset<pageCount>& pages) {
    std::vector<std::int32_t> numbers;
    for (std::size_t i = 0; i < pages.size(); ++i) {
        if (pages[i]) numbers.push_back(static_cast<std::int32_t>(i));
    }
    return numbers;
}

bool hasText(const Teletext& row) {
    const auto payload = row.payload();
    return std::any_of(payload.begin(), payload.end(), [](std::uint8_t c) { return c > 0x20 && c < 0x80; });
}

}  // namespace

class ZQRTeletextPageReader::State {
public:
    State(Options options, ZQRScreenBlockHandler blocks, ZQRCaptionRemarkHandler remarks)
        : page_(options.page),
          screen_(options.characterSet, std::move(blocks)),
          remarks_(std::move(remarks)) {
        screen_.setPage(page_.value_or(0));
    }

    void setFrame(const ZQCKTimecode& timecode);
    void addOP47Packet(ZQRVANCPacket& packet);
    void addTeletext(const Teletext& packet);
    void finish(const ZQCKTimecode& timecode);

    std::optional<std::int32_t> page() const { return page_; }
    const std::bitset<pageCount>& pages() const { return pages_; }
    const std::bitset<pageCount>& subtitlePages() const { return subtitlePages_; }
    Statistics statistics() const;

private:
    void check(std::span<const std::uint8_t> bytes, std::int32_t line);
    void checkSequence(std::int32_t line, std::uint16_t number);
    void addBare(std::span<const std::uint8_t> teletext);
    void addDamaged(const Teletext& packet);
    void addHeader(const Teletext& header);
    void addRow(const Teletext& row);
    bool belongsToPage(const Teletext& packet) const {
        return collecting_ && *page_ >> 8 == static_cast<std::int32_t>(packet.magazine());
    }
    void tellTextOutsideBoxes() {
        if (screen_.takeTextOutsideBoxes()) find(OutsideBoxes);
    }
    void find(Finding finding);

    std::optional<std::int32_t> page_;
    ZQCKTimecode frame_;
    detail::TeletextScreen screen_;
    ZQRCaptionRemarkHandler remarks_;
    bool collecting_ = false;  // the rows to come belong to the page
    bool serial_ = false;      // a header of any magazine ends the page
    detail::SequenceWatch sequence_;
    std::bitset<pageCount> pages_;
    std::bitset<pageCount> subtitlePages_;
    std::array<std::optional<ZQCKTimecode>, FindingCount> found_;
    Statistics statistics_;
};

void ZQRTeletextPageReader::State::find(Finding finding) {
    auto& last = found_[finding];
    const auto frames = last ? detail::framesBetween(*last, frame_) : std::nullopt;
    const bool told = last && (wordings[finding].onlyOnce || (frames && *frames <= remarkRunFrames));
    last = frame_;
    if (!told && remarks_) remarks_({wordings[finding].kind, last, std::nullopt, wordings[finding].text});
}

void ZQRTeletextPageReader::State::setFrame(const ZQCKTimecode& timecode) {
    frame_ = timecode;
    if (!screen_.setFrame(timecode)) {
        collecting_ = false;
        find(BackwardTimecode);
    }
    tellTextOutsideBoxes();
}

void ZQRTeletextPageReader::State::addOP47Packet(ZQRVANCPacket& packet) {
    ++statistics_.packets;
    const auto* const known = dynamic_cast<const OP47*>(&packet);
    const ZQData bytes = known ? known->originalData() : packet.sdiData();
    const bool wasBegun = known && bytes.empty();
    if (wasBegun) {
        checkSequence(packet.lineNumber(), static_cast<std::uint16_t>(known->sequenceNumber()));
    } else {
        check(bytes, packet.lineNumber());
    }
    const auto isValid = [](const Teletext& teletext) { return teletext.valid(); };
    const auto packets = known ? known->packets() : std::span<const Teletext>();
    if (wasBegun || (!packets.empty() && std::all_of(packets.begin(), packets.end(), isValid))) {
        for (const Teletext& teletext : packets) addTeletext(teletext);
    } else {
        addBare(detail::DistributionPacket::read(bytes).teletext);
    }
}

void ZQRTeletextPageReader::State::check(std::span<const std::uint8_t> bytes, std::int32_t line) {
    using Sum = detail::DistributionPacket::Sum;
    const auto packet = detail::DistributionPacket::read(bytes);
    if (!packet.wellFormed) {
        ++statistics_.malformedPackets;
        find(MalformedPacket);
    }
    if (packet.sum == Sum::OnesComplement) {
        ++statistics_.onesComplementChecksums;
        find(OnesComplement);
    }
    if (packet.sum == Sum::Wrong) {
        ++statistics_.checksumErrors;
        find(WrongSum);
    }
    // The counter of a damaged packet is no evidence.
    const bool isSound = packet.wellFormed && packet.sum != Sum::Wrong;
    if (isSound) checkSequence(line, *packet.sequenceNumber);
}

void ZQRTeletextPageReader::State::checkSequence(std::int32_t line, std::uint16_t number) {
    if (sequence_.follows(line, number)) return;
    ++statistics_.sequenceGaps;
    find(SequenceGap);
}

void ZQRTeletextPageReader::State::addBare(std::span<const std::uint8_t> teletext) {
    for (; !teletext.empty(); teletext = teletext.subspan(Teletext::packetSize())) {
        std::array<std::uint8_t, Teletext::packetSize()> bytes;
        std::copy_n(teletext.begin(), bytes.size(), bytes.begin());
        if (bytes[framingOffset] == framingReversed) {
            std::transform(bytes.begin(), bytes.end(), bytes.begin(), reversed);
            find(ReversedBits);
        }
        addTeletext(Teletext::initWithBytes(bytes));
    }
}

void ZQRTeletextPageReader::State::addTeletext(const Teletext& packet) {
    ++statistics_.teletextPackets;
    if (packet.isIDL()) {
        ++statistics_.fillers;
    } else if (!packet.valid()) {
        addDamaged(packet);
    } else if (packet.isHeader()) {
        addHeader(packet);
    } else if (!belongsToPage(packet)) {
        return;
    } else if (packet.isDisplayable()) {
        addRow(packet);
    } else if (packet.packetNumber() == enhancementPacket) {
        screen_.addEnhancement(packet.rawPayload());
    }
    tellTextOutsideBoxes();
}

void ZQRTeletextPageReader::State::addDamaged(const Teletext& packet) {
    ++statistics_.badTeletextPackets;
    find(BadTeletext);
    // The payload has a header's length only when the address could be read: a page begins that nobody can
    // name, so the rows to come are nobody's.
    const bool isHeader = packet.isHeader() && packet.payloadLength() == Teletext::headerPayloadLength;
    if (isHeader && belongsToPage(packet)) collecting_ = false;
}

void ZQRTeletextPageReader::State::addHeader(const Teletext& header) {
    const std::int32_t number = pageOf(header);
    if (!isTimeFiller(header)) {
        pages_.set(static_cast<std::size_t>(number));
        if (header.controlSubtitle()) subtitlePages_.set(static_cast<std::size_t>(number));
        if (!page_ && header.controlSubtitle() && isDecimal(header)) {
            page_ = number;
            screen_.setPage(number);
        }
    }
    if (page_ != number) {
        if (serial_ || belongsToPage(header)) collecting_ = false;
        return;
    }
    ++statistics_.headers;
    collecting_ = true;
    serial_ = header.controlMagazineSerial();
    screen_.setHeader(header);
}

void ZQRTeletextPageReader::State::addRow(const Teletext& row) {
    if (row.packetNumber() == rowBeyondScreen) {
        if (hasText(row)) find(Row25);
        return;
    }
    ++statistics_.rows;
    const int errors = screen_.setRow(static_cast<int>(row.packetNumber()), row.rawPayload());
    if (errors == 0) return;
    statistics_.parityErrors += static_cast<std::uint64_t>(errors);
    find(WrongParity);
}

void ZQRTeletextPageReader::State::finish(const ZQCKTimecode& timecode) {
    setFrame(timecode);
    screen_.finish(timecode);
    tellTextOutsideBoxes();
    if (!page_ && pages_.any()) find(NoSubtitlePage);
    collecting_ = false;
    sequence_ = {};
}

ZQRTeletextPageReader::Statistics ZQRTeletextPageReader::State::statistics() const {
    Statistics all = statistics_;
    all.repeats = screen_.counts().repeats;
    all.unseenBlocks = screen_.counts().unseenBlocks;
    all.blocks = screen_.counts().blocks;
    return all;
}

ZQRTeletextPageReader::ZQRTeletextPageReader(Options options, ZQRScreenBlockHandler blocks,
                                             ZQRCaptionRemarkHandler remarks)
    : state_(std::make_unique<State>(options, std::move(blocks), std::move(remarks))) {}
ZQRTeletextPageReader::ZQRTeletextPageReader(ZQRTeletextPageReader&&) noexcept = default;
ZQRTeletextPageReader& ZQRTeletextPageReader::operator=(ZQRTeletextPageReader&&) noexcept = default;
ZQRTeletextPageReader::~ZQRTeletextPageReader() = default;

void ZQRTeletextPageReader::addVancPackets(const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode) {
    state_->setFrame(timecode);
    for (const ZQRVANCPacketPtr& packet : packets) {
        if (!packet || (packet->DID() & 0xFF) != OP47::subtitleDID) continue;
        if ((packet->SDID() & 0xFF) == OP47::subtitleSDID) state_->addOP47Packet(*packet);
    }
}

void ZQRTeletextPageReader::addTeletextPacket(const ZQRVANCTeletextPacket& packet,
                                              const ZQCKTimecode& timecode) {
    state_->setFrame(timecode);
    state_->addTeletext(packet);
}

void ZQRTeletextPageReader::finish(const ZQCKTimecode& timecode) {
    state_->finish(timecode);
}

std::optional<std::int32_t> ZQRTeletextPageReader::page() const {
    return state_->page();
}
std::vector<std::int32_t> ZQRTeletextPageReader::pages() const {
    return numbersIn(state_->pages());
}
std::vector<std::int32_t> ZQRTeletextPageReader::subtitlePages() const {
    return numbersIn(state_->subtitlePages());
}
ZQRTeletextPageReader::Statistics ZQRTeletextPageReader::statistics() const {
    return state_->statistics();
}

}  // namespace zenquor
