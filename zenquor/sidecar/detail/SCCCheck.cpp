#include "zenquor/sidecar/detail/SCCCheck.h"

#include <algorithm>
#include <charconv>

#include <fmt/format.h>

#include "zenquor/sidecar/detail/ShownText.h"

namespace zenquor::detail {
namespace {

using Kind = ZQRCaptionRemark::Kind;

constexpr Finding headerMissing{Kind::Format};
constexpr Finding headerLower{Kind::Format};
constexpr Finding noCaption{Kind::Format, 5};
constexpr Finding noTab{Kind::Format, 3};
constexpr Finding separator{Kind::Timecode, 3};
constexpr Finding mixedCounting{Kind::Timecode};
constexpr Finding noSuchLabel{Kind::Timecode, 10};
constexpr Finding backwards{Kind::Timecode, 10};
constexpr Finding sameLabel{Kind::Timecode, 5};
constexpr Finding overrun{Kind::Timing, 10};
constexpr Finding wordLength{Kind::Format, 5};
constexpr Finding wordDigits{Kind::Format, 5};
constexpr Finding noPairs{Kind::Format, 3};
constexpr Finding readerStops{Kind::Loss};
constexpr Finding loneReturn{Kind::Format};

constexpr int dropFrame = 3;     // 29.97 frames per second
constexpr int nonDropFrame = 4;  // the same labels without dropping
constexpr std::size_t wordDigitCount = 4;
constexpr std::uint16_t endOfCaption = 0x142F;
constexpr std::uint16_t channelBits = 0x0900;  // of the four channels' commands

std::optional<std::uint16_t> hexadecimal(std::string_view word) {
    std::uint16_t value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value, 16);
    if (error != std::errc() || end != word.data() + word.size()) return std::nullopt;
    return value;
}

bool isHexadecimal(char c) {
    return isDigit(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

/// Whether the sidecar takes the line: a tab behind the timecode, then digits and spaces alone.
bool readerTakes(std::string_view text) {
    const auto label = TimecodeLabel::fromText(text);
    if (!label || (label->separator != ':' && label->separator != ';')) return false;
    if (text.size() <= TimecodeLabel::length || text[TimecodeLabel::length] != '\t') return false;
    const std::string_view words = text.substr(TimecodeLabel::length + 1);
    return std::all_of(words.begin(), words.end(), [](char c) { return c == ' ' || isHexadecimal(c); });
}

}  // namespace

void SCCCheck::check(std::string_view text) {
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

void SCCCheck::checkLine(const TextLine& line) {
    const std::string_view text = trimmed(line.text);
    if (text == header) {
        checkHeader(line);
        sawLine_ = true;
        return;
    }
    sawLine_ = true;
    const auto label = TimecodeLabel::fromText(text);
    if (label) {
        ++report_.blocks;
        checkCaption(line, *label);
    } else {
        remarks_.add(noCaption, {std::nullopt, line.number}, [&] {
            return fmt::format("The line \"{}\" does not start with a timecode.", shown(line.text));
        });
    }
    followReader(line, readerTakes(line.text));
}

void SCCCheck::checkHeader(const TextLine& line) {
    startsWithHeader_ = !sawLine_ && line.text == header;
    if (!headerLine_) headerLine_ = line.number;
    if (startsWithHeader_) return;
    remarks_.add(headerLower, {std::nullopt, line.number}, [&] {
        return fmt::format(
            "The header \"{}\" does not stand alone in the first line: the sidecar refuses the file.",
            header);
    });
}

void SCCCheck::checkCaption(const TextLine& line, const TimecodeLabel& label) {
    const bool drops = label.separator != ':';
    if (report_.blocks == 1) {
        report_.dropFrame = drops;
        timebase_ = ZQCKTimebase::timebaseForFramerate(drops ? dropFrame : nonDropFrame);
    }
    Line current;
    current.start = label.timecode(timebase_);
    current.place = {current.start, line.number};
    if (!report_.first) report_.first = current.start;
    report_.last = current.start;
    checkLabel(label, current.place);
    const std::string_view text = trimmed(line.text);
    checkFormBehindTimecode(line.text, current.place);
    checkOrder(current);
    checkWords(text.substr(TimecodeLabel::length), current);
    previous_ = current;
}

void SCCCheck::checkLabel(const TimecodeLabel& label, const Place& place) {
    if (label.separator == '.' || label.separator == ',' || !label.plainSeparators) {
        remarks_.add(separator, place, [] {
            return "The timecode's fields are not separated by \":\", or \";\" before the frames.";
        });
    }
    if ((label.separator != ':') != report_.dropFrame) {
        remarks_.add(mixedCounting, place, [&] {
            return fmt::format("The file mixes drop-frame (;) and non-drop (:) timecodes: it starts with {}.",
                               report_.dropFrame ? "drop-frame" : "non-drop");
        });
    }
    if (const auto fault = label.fault(timebase_)) {
        remarks_.add(noSuchLabel, place, [&] {
            return fmt::format("The timecode {:02}:{:02}:{:02}{}{:02} {}; {} is taken.", label.hours,
                               label.minutes, label.seconds, label.separator, label.frames, *fault,
                               *place.timecode);
        });
    }
}

void SCCCheck::checkFormBehindTimecode(std::string_view text, const Place& place) {
    const bool isFirst = TimecodeLabel::fromText(text).has_value();
    if (isFirst && text.size() > TimecodeLabel::length && text[TimecodeLabel::length] == '\t') return;
    remarks_.add(noTab, place, [&] {
        return isFirst ? "Between the timecode and the pairs there must be a tab."
                       : "The timecode does not stand at the start of its line.";
    });
}

void SCCCheck::checkOrder(const Line& line) {
    if (!previous_) return;
    const std::int64_t distance = frameDistance(previous_->start, line.start);
    if (distance < 0) {
        remarks_.add(backwards, line.place, [&] {
            return fmt::format(
                "The timecode runs backwards: the line before is at {}. The line is not played.",
                previous_->start);
        });
    } else if (distance == 0) {
        remarks_.add(sameLabel, line.place,
                     [] { return "The line before has the same timecode; only one of them can be sent."; });
    } else {
        checkRoom(distance);
    }
}

void SCCCheck::checkRoom(std::int64_t distance) {
    if (previous_->pairs != distance) pairs_.pause(1);
    const std::int64_t excess = previous_->pairs - distance;
    if (excess <= 0) return;
    remarks_.add(overrun, previous_->place, [&] {
        std::string text = fmt::format(
            "The line needs {}, one for each pair, but the next line starts after {}: {} too many. "
            "The next line loses as many pairs at its start.",
            counted(previous_->pairs, "frame"), distance, excess);
        if (previous_->flip && *previous_->flip >= distance) {
            text += fmt::format(" Its caption appears {} too late.",
                                counted(*previous_->flip - distance + 1, "frame"));
        }
        return text;
    });
}

void SCCCheck::checkWords(std::string_view words, Line& line) {
    constexpr std::string_view blanks = " \t";
    std::size_t begin = words.find_first_not_of(blanks);
    if (begin == std::string_view::npos) {
        remarks_.add(noPairs, line.place, [] { return "The line holds no pairs."; });
    }
    while (begin != std::string_view::npos) {
        const std::size_t end = std::min(words.find_first_of(blanks, begin), words.size());
        checkWord(words.substr(begin, end - begin), line);
        begin = words.find_first_not_of(blanks, end);
    }
}

void SCCCheck::checkWord(std::string_view word, Line& line) {
    const bool hasDigits = std::all_of(word.begin(), word.end(), isHexadecimal);
    const auto pair = word.size() == wordDigitCount && hasDigits ? hexadecimal(word) : std::nullopt;
    if (!pair) {
        ++report_.badWords;
        remarks_.add(hasDigits ? wordLength : wordDigits, line.place, [&] {
            return hasDigits ? fmt::format("The word \"{}\" has {} digits in place of four.", shown(word),
                                           word.size())
                             : fmt::format("The word \"{}\" is not hexadecimal.", shown(word));
        });
        return;
    }
    if ((*pair & 0x7F7F & ~channelBits) == endOfCaption && !line.flip) line.flip = line.pairs;
    const Place place{line.start.addingFrames(line.pairs), line.place.line};
    pairs_.addPair(1, static_cast<std::uint8_t>(*pair >> 8), static_cast<std::uint8_t>(*pair & 0xFF), place);
    ++line.pairs;
}

void SCCCheck::followReader(const TextLine& line, bool isCaption) {
    if (stoppedAt_) {
        unread_ += isCaption ? 1 : 0;
    } else if (isCaption) {
        isReading_ = true;
    } else if (isReading_) {
        stoppedAt_ = line.number;
    }
}

void SCCCheck::finish() {
    pairs_.finish(report_.last.value_or(ZQCKTimecode()));
    report_.pairs = pairs_.pairs();
    report_.badParityBytes = pairs_.badParityBytes();
    report_.readable = startsWithHeader_ && isReading_;
    if (!headerLine_) {
        remarks_.add(headerMissing, {}, [] {
            return fmt::format("The file lacks its header, \"{}\" in the first line: the sidecar refuses it.",
                               header);
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
