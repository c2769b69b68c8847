#include "zenquor/sidecar/detail/PairCheck.h"

#include <bit>

#include <fmt/format.h>

#include "zenquor/vanc/ZQRVANCCEA608Packet.h"

namespace zenquor::detail {
namespace {

using Kind = ZQRCaptionRemark::Kind;

constexpr Finding parity{Kind::Parity};
constexpr Finding sentOnce{Kind::Code};
constexpr Finding erasedUnseen{Kind::Loss, 5};
constexpr Finding neverShown{Kind::Loss, 5};

constexpr std::uint8_t endOfExtendedData = 0x0F;
constexpr std::uint16_t channelBit = 0x0800;

/// Codes of the commands that decide where text goes.
enum : std::uint8_t {
    ResumeCaptionLoading = 0,
    RollUp2 = 5,
    RollUp4 = 7,
    ResumeDirectCaptioning = 9,
    TextRestart = 10,
    ResumeTextDisplay = 11,
    EraseNonDisplayedMemory = 14,
    EndOfCaption = 15,
};

bool endsLoading(std::uint8_t code) {
    return (code >= RollUp2 && code <= RollUp4) || code == ResumeDirectCaptioning || code == TextRestart ||
           code == ResumeTextDisplay;
}

/// Codes that are sent twice. A character that is lost is a gap in a word, a command that is lost is a caption.
bool isSentTwice(CaptionCode::Kind kind) {
    switch (kind) {
        case CaptionCode::Address:
        case CaptionCode::MidRow:
        case CaptionCode::Background:
        case CaptionCode::BlackText:
        case CaptionCode::Tab:
        case CaptionCode::Control:
            return true;
        default:
            return false;
    }
}

bool isText(CaptionCode::Kind kind) {
    return kind == CaptionCode::Characters || kind == CaptionCode::Special || kind == CaptionCode::West ||
           kind == CaptionCode::East;
}

/// "142C (Erase Displayed Memory)".
std::string nameOf(std::uint16_t pair) {
    using Packet = ZQRVANCCEA608Packet;
    const Packet::Description description = Packet::initWithBytePair(pair).description();
    const auto name = description.type == Packet::ControlCode
                          ? Packet::controlCodeNames()[static_cast<std::size_t>(description.value)]
                          : Packet::typeNames()[description.type];
    return fmt::format("{:04X} ({})", pair, name);
}

}  // namespace

PairCheck::PairCheck(RemarkCollector& remarks)
    : remarks_(remarks), decoder_({}, [this](const ZQRCaptionRemark& remark) { addRemark(remark); }) {}

void PairCheck::addRemark(ZQRCaptionRemark remark) {
    if (remark.kind == Kind::Parity) return;  // counted here, for pairs of all kinds
    if (remark.timecode == place_.timecode && !remark.line) remark.line = place_.line;
    remarks_.addForeign(remark);
}

void PairCheck::addPair(int fieldNumber, std::uint8_t hi, std::uint8_t lo, const Place& place) {
    if (fieldNumber < 1 || fieldNumber > 2 || !place.timecode) return;
    Field& field = fields_[static_cast<std::size_t>(fieldNumber - 1)];
    ++pairs_;
    place_ = place;
    checkParity(hi, place);
    checkParity(lo, place);
    const auto pair = static_cast<std::uint16_t>((hi << 8 | lo) & 0x7F7F);
    decoder_.addPair(fieldNumber, static_cast<std::uint16_t>(hi << 8 | lo), *place.timecode);
    const CaptionCode code = pair == 0 ? CaptionCode() : CaptionCode::codeOf(pair);
    checkRepetition(field, pair, code, place);
    if (pair != 0) follow(field, pair, code, place);
}

void PairCheck::checkParity(std::uint8_t byte, const Place& place) {
    if (std::popcount(byte) % 2 != 0) return;
    ++badParityBytes_;
    remarks_.add(parity, place, [&] {
        return fmt::format("The byte {:02X} does not have odd parity: a receiver may leave it out.", byte);
    });
}

void PairCheck::checkRepetition(Field& field, std::uint16_t pair, const CaptionCode& code,
                                const Place& place) {
    if (field.single != 0) {
        if (pair == field.single) {
            field.single = 0;
            ++copies_;
            return;
        }
        // One null pair may stand between a code and its copy.
        if (pair == 0 && !field.nullSince) {
            field.nullSince = true;
            return;
        }
        missCopy(field);
    }
    if (pair == 0 || !isSentTwice(code.kind)) return;
    field.single = pair;
    field.singleAt = place;
    field.nullSince = false;
}

void PairCheck::missCopy(Field& field) {
    if (singles_++ == 0) firstSingle_ = field;
    field.single = 0;
}

void PairCheck::pause(int fieldNumber) {
    Field& field = fields_[fieldNumber == 2 ? 1 : 0];
    if (field.single != 0) missCopy(field);
}

void PairCheck::follow(Field& field, std::uint16_t pair, const CaptionCode& code, const Place& place) {
    if (code.kind == CaptionCode::ExtendedData) {
        field.isExtendedData = pair >> 8 != endOfExtendedData;
        return;
    }
    if (code.kind == CaptionCode::Unknown || (code.kind == CaptionCode::Characters && field.isExtendedData))
        return;
    if (code.kind != CaptionCode::Characters) {
        field.isExtendedData = false;
        field.channel = (pair & channelBit) != 0 ? 1 : 0;
    }
    if (code.kind == CaptionCode::Control) command(field.channels[field.channel], code.first, place);
    if (isText(code.kind)) text(field, place);
}

void PairCheck::command(Channel& channel, std::uint8_t code, const Place& place) {
    if (code == ResumeCaptionLoading) channel.isPopOn = true;
    if (endsLoading(code)) channel.isPopOn = false;
    if (code == EndOfCaption) {
        channel.isPopOn = true;
        channel.isLoaded = false;
    }
    if (code != EraseNonDisplayedMemory || !channel.isLoaded) return;
    channel.isLoaded = false;
    remarks_.add(erasedUnseen, channel.loadedAt, [&] {
        return fmt::format("The caption that is loaded here is erased{} before it was shown.",
                           place.timecode ? fmt::format(" at {}", *place.timecode) : std::string());
    });
}

void PairCheck::text(Field& field, const Place& place) {
    Channel& channel = field.channels[field.channel];
    if (!channel.isPopOn || channel.isLoaded) return;
    channel.isLoaded = true;
    channel.loadedAt = place;
}

void PairCheck::finish(const ZQCKTimecode& timecode) {
    decoder_.finish(timecode);
    for (Field& field : fields_) {
        if (field.single != 0) missCopy(field);
    }
    // A stream that sends every code once means to; digital carriage loses none.
    if (singles_ > 0 && copies_ > 0) {
        remarks_.add(sentOnce, firstSingle_.singleAt, [&] {
            return fmt::format(
                "{} of {} control codes come only once, the first of them {}; the others come twice.",
                singles_, singles_ + copies_, nameOf(firstSingle_.single));
        });
    }
    for (Field& field : fields_) {
        for (Channel& channel : field.channels) {
            if (!channel.isLoaded) continue;
            channel.isLoaded = false;
            remarks_.add(neverShown, channel.loadedAt,
                         [] { return "The caption that is loaded here is never shown."; });
        }
    }
}

}  // namespace zenquor::detail
