#include "zenquor/sidecar/detail/SRTCheck.h"

#include <algorithm>
#include <charconv>

#include <fmt/format.h>

#include "zenquor/core/Unicode.h"
#include "zenquor/sidecar/ZQRCaptionCharacters.h"
#include "zenquor/sidecar/ZQRSRTSidecar.h"
#include "zenquor/sidecar/ZQRSubtitleBlock.h"
#include "zenquor/sidecar/detail/ShownText.h"
#include "zenquor/vanc/ZQRVANCCEA608Packet.h"
#include "zenquor/vanc/ZQRVANCTeletextPacket.h"

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
constexpr Finding unknownMarkup{Kind::Code, 3};
constexpr Finding braces{Kind::Code};
constexpr Finding longLine{Kind::Length, 5};
constexpr Finding hugeText{Kind::Length, 5};
constexpr Finding manyRows{Kind::Length, 10};
constexpr Finding replacedCharacter{Kind::Code};
constexpr Finding lostCharacter{Kind::Loss};
constexpr Finding tooFast{Kind::Timing, 10};
constexpr Finding readerStops{Kind::Loss};

constexpr std::string_view arrow = "-->";
/// More rows than any screen has; what a block has beyond them is only counted.
constexpr std::size_t maximumTextLines = 64;
constexpr std::size_t maximumLineBytes = 4096;
constexpr std::size_t longestText = 1000;  // fills a screen of any raster
constexpr std::size_t timeLength = 12;
constexpr std::size_t listedCharacters = 20;
constexpr std::uint32_t fastestPairRate = 30;  // pairs of one field a second

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

bool startsWith(std::u16string_view text, std::u16string_view beginning) {
    return text.substr(0, beginning.size()) == beginning;
}

/// The tags that the sidecar understands, by their beginning.
bool isKnownTag(std::u16string_view tag) {
    for (const std::u16string_view known : {u"line", u"/line", u"font", u"/font"}) {
        if (startsWith(tag, known)) return true;
    }
    return false;
}

}  // namespace

