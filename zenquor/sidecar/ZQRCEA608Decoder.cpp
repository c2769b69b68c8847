#include "zenquor/sidecar/ZQRCEA608Decoder.h"

#include <array>
#include <bit>
#include <utility>

#include <fmt/core.h>

#include "zenquor/sidecar/detail/CaptionChannel.h"
#include "zenquor/sidecar/detail/ExtendedDataReader.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"

namespace zenquor {
namespace {

using detail::CaptionCode;
using Caption = ZQRVANCClosedCaptionPacket;
using Kind = ZQRCaptionRemark::Kind;

/// A CEA-608 packet of its own holds one byte for field and line and then the pair.
constexpr std::int32_t line21SDID = 0x02;

/// So many good pairs in succession end a run of bad ones: with the parity bits stripped, three pairs of four
/// are bad.
constexpr int pairsThatEndARun = 16;

/// Things of one kind that come again and again and are told once.
struct Run {
    std::uint64_t count = 0;
    int goodPairs = 0;
    std::uint16_t firstPair = 0;
    ZQCKTimecode first;

    void add(std::uint64_t number, std::uint16_t pair, const ZQCKTimecode& timecode) {
        if (count == 0) {
            first = timecode;
            firstPair = pair;
        }
        count += number;
        goodPairs = 0;
    }
    /// A good pair passed; true when the run ends with it.
    bool passes() { return count != 0 && ++goodPairs == pairsThatEndARun; }
};

/// What has to be known of a field to understand its next pair.
struct Field {
    int channel = -1;              // 0 to 3; none before the first code
    bool isUpper = false;          // codes belong to channels 3 and 4
    std::uint16_t repeatable = 0;  // the code that the next pair may repeat
    int nullPairs = 0;             // since then
    bool toldOfOtherField = false;
    bool toldOfLostText = false;
    Run parity;
    Run unknown;
    detail::ExtendedDataReader data;
};

constexpr unsigned evenBytes(std::uint16_t pair) {
    return static_cast<unsigned>(std::popcount(static_cast<unsigned>(pair >> 8)) % 2 == 0) +
           static_cast<unsigned>(std::popcount(pair & 0xFFU) % 2 == 0);
}

}  // namespace

class ZQRCEA608Decoder::State {
public:
    State(ZQRScreenBlockHandler blocks, ZQRCaptionRemarkHandler remarks)
        : report_{std::move(blocks), std::move(remarks)} {
        for (std::size_t i = 0; i < channels_.size(); ++i) {
            channels_[i].setService(static_cast<std::int32_t>(i) + 1);
        }
        restart();
    }

    void addPair(int number, std::uint16_t pair, const ZQCKTimecode& timecode);
    void finish(const ZQCKTimecode& timecode);
    Statistics statistics() const {
        Statistics all = statistics_;
        all.blocks = report_.blockCount;
        return all;
    }

private:
    void restart() {
        fields_ = {};
        fields_[1].isUpper = true;
    }
    void lookAtParity(Field& field, std::uint16_t pair, const ZQCKTimecode& timecode);
    bool repeats(Field& field, std::uint16_t pair);
    void code(Field& field, std::uint16_t pair, const CaptionCode& code, const ZQCKTimecode& timecode);
    void selectChannel(Field& field, std::uint16_t pair, bool isControl, const ZQCKTimecode& timecode);
    void characters(Field& field, const CaptionCode& code, const ZQCKTimecode& timecode);
    void extendedData(Field& field, const CaptionCode& code, const ZQCKTimecode& timecode);
    void tellParity(Field& field);
    void tellUnknown(Field& field);
    void remark(Kind kind, const ZQCKTimecode& timecode, std::string text) const {
        report_.remark(kind, timecode, std::move(text));
    }
    bool isSecond(const Field& field) const { return &field == &fields_[1]; }

