#include "zenquor/sidecar/detail/SRTCheck.h"

#include <algorithm>
#include <charconv>

#include <fmt/format.h>

#include "zenquor/core/Unicode.h"
#include "zenquor/sidecar/ZQRSRTSidecar.h"
#include "zenquor/sidecar/detail/ShownText.h"

namespace zenquor::detail {
namespace {

using Kind = ZQRCaptionRemark::Kind;

constexpr Finding noUTF8{Kind::Format};
constexpr Finding loneReturn{Kind::Format};
constexpr Finding comment{Kind::Loss};
constexpr Finding strayText{Kind::Format, 3};
constexpr Finding arrowForm{Kind::Format, 3};
constexpr Finding timeForm{Kind::Format, 5};
constexpr Finding timeRange{Kind::Timecode, 5};
constexpr Finding noNumber{Kind::Format, 3};
constexpr Finding otherNumber{Kind::Format, 3};
constexpr Finding noText{Kind::Format, 5};
constexpr Finding endsEarly{Kind::Timecode, 10};
constexpr Finding noDuration{Kind::Timecode, 10};
constexpr Finding backwards{Kind::Timecode, 10};
constexpr Finding overlap{Kind::Overlap, 10};
constexpr Finding readerStops{Kind::Loss};

constexpr std::string_view arrow = "-->";
/// More rows than any screen has; what a block has beyond them is only counted.
constexpr std::size_t maximumTextLines = 64;
constexpr std::size_t maximumLineBytes = 4096;
constexpr std::size_t timeLength = 12;

/// A number that takes the whole text.
std::optional<std::int64_t> number(std::string_view text) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

/// Hours, minutes, seconds and milliseconds, in whatever width.
struct WrittenTime {
    std::int64_t hours, minutes, seconds, milliseconds;
};

std::optional<WrittenTime> writtenTime(std::string_view text) {
    constexpr std::string_view separators[] = {":", ":", ",."};
    std::int64_t fields[4] = {};
    for (std::size_t i = 0; i < 4; ++i) {
        const std::size_t end = i < 3 ? text.find_first_of(separators[i]) : text.size();
        if (end == std::string_view::npos) return std::nullopt;
        const auto value = number(text.substr(0, end));
        if (!value || *value < 0 || *value > 9999) return std::nullopt;
        fields[i] = *value;
        for (std::size_t digits = end; i == 3 && digits < 3; ++digits) fields[i] *= 10;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return WrittenTime{fields[0], fields[1], fields[2], std::min<std::int64_t>(fields[3], 999)};
}

/// The text in front of the arrow and behind it, as the sidecar takes them; nothing without its separator.
std::optional<std::pair<std::string_view, std::string_view>> strictTimes(std::string_view line) {
    for (const std::string_view separator :
         {ZQRSRTSidecar_TimecodeSeparator, ZQRSRTSidecar_TimecodeSeparator2}) {
        const std::size_t at = line.find(separator);
        if (at != std::string_view::npos)
            return std::pair(line.substr(0, at), line.substr(at + separator.size()));
    }
    return std::nullopt;
}

bool isStrictTime(std::string_view text) {
    return text.size() == timeLength && ZQCKTimecode::timecodeWithString(text, ZQCKTimebase()).has_value();
}

}  // namespace

SRTCheck::SRTCheck(ZQRCaptionChecker::Report& report, RemarkCollector& remarks,
                   const ZQRCaptionChecker::Options& options)
    : report_(report), remarks_(remarks), options_(options), text_(remarks, options) {}

void SRTCheck::check(std::string_view text) {
    report_.dropFrame = options_.timebase.dropFrameTimecode();
    TextLines lines(text);
    while (const auto line = lines.next()) {
        checkForm(*line);
        if (isComment(line->text)) continue;
        followReader(*line);
        addLine(*line);
    }
    report_.lines = lines.count();
    finish();
}

void SRTCheck::checkForm(const TextLine& line) {
    const Place place{std::nullopt, line.number};
    if (line.loneCarriageReturn) {
        remarks_.add(loneReturn, place, [] {
            return "The line ends in a carriage return alone: the sidecar loses the line behind it.";
        });
    }
    if (isComment(line.text)) {
        remarks_.add(comment, place, [] {
            return "The line starts with \"//\" and is taken for a comment: it is not shown.";
        });
    }
    const auto isPlain = [](char c) { return static_cast<signed char>(c) > 0; };
    if (std::all_of(line.text.begin(), line.text.end(), isPlain)) return;
    const std::u16string text = utf16FromUTF8(line.text.substr(0, maximumLineBytes));
    if (text.find(u'\uFFFD') == std::u16string::npos || line.text.size() > maximumLineBytes) return;
    text_.setIsUTF8(false);
    remarks_.add(noUTF8, place, [] {
        return "The text is not UTF-8 but an older encoding: its letters beyond ASCII will be lost. "
               "Convert the file to UTF-8.";
    });
}

void SRTCheck::addLine(const TextLine& line) {
    if (line.text.find(arrow) != std::string_view::npos) {
        startBlock(line);
        return;
    }
    keepHeldLine();
    if (line.text.empty()) {
        closed_ = true;
    } else {
        held_ = line;
    }
}

void SRTCheck::keepHeldLine() {
    if (!held_) return;
    const TextLine line = *std::exchange(held_, std::nullopt);
    if (closed_) {
        remarks_.add(strayText, {std::nullopt, line.number}, [&] {
            return fmt::format("The line \"{}\" belongs to no block: no times stand before it.",
                               shown(line.text));
        });
        return;
    }
    ++block_->textLines;
    if (block_->texts.size() < maximumTextLines)
        block_->texts.push_back(line.text.substr(0, maximumLineBytes));
}

void SRTCheck::startBlock(const TextLine& line) {
    Block next;
    next.line = line.number;
    if (held_) {
        if (const auto value = number(trimmed(held_->text))) {
            next.number = static_cast<std::int32_t>(std::clamp<std::int64_t>(*value, INT32_MIN, INT32_MAX));
            held_.reset();
        }
    }
    keepHeldLine();
    finishBlock();
    const std::size_t at = line.text.find(arrow);
    if (!strictTimes(line.text)) {
        remarks_.add(arrowForm, {std::nullopt, line.number},
                     [] { return "The arrow between the times needs one space on each side."; });
    }
    next.in = checkTime(trimmed(line.text.substr(0, at)), line);
    next.out = checkTime(trimmed(line.text.substr(at + arrow.size())), line);
    if (!next.out) {
        // Some programs write coordinates behind the second time.
        const std::string_view rest = trimmed(line.text.substr(at + arrow.size()));
        if (const auto time = writtenTime(rest.substr(0, rest.find_first_of(" \t")))) {
            next.out = checkTime(rest.substr(0, rest.find_first_of(" \t")), line);
        }
    }
    block_ = std::move(next);
    closed_ = false;
}

std::optional<SRTCheck::Time> SRTCheck::checkTime(std::string_view text, const TextLine& line) {
    const Place place{std::nullopt, line.number};
    if (!isStrictTime(text)) {
        remarks_.add(timeForm, place, [&] {
            return fmt::format("The time \"{}\" is not written as HH:MM:SS,mmm.", shown(text));
        });
    }
    const auto written = writtenTime(text);
    if (!written) return std::nullopt;
    if (written->hours > 23 || written->minutes > 59 || written->seconds > 59) {
        remarks_.add(timeRange, place, [&] {
            return fmt::format("The time \"{}\" does not exist; the last one before it is taken.",
                               shown(text));
        });
    }
    const WrittenTime time{std::min<std::int64_t>(written->hours, 23),
                           std::min<std::int64_t>(written->minutes, 59),
                           std::min<std::int64_t>(written->seconds, 59), written->milliseconds};
    const auto timecode = ZQCKTimecode::timecodeWithString(
        fmt::format("{:02}:{:02}:{:02},{:03}", time.hours, time.minutes, time.seconds, time.milliseconds),
        options_.timebase);
    if (!timecode) return std::nullopt;
    return Time{*timecode, ((time.hours * 60 + time.minutes) * 60 + time.seconds) * 1000 + time.milliseconds};
}

void SRTCheck::finishBlock() {
    if (!block_) return;
    const Block block = *std::exchange(block_, std::nullopt);
    ++report_.blocks;
    Place place{std::nullopt, block.line};
    if (block.in) place.timecode = block.in->timecode;
    if (block.in && !report_.first) report_.first = block.in->timecode;
    if (block.in) report_.last = block.in->timecode;
    checkNumber(block, place);
    if (block.textLines == 0) {
        remarks_.add(noText, place, [] { return "The block holds no text."; });
    }
    checkTimes(block, place);
    text_.check({block.texts, place, block.in ? std::optional(block.in->timecode) : std::nullopt,
                 lastIn_ ? std::optional(lastIn_->timecode) : std::nullopt});
    if (block.in) lastIn_ = block.in;
    if (block.out) lastOut_ = block.out;
}

void SRTCheck::checkNumber(const Block& block, const Place& place) {
    const std::int32_t expected = lastNumber_.value_or(0) + (lastNumber_ == INT32_MAX ? 0 : 1);
    if (!block.number) {
        remarks_.add(noNumber, place, [] { return "The block has no number in the line before its times."; });
        lastNumber_ = expected;
        return;
    }
    if (*block.number != expected) {
        remarks_.add(otherNumber, place, [&] {
            return fmt::format("The block has the number {} where {} was to come.", *block.number, expected);
        });
    }
    lastNumber_ = block.number;
}

void SRTCheck::checkTimes(const Block& block, const Place& place) {
    if (!block.in || !block.out) return;
    const std::uint32_t in = block.in->timecode.framesSinceMidnight();
    const std::uint32_t out = block.out->timecode.framesSinceMidnight();
    if (block.out->milliseconds < block.in->milliseconds) {
        remarks_.add(endsEarly, place, [&] {
            return fmt::format("The block ends at {}, before it begins.", block.out->timecode);
        });
    } else if (in == out) {
        remarks_.add(noDuration, place, [] { return "The block ends on the frame on which it begins."; });
    }
    if (lastIn_ && block.in->milliseconds < lastIn_->milliseconds) {
        remarks_.add(backwards, place, [&] {
            return fmt::format("The times run backwards: the block before begins at {}.", lastIn_->timecode);
        });
    } else if (lastOut_ && in < lastOut_->timecode.framesSinceMidnight()) {
        remarks_.add(overlap, place, [&] {
            return fmt::format("The block begins before the one before it ends, at {}.", lastOut_->timecode);
        });
    }
}

void SRTCheck::followReader(const TextLine& line) {
    if (stoppedAt_) return;
    switch (expected_) {
        case Expected::Number:
            expected_ = Expected::Times;
            break;
        case Expected::Times: {
            const auto times = strictTimes(line.text);
            if (!times) return stopReader(line, "it expects the times of a block here");
            if (!isStrictTime(times->first) || !isStrictTime(times->second)) {
                return stopReader(line, "it cannot read the times");
            }
            expected_ = Expected::Text;
            hasReadText_ = false;
            break;
        }
        case Expected::Text:
            if (!line.text.empty()) {
                hasReadText_ = true;
            } else if (!hasReadText_) {
                return stopReader(line, "the block has no text");
            } else {
                ++readBlocks_;
                expected_ = Expected::Number;
            }
            break;
    }
}

void SRTCheck::stopReader(const TextLine& line, const char* reason) {
    stoppedAt_ = line.number;
    stopReason_ = reason;
}

void SRTCheck::finish() {
    keepHeldLine();
    finishBlock();
    text_.finish();
    if (!stoppedAt_ && expected_ == Expected::Text && hasReadText_) ++readBlocks_;
    report_.readable = report_.readable && readBlocks_ > 0;
    const std::int64_t lost = report_.blocks - readBlocks_;
    if (stoppedAt_ && lost > 0) {
        remarks_.add(readerStops, {std::nullopt, *stoppedAt_}, [&] {
            return fmt::format("The sidecar stops reading at this line: {}. {} of {} blocks are lost.",
                               stopReason_, lost, report_.blocks);
        });
    }
    if (report_.blocks == 0) {
        remarks_.add(readerStops, {}, [] { return "The file holds no subtitle."; });
    }
}

}  // namespace zenquor::detail
