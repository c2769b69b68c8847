#include "zenquor/sidecar/detail/MCCCheck.h"

#include <algorithm>
#include <numeric>

#include <fmt/format.h>

#include "zenquor/sidecar/ZQRSidecarCaption.h"
#include "zenquor/sidecar/detail/MCCHeader.h"
#include "zenquor/sidecar/detail/ShownText.h"

namespace zenquor::detail {
namespace {

using Kind = ZQRCaptionRemark::Kind;

constexpr Finding headerMissing{Kind::Format};
constexpr Finding headerLower{Kind::Format};
constexpr Finding unknownVersion{Kind::Format};
constexpr Finding rateMissing{Kind::Format};
constexpr Finding rateUnknown{Kind::Format};
constexpr Finding rateInexact{Kind::Format};
constexpr Finding noCaption{Kind::Format, 5};
constexpr Finding noTab{Kind::Format, 3};
constexpr Finding suffixVersion{Kind::Format};
constexpr Finding suffixForm{Kind::Format};
constexpr Finding separator{Kind::Timecode};
constexpr Finding noSuchLabel{Kind::Timecode, 10};
constexpr Finding backwards{Kind::Timecode, 10};
constexpr Finding sameLabel{Kind::Loss, 5};
constexpr Finding badCharacter{Kind::Format, 5};
constexpr Finding oddDigits{Kind::Count, 5};
constexpr Finding packetShort{Kind::Count, 5};
constexpr Finding dataCount{Kind::Count, 5};
constexpr Finding noChecksum{Kind::Checksum};
constexpr Finding zeroChecksum{Kind::Checksum};
constexpr Finding wrongChecksum{Kind::Checksum, 3};
constexpr Finding readerStops{Kind::Loss};
constexpr Finding loneReturn{Kind::Format};

constexpr std::uint8_t captionDID = 0x61;
constexpr std::uint8_t captionSDID = 0x01;
constexpr std::size_t packetHeader = 3;  // DID, SDID, data count
/// More than one packet can hold; what a line has beyond it is only counted.
constexpr std::size_t maximumPacketBytes = 512;

bool isHexadecimal(char c) {
    return isDigit(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}
bool isLetter(char c) {
    return c >= 'G' && c <= 'Z';
}
/// The sidecar passes over these, but they stand for nothing.
bool isUnassignedLetter(char c) {
    return c >= 'V' && c <= 'Y';
}

char characterAt(std::string_view text, std::size_t index) {
    return index < text.size() ? text[index] : '\0';
}

/// The place of the tab as the sidecar looks for it: behind ".1" or ".0" and a separator and "1", and a line
/// number if one follows.
std::optional<std::size_t> tabForReader(std::string_view text, int version) {
    constexpr std::size_t dot = TimecodeLabel::length;
    if (version != 2 || text.size() < dot + 2 || text[dot] != '.') return dot;
    const std::size_t base = text[dot + 1] == '0' ? dot + 2 : dot;
    if (characterAt(text, base + 1) != '1') return std::nullopt;
    if (text.size() < base + 4 || text[base + 2] != ',') return base + 2;
    std::size_t end = base + 3;
    while (isDigit(characterAt(text, end))) ++end;
    if (end == base + 3) return std::nullopt;
    return end;
}

}  // namespace

void MCCCheck::check(std::string_view text) {
    TextLines lines(text);
    while (const auto line = lines.next()) {
        if (line->loneCarriageReturn) {
            remarks_.add(loneReturn, {std::nullopt, line->number}, [] {
                return "The line ends in a carriage return alone: the sidecar loses the line behind it.";
            });
        }
        if (!trimmed(line->text).empty() && !isComment(line->text)) checkLine(*line);
    }
    report_.lines = lines.count();
    finish();
}

void MCCCheck::checkLine(const TextLine& line) {
    const auto label = TimecodeLabel::fromText(trimmed(line.text));
    if (label) {
        checkCaption(line, *label);
    } else if (line.text.find('=') != std::string_view::npos) {
        checkEntry(line);
    } else {
        remarks_.add(noCaption, {std::nullopt, line.number}, [&] {
            return fmt::format("The line \"{}\" is neither an entry nor does it start with a timecode.",
                               shown(line.text));
        });
    }
    sawLine_ = true;
    followReader(line, label && readerTakes(line.text));
}

void MCCCheck::checkEntry(const TextLine& line) {
    const Place place{std::nullopt, line.number};
    const std::size_t equals = line.text.find('=');
    const std::string_view key = line.text.substr(0, equals);
    const std::string_view value = line.text.substr(equals + 1);
    if (key == fileFormatKey) checkFileFormat(value, place);
    if (key == timeCodeRateKey) checkRate(value, place);
}

void MCCCheck::checkFileFormat(std::string_view value, const Place& place) {
    version_ = value == formatV1 ? 1 : value == formatV2 ? 2 : 0;
    if (version_ == 0) {
        remarks_.add(unknownVersion, place, [&] {
            return fmt::format(
                "The file format \"{}\" is neither \"{}\" nor \"{}\": the sidecar refuses the file.",
                shown(value), formatV1, formatV2);
        });
    }
    if (sawLine_) {
        remarks_.add(headerLower, place, [] {
            return "The entry \"File Format\" is not the first of the file: the sidecar refuses it.";
        });
    }
    startsWithFormat_ = !sawLine_ && version_ != 0;
}

void MCCCheck::checkRate(std::string_view value, const Place& place) {
    sawRate_ = true;
    for (const TimeCodeRate& rate : timeCodeRates) {
        if (!startsWith(value, rate.name)) continue;
        timebase_ = ZQCKTimebase::timebaseForFramerate(rate.frameRate);
        if (trimmed(value) == rate.name) return;
        remarks_.add(rateInexact, place, [&] {
            return fmt::format("The time code rate \"{}\" is not one of those known and is read as \"{}\".",
                               shown(value), rate.name);
        });
        return;
    }
    hasKnownRate_ = false;
    remarks_.add(rateUnknown, place, [&] {
        return fmt::format(
            "The time code rate \"{}\" is none of 24, 25, 30, 30DF, 50, 60, 60DF: the sidecar refuses the "
            "file.",
            shown(value));
    });
}

void MCCCheck::checkCaption(const TextLine& line, const TimecodeLabel& label) {
    if (report_.blocks++ == 0) packets_.setTimebase(timebase_);
    const ZQCKTimecode timecode = label.timecode(timebase_);
    const Place place{timecode, line.number};
    if (!report_.first) report_.first = timecode;
    report_.last = timecode;
    if (const auto fault = label.fault(timebase_)) {
        remarks_.add(noSuchLabel, place, [&] {
            return fmt::format("The timecode {:02}:{:02}:{:02}{}{:02} {}; {} is taken.", label.hours,
                               label.minutes, label.seconds, label.separator, label.frames, *fault, timecode);
        });
    }
    const bool isPlain = label.separator == ':' && label.plainSeparators;
    if (!isPlain && !(label.separator == ';' && timebase_.dropFrameTimecode())) {
        remarks_.add(separator, place, [&] {
            return label.separator == ';'
                       ? "The timecode is written as drop-frame, but the time code rate is not."
                       : "The timecode's fields are not separated by \":\".";
        });
    }
    checkOrder(timecode, place);
    const std::string_view text = trimmed(line.text);
    if (const auto data = checkSuffix(text, place)) checkData(text.substr(*data), place);
}

void MCCCheck::checkOrder(const ZQCKTimecode& timecode, const Place& place) {
    const auto before = std::exchange(previous_, timecode);
    if (!before) return;
    const std::int64_t distance = frameDistance(*before, timecode);
    if (distance < 0) {
        remarks_.add(backwards, place, [&] {
            return fmt::format(
                "The timecode runs backwards: the line before is at {}. The line is not played.", *before);
        });
    } else if (distance == 0) {
        remarks_.add(sameLabel, place, [] {
            return "The line before has the same timecode: the sidecar plays the first line of a frame only.";
        });
    }
}

std::optional<std::size_t> MCCCheck::checkSuffix(std::string_view text, const Place& place) {
    const std::size_t tab = text.find_first_of(" \t", TimecodeLabel::length);
    const std::size_t end = std::min(tab, text.size());
    const std::string_view suffix = text.substr(TimecodeLabel::length, end - TimecodeLabel::length);
    if (!suffix.empty() && version_ != 2) {
        remarks_.add(suffixVersion, place, [&] {
            return fmt::format(
                "Behind the timecode stands \"{}\", which only version 2.0 of the format knows.",
                shown(suffix));
        });
    } else if (!suffix.empty() && tabForReader(text, version_) != end) {
        remarks_.add(suffixForm, place, [&] {
            return fmt::format("The sidecar cannot read the field and line \"{}\" behind the timecode.",
                               shown(suffix));
        });
    }
    if (characterAt(text, end) != '\t') {
        remarks_.add(noTab, place, [] { return "Behind the timecode there must be a tab."; });
        return characterAt(text, end) == ' ' ? std::optional(end + 1) : std::nullopt;
    }
    return end + 1;
}

void MCCCheck::checkData(std::string_view text, const Place& place) {
    const auto caption = ZQRSidecarCaption::init();
    std::size_t digits = 0;
    bool isOdd = false;
    for (const char c : text) {
        const bool isDigitOfByte = isHexadecimal(c);
        if (c != ' ' && !isDigitOfByte && (!isLetter(c) || isUnassignedLetter(c))) {
            remarks_.add(badCharacter, place, [&] {
                return fmt::format("The character \"{}\" stands for nothing in the data.",
                                   shown(std::string_view(&c, 1)));
            });
            if (!isLetter(c)) return;
        }
        digits += isDigitOfByte ? 1 : 0;
        isOdd = isOdd || (isLetter(c) && digits % 2 != 0);
        if (caption->data().size() <= maximumPacketBytes) caption->appendNibble(c, true);
    }
    if (isOdd || digits % 2 != 0) {
        remarks_.add(oddDigits, place, [] {
            return "The data has half a byte: the number of hexadecimal digits is odd, or odd before a "
                   "letter.";
        });
        return;
    }
    checkPacket(caption->data(), place);
}

void MCCCheck::checkPacket(std::span<const std::uint8_t> bytes, const Place& place) {
    ++report_.packets;
    if (bytes.size() < packetHeader) {
        remarks_.add(packetShort, place, [&] {
            return fmt::format("The line holds {} bytes: too few for an ancillary packet.", bytes.size());
        });
        return;
    }
    const std::size_t dataEnd = packetHeader + bytes[2];
    if (bytes.size() < dataEnd || bytes.size() > dataEnd + 1) {
        remarks_.add(dataCount, place, [&] {
            return fmt::format("The packet's data count is {}, but {} bytes follow it, checksum included.",
                               bytes[2], bytes.size() - packetHeader);
        });
    }
    checkSum(bytes, dataEnd, place);
    if (bytes[0] != captionDID || bytes[1] != captionSDID) return;
    packets_.add(bytes.subspan(packetHeader, std::min(dataEnd, bytes.size()) - packetHeader), place);
}

void MCCCheck::checkSum(std::span<const std::uint8_t> bytes, std::size_t dataEnd, const Place& place) {
    if (bytes.size() == dataEnd) {
        remarks_.add(noChecksum, place, [] {
            return "The packet lacks its checksum, the last byte of the line. Some writers leave it out.";
        });
        return;
    }
    if (bytes.size() < dataEnd) return;
    const auto sum = static_cast<std::uint8_t>(
        std::accumulate(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(dataEnd), 0U));
    const std::uint8_t written = bytes[dataEnd];
    if (written == sum) return;
    if (written == 0) {
        remarks_.add(zeroChecksum, place, [] {
            return "The packet's last byte is 00 where the checksum belongs; some older writers do this.";
        });
        return;
    }
    remarks_.add(wrongChecksum, place, [&] {
        return fmt::format("The ancillary packet's checksum is {:02X} and should be {:02X}.", written, sum);
    });
}

bool MCCCheck::readerTakes(std::string_view text) const {
    const auto label = TimecodeLabel::fromText(text);
    if (!label || (label->separator != ':' && label->separator != ';')) return false;
    const auto tab = tabForReader(text, version_);
    if (!tab || characterAt(text, *tab) != '\t') return false;
    const std::string_view data = text.substr(*tab + 1);
    return std::all_of(data.begin(), data.end(),
                       [](char c) { return c == ' ' || isHexadecimal(c) || isLetter(c); });
}

void MCCCheck::followReader(const TextLine& line, bool isCaption) {
    if (stoppedAt_) {
        unread_ += isCaption ? 1 : 0;
    } else if (isCaption) {
        isReading_ = true;
    } else if (isReading_) {
        stoppedAt_ = line.number;
    }
}

void MCCCheck::finish() {
    pairs_.finish(report_.last.value_or(ZQCKTimecode()));
    report_.pairs = pairs_.pairs();
    report_.badParityBytes = pairs_.badParityBytes();
    report_.dropFrame = timebase_.dropFrameTimecode();
    report_.readable = startsWithFormat_ && hasKnownRate_ && isReading_;
    if (version_ == 0) {
        remarks_.add(headerMissing, {}, [] {
            return "The file does not say in its first line which version of the format it has (\"File "
                   "Format\"): "
                   "the sidecar refuses it.";
        });
    }
    if (!sawRate_) {
        remarks_.add(rateMissing, {}, [] {
            return "The file lacks its entry \"Time Code Rate\"; 30DF (29.97 frames per second) is taken.";
        });
    }
    if (stoppedAt_) {
        remarks_.add(readerStops, {std::nullopt, *stoppedAt_}, [&] {
            return fmt::format("The sidecar stops reading at this line: {} behind it {} not played.",
                               counted(unread_, "caption line"), unread_ == 1 ? "is" : "are");
        });
    }
    if (!isReading_) {
        remarks_.add(readerStops, {}, [] { return "The file holds no caption line that could be played."; });
    }
}

}  // namespace zenquor::detail