    detail::CaptionReport report_;
    std::array<Field, 2> fields_;
    std::array<detail::CaptionChannel, 4> channels_;
    Statistics statistics_;
};

void ZQRCEA608Decoder::State::addPair(int number, std::uint16_t bytes, const ZQCKTimecode& timecode) {
    if (number != 1 && number != 2) return;
    Field& field = fields_[static_cast<std::size_t>(number - 1)];
    ++statistics_.pairs;
    lookAtParity(field, bytes, timecode);
    const auto pair = static_cast<std::uint16_t>(bytes & 0x7F7F);
    if (pair == 0) {
        ++statistics_.nullPairs;
        // One null pair between a code and its copy is padding; more say that the code is meant again.
        if (++field.nullPairs > 1) field.repeatable = 0;
        return;
    }
    if (repeats(field, pair)) return;
    const CaptionCode code = CaptionCode::codeOf(pair);
    const bool isUnknown =
        code.kind == CaptionCode::Unknown || (code.kind == CaptionCode::ExtendedData && !field.isUpper);
    if (isUnknown) {
        ++statistics_.unknownCodes;
        field.unknown.add(1, pair, timecode);
        return;
    }
    if (field.unknown.passes()) tellUnknown(field);
    this->code(field, pair, code, timecode);
}

void ZQRCEA608Decoder::State::finish(const ZQCKTimecode& timecode) {
    for (Field& field : fields_) {
        tellParity(field);
        tellUnknown(field);
    }
    for (auto& channel : channels_) channel.finish(timecode, report_);
    restart();
}

/// 00 00 is how files without parity write a null pair.
void ZQRCEA608Decoder::State::lookAtParity(Field& field, std::uint16_t pair, const ZQCKTimecode& timecode) {
    if (pair == 0 || pair == 0x8080) return;
    if (const unsigned bad = evenBytes(pair)) {
        statistics_.parityErrors += bad;
        field.parity.add(bad, pair, timecode);
    } else if (field.parity.passes()) {
        tellParity(field);
    }
}

bool ZQRCEA608Decoder::State::repeats(Field& field, std::uint16_t pair) {
    const bool isCode = pair >= 0x1000 && pair < 0x2000;
    const std::uint16_t before = std::exchange(field.repeatable, isCode ? pair : std::uint16_t{0});
    field.nullPairs = 0;
    if (!isCode || before != pair) return false;
    field.repeatable = 0;
    ++statistics_.repeatedControls;
    return true;
}

void ZQRCEA608Decoder::State::code(Field& field, std::uint16_t pair, const CaptionCode& code,
                                   const ZQCKTimecode& timecode) {
    if (code.kind == CaptionCode::ExtendedData) return extendedData(field, code, timecode);
    if (code.kind == CaptionCode::Characters) return characters(field, code, timecode);
    selectChannel(field, pair, code.kind == CaptionCode::Control, timecode);
    channels_[static_cast<std::size_t>(field.channel)].obey(code, timecode, report_);
}

void ZQRCEA608Decoder::State::selectChannel(Field& field, std::uint16_t pair, bool isControl,
                                            const ZQCKTimecode& timecode) {
    const bool isFourth = field.channel == 3;
    const bool second = isSecond(field);
    field.data.suspend();
    if (isControl) {
        const bool saysUpper = (pair & 0x0100) != 0;
        field.isUpper = second || saysUpper;
        if (second != saysUpper && !std::exchange(field.toldOfOtherField, true)) {
            remark(Kind::Code, timecode,
                   second ? "Control codes of field 1 in field 2; they were read as channels 3 and 4."
                          : "Control codes of field 2 in field 1; they were read as channels 3 and 4.");
        }
    }
    const bool isEven = (pair & 0x0800) != 0;
    field.channel = (field.isUpper ? 2 : 0) + (isEven ? 1 : 0);
    // Channel 4 in field 1: this library marks its control codes alone, addresses and characters are those of
    // channel 3.
    if (!second && !isControl && field.channel == 2 && isFourth) field.channel = 3;
}

void ZQRCEA608Decoder::State::characters(Field& field, const CaptionCode& code,
                                         const ZQCKTimecode& timecode) {
    if (field.data.isReading()) return field.data.characters(code.first, code.second);
    if (field.channel >= 0) {
        return channels_[static_cast<std::size_t>(field.channel)].obey(code, timecode, report_);
    }
    if (std::exchange(field.toldOfLostText, true)) return;
    remark(Kind::Loss, timecode,
           "Characters before the first code belong to no caption channel and were left out.");
}

void ZQRCEA608Decoder::State::extendedData(Field& field, const CaptionCode& code,
                                           const ZQCKTimecode& timecode) {
    const auto end = field.data.code(code.first, code.second);
    if (!end.isPacket) return;
    ++statistics_.xdsPackets;
    if (end.isSumRight) return;
    ++statistics_.xdsChecksumErrors;
    remark(
        Kind::Checksum, timecode,
        fmt::format("The checksum of an extended data packet is wrong (class {}, type {}); receivers ignore "
                    "what it says.",
                    end.dataClass, end.type));
}

void ZQRCEA608Decoder::State::tellParity(Field& field) {
    const Run run = std::exchange(field.parity, {});
    if (run.count == 0) return;
    remark(Kind::Parity, run.first,
           run.count == 1
               ? "1 byte without odd parity; it was read all the same."
               : fmt::format("{} bytes without odd parity; they were read all the same.", run.count));
}

void ZQRCEA608Decoder::State::tellUnknown(Field& field) {
    const Run run = std::exchange(field.unknown, {});
    if (run.count == 0) return;
    remark(Kind::Code, run.first,
           run.count == 1 ? fmt::format("A pair without meaning, {:04X}; it was left out.", run.firstPair)
                          : fmt::format("{} pairs without meaning, {:04X} the first; they were left out.",
                                        run.count, run.firstPair));
}

ZQRCEA608Decoder::ZQRCEA608Decoder(ZQRScreenBlockHandler blocks, ZQRCaptionRemarkHandler remarks)
    : state_(std::make_unique<State>(std::move(blocks), std::move(remarks))) {}
ZQRCEA608Decoder::ZQRCEA608Decoder(ZQRCEA608Decoder&&) noexcept = default;
ZQRCEA608Decoder& ZQRCEA608Decoder::operator=(ZQRCEA608Decoder&&) noexcept = default;
ZQRCEA608Decoder::~ZQRCEA608Decoder() = default;

void ZQRCEA608Decoder::addVancPackets(const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode) {
    const auto visit = [&](int field, std::span<const std::uint8_t, 2> pair) {
        addPair(field, static_cast<std::uint16_t>(pair[0] << 8 | pair[1]), timecode);
    };
    for (const auto& packet : packets) {
        if (!packet || (packet->DID() & 0xFF) != Caption::captionDID) continue;
        if (const auto caption = std::dynamic_pointer_cast<Caption>(packet)) {
            caption->enumerate608Pairs(visit);
        } else if ((packet->SDID() & 0xFF) == Caption::captionSDID) {
            Caption::closedCaptionPacketWithData(packet->sdiData(), Caption::TypeCDP)
                ->enumerate608Pairs(visit);
        } else if ((packet->SDID() & 0xFF) == line21SDID) {
            const ZQData data = packet->sdiData();
            if (data.size() >= 3) visit((data[0] & 0x80) != 0 ? 1 : 2, data.span().subspan<1, 2>());
        }
    }
}

void ZQRCEA608Decoder::addPair(int field, std::uint16_t pair, const ZQCKTimecode& timecode) {
    state_->addPair(field, pair, timecode);
}

void ZQRCEA608Decoder::finish(const ZQCKTimecode& timecode) {
    state_->finish(timecode);
}

ZQRCEA608Decoder::Statistics ZQRCEA608Decoder::statistics() const {
    return state_->statistics();
}

}  // namespace zenquor