SRTCheck::SRTCheck(ZQRCaptionChecker::Report& report, RemarkCollector& remarks,
                   const ZQRCaptionChecker::Options& options)
    : report_(report), remarks_(remarks), options_(options), fits_(0x10000) {}

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
    isUTF8_ = false;
    remarks_.add(noUTF8, place, [] {
        return "The text is not UTF-8 but an older encoding: its letters beyond ASCII will be lost. Convert "
               "the "
               "file to UTF-8.";
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
    checkText(block, place);
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

void SRTCheck::checkText(const Block& block, const Place& place) {
    const auto wrapped = ZQRSubtitleBlock::subtitleBlock();
    ZQRSubtitleLineList lines;
    std::size_t characters = 0;
    for (const std::string_view line : block.texts) {
        std::u16string text = checkMarkup(line, place);
        if (isUTF8_) checkCharacters(text, place);
        if (!options_.teletext) {
            text = ZQRCaptionCharacters::fitted(text, options_.allowWestEuropean);
        }
        const auto columns = static_cast<std::size_t>(std::max(options_.columns, 1));
        if (text.size() > columns) {
            remarks_.add(longLine, place, [&] {
                return fmt::format("A line has {} characters, and a row {}: it will be wrapped.", text.size(),
                                   columns);
            });
        }
        characters += text.size();
        lines.push_back(ZQRSubtitleLine::initWithString(std::move(text)));
    }
    if (characters > longestText) {
        remarks_.add(hugeText, place, [&] {
            return fmt::format(
                "The block has {} characters, more than any screen holds: a blank line may be missing.",
                characters);
        });
        return;
    }
    wrapped->setLines(std::move(lines));
    wrapped->setJustification(ZQRSubtitleBlock::Centered);
    wrapped->prepareForRenderingWidth(options_.columns, 0);
    std::vector<std::u16string> rows;
    for (const auto& line : wrapped->lines()) rows.push_back(line->string());
    checkRows(rows, place);
    if (!options_.teletext) checkPace(block, rows, place);
}

std::u16string SRTCheck::checkMarkup(std::string_view line, const Place& place) {
    const std::u16string source = utf16FromUTF8(line);
    std::u16string text;
    std::size_t rest = 0;
    while (rest < source.size()) {
        const std::size_t open = source.find(u'<', rest);
        const std::size_t close = open == source.npos ? source.npos : source.find(u'>', open);
        if (close == source.npos) break;
        const auto tag = std::u16string_view(source).substr(open + 1, close - open - 1);
        if (!isKnownTag(tag)) {
            remarks_.add(unknownMarkup, place, [&] {
                return fmt::format("The markup \"<{}>\" is not understood; it will be shown as text.",
                                   shown(utf8FromUTF16(tag)));
            });
            break;
        }
        text.append(source, rest, open - rest);
        rest = close + 1;
    }
    text.append(source, rest);
    if (text.find(u"{\\") != text.npos) {
        remarks_.add(braces, place, [&] {
            return fmt::format("The code in \"{}\" is not understood; it will be shown as text.",
                               shown(utf8FromUTF16(text)));
        });
    }
    return text;
}

std::u16string_view SRTCheck::teletextCharacters() {
    if (teletextCharacters_.empty()) {
        std::array<std::uint8_t, 0x60> codes{};
        for (std::size_t i = 0; i < codes.size(); ++i) codes[i] = static_cast<std::uint8_t>(0x20 + i);
        const auto set = ZQRVANCTeletextPacket::displayedCharacterSet(options_.teletextCharacterSet);
        teletextCharacters_ = ZQRVANCTeletextPacket::decodedData(codes, set);
    }
    return teletextCharacters_;
}

/// Also true for what a viewer would not notice.
bool SRTCheck::canSend(char16_t character) {
    const auto replacement = ZQRCaptionCharacters::replacementFor(character, options_.allowWestEuropean);
    if (replacement && replacement->looksAlike) return true;
    if (options_.teletext) return teletextCharacters().find(character) != std::u16string_view::npos;
    return ZQRCaptionCharacters::fits({&character, 1}, options_.allowWestEuropean);
}

void SRTCheck::checkCharacters(std::u16string_view text, const Place& place) {
    for (const char16_t character : text) {
        std::uint8_t& verdict = fits_[character];
        if (verdict == 0) verdict = character < 0x20 || canSend(character) ? 1 : 2;
        if (verdict == 1) continue;
        if (options_.teletext) {
            remarks_.add(
                replacedCharacter, place,
                [&] {
                    return fmt::format(
                        "The teletext character set lacks \"{}\": a near character is sent, or none.",
                        utf8FromUTF16({&character, 1}));
                },
                character);
            continue;
        }
        const auto replacement = ZQRCaptionCharacters::replacementFor(character, options_.allowWestEuropean);
        if (!replacement) {
            lose(character, place);
            continue;
        }
        remarks_.add(
            replacedCharacter, place,
            [&] {
                return fmt::format("CEA-608 cannot send \"{}\"; \"{}\" is sent in its place.",
                                   utf8FromUTF16({&character, 1}), utf8FromUTF16(replacement->text));
            },
            character);
    }
}

void SRTCheck::lose(char16_t character, const Place& place) {
    if (lostCount_++ == 0) lostAt_ = place;
    // Both halves of a character beyond the basic plane come here; it has no place in the list.
    const bool isHalf = character >= 0xD800 && character < 0xE000;
    if (!isHalf && lost_.size() < listedCharacters && lost_.find(character) == lost_.npos) lost_ += character;
}

void SRTCheck::checkRows(const std::vector<std::u16string>& rows, const Place& place) {
    if (options_.rows <= 0 || rows.size() <= static_cast<std::size_t>(options_.rows)) return;
    remarks_.add(manyRows, place, [&] {
        return fmt::format(
            "The block takes {} rows of {} characters, and there is room for {}: its end is lost.",
            rows.size(), options_.columns, options_.rows);
    });
}

void SRTCheck::checkPace(const Block& block, const std::vector<std::u16string>& rows, const Place& place) {
    if (!block.in) return;
    using Packet = ZQRVANCCEA608Packet;
    const std::int64_t framesPerPair = options_.timebase.nominalFramesPerSecond() > fastestPairRate ? 2 : 1;
    const auto shownRows = std::min(rows.size(), static_cast<std::size_t>(std::max(options_.rows, 1)));
    std::size_t pairs = Packet::packetsForStartOfCaptionOnChannel(0).size();
    for (std::size_t i = 0; i < shownRows; ++i) {
        const auto width = static_cast<std::int32_t>(std::min<std::size_t>(rows[i].size(), 32));
        pairs += Packet::packetsForPosition((32 - width) / 2, 15, false, 0).size();
        pairs += Packet::packetsEncodingString(rows[i], 15, 0, 0, options_.allowWestEuropean).size();
    }
    const std::int64_t in = block.in->timecode.framesSinceMidnight();
    const std::int64_t earliest = lastIn_ ? lastIn_->timecode.framesSinceMidnight() + std::int64_t{1} : 0;
    if (lastIn_ && in < earliest) return;  // runs backwards, which is remarked
    const std::int64_t start = std::max(freeAt_, earliest);
    const std::int64_t loaded = start + static_cast<std::int64_t>(pairs) * framesPerPair;
    if (loaded > in) {
        remarks_.add(tooFast, place, [&] {
            return fmt::format(
                "The text takes {} to send, and there are {} before it is due: it appears {} late. Make it "
                "shorter, or begin it later.",
                counted(loaded - start, "frame"), std::max<std::int64_t>(in - start, 0),
                counted(loaded - in, "frame"));
        });
    }
    const auto flip = static_cast<std::int64_t>(Packet::packetsForFlipCaptionsOnChannel(0).size());
    freeAt_ = std::max(loaded, in) + flip * framesPerPair;
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
    if (lostCount_ > 0) {
        remarks_.add(lostCharacter, lostAt_, [&] {
            return fmt::format(
                "CEA-608 cannot send {}, here and later{}: {} left out.", counted(lostCount_, "character"),
                lost_.empty() ? ""
                              : fmt::format(" (\"{}\"{})", utf8FromUTF16(lost_),
                                            lost_.size() == listedCharacters ? " and others" : ""),
                lostCount_ == 1 ? "it is" : "they are");
        });
    }
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
