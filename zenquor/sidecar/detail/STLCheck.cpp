#include "zenquor/sidecar/detail/STLCheck.h"

#include <algorithm>
#include <string>

#include <fmt/format.h>

#include "zenquor/sidecar/detail/ShownText.h"
#include "zenquor/sidecar/detail/TextLines.h"

namespace zenquor::detail {
namespace {

using Kind = ZQRCaptionRemark::Kind;

constexpr Finding tooShort{Kind::Format};
constexpr Finding diskFormat{Kind::Format};
constexpr Finding codePage{Kind::Format};
constexpr Finding displayStandard{Kind::Format};
constexpr Finding characterTable{Kind::Code};
constexpr Finding language{Kind::Format};
constexpr Finding diskNumbers{Kind::Format};
constexpr Finding timecodeStatus{Kind::Timecode};
constexpr Finding blockCountMissing{Kind::Count};
constexpr Finding blockCountHigh{Kind::Count};
constexpr Finding blockCountLow{Kind::Loss};
constexpr Finding partOfBlock{Kind::Count};
constexpr Finding subtitleCount{Kind::Count};
constexpr Finding generalTimecode{Kind::Timecode, 3};
constexpr Finding programmeStart{Kind::Timecode};
constexpr Finding firstCue{Kind::Timecode};
constexpr Finding reservedExtension{Kind::Format, 3};
constexpr Finding extensionMissing{Kind::Sequence, 5};
constexpr Finding numberOrder{Kind::Sequence, 3};
constexpr Finding cumulativeOrder{Kind::Sequence, 5};
constexpr Finding verticalPosition{Kind::SafeArea, 5};
constexpr Finding justification{Kind::Format};
constexpr Finding commentFlag{Kind::Format};
constexpr Finding noSuchLabel{Kind::Timecode, 10};
constexpr Finding endsEarly{Kind::Timecode, 10};
constexpr Finding noDuration{Kind::Timecode, 10};
constexpr Finding backwards{Kind::Timecode, 10};
constexpr Finding overlap{Kind::Overlap, 10};
constexpr Finding reservedControl{Kind::Code, 3};
constexpr Finding openControl{Kind::Code};
constexpr Finding teletextControl{Kind::Code};
constexpr Finding unmatchedMark{Kind::Code, 5};
constexpr Finding textBehindFill{Kind::Format};
constexpr Finding manyRows{Kind::Length, 5};
constexpr Finding longRow{Kind::Length, 5};

constexpr std::size_t generalSize = 1024;
constexpr std::size_t blockSize = 128;
constexpr unsigned firstReservedExtension = 0xF0;
constexpr unsigned userData = 0xFE;
constexpr unsigned lastExtension = 0xFF;
constexpr unsigned lastTeletextRow = 23;
constexpr unsigned lastOpenPosition = 99;
constexpr int teletextColumns = 40;
constexpr int boxCodes = 2;      // of each kind, added where a row has none
constexpr int rowsOfPacket = 3;  // besides the page's header
/// Many deliveries open with a subtitle at zero that carries notes about the file, no longer than this.
constexpr std::uint32_t zeroSubtitleFrames = 8;
constexpr std::uint8_t doubleHeight = 0x0D;
constexpr std::uint8_t startBox = 0x0B;
constexpr std::uint8_t endBox = 0x0A;
constexpr std::uint8_t newRow = 0x8A;
constexpr std::uint8_t unusedSpace = 0x8F;

constexpr std::string_view codePages[] = {"437", "850", "860", "863", "865"};
constexpr const char* otherTables[] = {"Cyrillic", "Arabic", "Greek", "Hebrew"};  // tables 01 to 04

/// The letters that each mark 0xC0 to 0xCF can stand on.
constexpr std::string_view lettersOfMarks[] = {"",
                                               "AEIOUaeiou",
                                               "ACEILNORSUYZacegilnorsuyz",
                                               "ACEGHIJOSUWYaceghijosuwy",
                                               "AINOUainou",
                                               "AEIOUaeiou",
                                               "AGUagu",
                                               "CEGIZcegz",
                                               "AEIOUYaeiouy",
                                               "",
                                               "AUau",
                                               "CGKLNRSTcklnrst",
                                               "",
                                               "OUou",
                                               "AEIUaeiu",
                                               "CDELNRSTZcdelnrstz"};

std::string_view field(std::span<const std::uint8_t> bytes, std::size_t offset, std::size_t length) {
    return {reinterpret_cast<const char*>(bytes.data()) + offset, length};
}

/// The number in a field's digits, as the sidecar reads it; nothing when there is no digit.
std::optional<std::int64_t> digits(std::string_view text) {
    std::optional<std::int64_t> value;
    for (const char c : text) {
        if (isDigit(c)) value = value.value_or(0) * 10 + (c - '0');
    }
    return value;
}

/// Two hexadecimal digits of a language that the standard names; 30 to 3F are left to nations.
bool isLanguage(std::string_view code) {
    constexpr std::string_view hexadecimal = "0123456789ABCDEF";
    const std::size_t high = hexadecimal.find(code[0]);
    const std::size_t low = hexadecimal.find(code[1]);
    if (high == std::string_view::npos || low == std::string_view::npos) return false;
    const std::size_t value = high * 16 + low;
    return value <= 0x2B || (value >= 0x30 && value <= 0x7F);
}

TimecodeLabel labelFromBytes(std::span<const std::uint8_t> bytes) {
    TimecodeLabel label;
    label.hours = bytes[0];
    label.minutes = bytes[1];
    label.seconds = bytes[2];
    label.frames = bytes[3];
    return label;
}

bool isReservedControl(std::uint8_t code) {
    return (code >= 0x86 && code <= 0x89) || (code >= 0x8B && code <= 0x8E) || (code >= 0x90 && code <= 0x9F);
}

}  // namespace

void STLCheck::check(Bytes bytes) {
    if (bytes.size() < generalSize) {
        remarks_.add(tooShort, {}, [&] {
            return fmt::format(
                "The file has {} bytes, fewer than its general block of {}: nothing can be read.",
                bytes.size(), generalSize);
        });
        return;
    }
    checkGeneral(bytes.first(generalSize), bytes.size());
    const Bytes blocks = bytes.subspan(generalSize);
    report_.blocks = static_cast<std::int64_t>(blocks.size() / blockSize);
    for (std::int64_t i = 0; i < report_.blocks; ++i) {
        checkBlock(blocks.subspan(static_cast<std::size_t>(i) * blockSize, blockSize));
    }
    finish();
}

void STLCheck::checkGeneral(Bytes general, std::size_t fileSize) {
    const std::string_view format = field(general, 3, 8);
    hasKnownFormat_ = format == "STL25.01" || format == "STL30.01";
    if (format == "STL25.01") timebase_ = ZQCKTimebase::timebaseForFramerate(2);
    report_.dropFrame = timebase_.dropFrameTimecode();
    if (!hasKnownFormat_) {
        remarks_.add(diskFormat, {}, [&] {
            return fmt::format(
                "The disk format code \"{}\" is neither STL25.01 nor STL30.01: the sidecar counts 29.97 "
                "frames per second and calls the file invalid.",
                shown(format));
        });
    }
    checkCodes(general);
    checkCounts(general, fileSize);
    checkTimecodeFields(general);
}

void STLCheck::checkCodes(Bytes general) {
    const std::string_view page = field(general, 0, 3);
    if (std::find(std::begin(codePages), std::end(codePages), page) == std::end(codePages)) {
        remarks_.add(codePage, {}, [&] {
            return fmt::format("The code page \"{}\" is none of 437, 850, 860, 863, 865.", shown(page));
        });
    }
    displayStandard_ = static_cast<char>(general[11]);
    if (displayStandard_ != ' ' && displayStandard_ != '0' && !isTeletext()) {
        remarks_.add(displayStandard, {}, [&] {
            return fmt::format("The display standard \"{}\" is none of 0, 1, 2.",
                               shown(field(general, 11, 1)));
        });
    }
    const std::string_view table = field(general, 12, 2);
    isLatin_ = table == "00";
    if (!isLatin_) {
        remarks_.add(characterTable, {}, [&] {
            const auto number = digits(table).value_or(0);
            const bool isKnown = table[0] == '0' && number >= 1 && number <= 4;
            return fmt::format(
                "The text uses the character table \"{}\"{}; the sidecar reads the Latin table 00 only, "
                "so letters will be wrong.",
                shown(table), isKnown ? fmt::format(" ({})", otherTables[number - 1]) : "");
        });
    }
    const std::string_view code = field(general, 14, 2);
    if (!isLanguage(code)) {
        remarks_.add(language, {},
                     [&] { return fmt::format("The language code \"{}\" names no language.", shown(code)); });
    }
    const auto disks = digits(field(general, 272, 1));
    const auto disk = digits(field(general, 273, 1));
    if (disks && disk && *disk > *disks) {
        remarks_.add(diskNumbers, {},
                     [&] { return fmt::format("The file is disk {} of {}.", *disk, *disks); });
    }
}

void STLCheck::checkCounts(Bytes general, std::size_t fileSize) {
    const auto announced = digits(field(general, 238, 5));
    const auto present = static_cast<std::int64_t>((fileSize - generalSize) / blockSize);
    const std::size_t rest = (fileSize - generalSize) % blockSize;
    announcedSubtitles_ = digits(field(general, 243, 5)).value_or(-1);
    if (rest != 0) {
        remarks_.add(partOfBlock, {}, [&] {
            return fmt::format("The file ends with {} bytes that make no whole block of {}.", rest,
                               blockSize);
        });
    }
    if (!announced) {
        remarks_.add(blockCountMissing, {}, [&] {
            return fmt::format("The number of blocks is not given: the sidecar reads none of the {}.",
                               present);
        });
    } else if (*announced > present) {
        hasAllBlocks_ = false;
        remarks_.add(blockCountHigh, {}, [&] {
            return fmt::format("The file announces {} blocks, but holds {}: the sidecar calls it invalid.",
                               *announced, present);
        });
    } else if (*announced < present) {
        remarks_.add(blockCountLow, {}, [&] {
            return fmt::format(
                "The file announces {} blocks, but holds {}: the sidecar does not read the last {}.",
                *announced, present, present - *announced);
        });
    }
}

void STLCheck::checkTimecodeFields(Bytes general) {
    if (general[255] == '0') {
        remarks_.add(timecodeStatus, {},
                     [] { return "The file says that its timecodes are not to be used."; });
    }
    programmeStart_ = checkTimecodeField(general, 256, "start of the programme");
    firstInCue_ = checkTimecodeField(general, 264, "first subtitle");
}

std::optional<ZQCKTimecode> STLCheck::checkTimecodeField(Bytes general, std::size_t offset,
                                                         const char* name) {
    const std::string_view text = field(general, offset, 8);
    const auto label = TimecodeLabel::fromText(fmt::format(
        "{}:{}:{}:{}", text.substr(0, 2), text.substr(2, 2), text.substr(4, 2), text.substr(6, 2)));
    const auto fault = label ? label->fault(timebase_) : std::optional<std::string>("is not made of digits");
    if (fault) {
        remarks_.add(
            generalTimecode, {},
            [&] { return fmt::format("The timecode of the {}, \"{}\", {}.", name, shown(text), *fault); },
            offset);
    }
    if (!label) return std::nullopt;
    return label->timecode(timebase_);
}

void STLCheck::checkBlock(Bytes bytes) {
    Block block{bytes[0],
                static_cast<unsigned>(bytes[1] | bytes[2] << 8),
                bytes[3],
                bytes[4],
                bytes[13],
                bytes[14],
                bytes[15],
                labelFromBytes(bytes.subspan(5, 4)),
                labelFromBytes(bytes.subspan(9, 4)),
                bytes.subspan(16),
                {}};
    block.place = {block.in.timecode(timebase_), std::nullopt, block.number};
    if (block.extension >= firstReservedExtension && block.extension < userData) {
        remarks_.add(reservedExtension, block.place, [&] {
            return fmt::format("The extension number {:02X} is reserved: the block is not shown.",
                               block.extension);
        });
    }
    if (block.extension >= firstReservedExtension && block.extension != lastExtension) return;
    checkNumbers(block);
    if (block.comment > 1) {
        remarks_.add(commentFlag, block.place, [&] {
            return fmt::format("The comment flag is {}, neither 0 nor 1: the block is not shown.",
                               block.comment);
        });
    }
    if (block.comment != 0) return;
    checkCumulative(block);
    checkPlacement(block);
    checkTimes(block);
    checkText(block);
}

void STLCheck::checkNumbers(const Block& block) {
    const bool continues = goesOn_ && goesOn_->first == block.number &&
                           (block.extension == goesOn_->second + 1 || block.extension == lastExtension);
    if (goesOn_ && !continues) {
        remarks_.add(extensionMissing, goesOnAt_, [&] {
            return fmt::format("The text of subtitle {} goes on in a block that is missing.", goesOn_->first);
        });
    }
    goesOn_.reset();
    if (block.extension != lastExtension) {
        goesOn_ = {block.number, block.extension};
        goesOnAt_ = block.place;
    }
    subtitles_.emplace(block.group, block.number);
    const auto before = std::exchange(lastNumber_, block.number);
    if (!before || block.number == *before || block.number == *before + 1) return;
    remarks_.add(numberOrder, block.place,
                 [&] { return fmt::format("Subtitle {} comes behind subtitle {}.", block.number, *before); });
}

void STLCheck::checkCumulative(const Block& block) {
    enum : unsigned { Single, First, Intermediate, Last };
    const bool opens = block.cumulative == Single || block.cumulative == First;
    const auto tell = [&](const Place& place, const char* text) {
        remarks_.add(cumulativeOrder, place, [&] { return text; });
    };
    if (block.cumulative > Last) {
        tell(block.place, "The cumulative status is none of 0 to 3.");
    } else if (opens && openSet_) {
        tell(*openSet_, "The cumulative set that begins here has no last subtitle.");
        openSet_.reset();
    } else if (!opens && !openSet_) {
        tell(block.place, "The subtitle adds to a cumulative set that has no first one.");
    }
    if (block.cumulative == First) openSet_ = block.place;
    if (block.cumulative == Last && block.extension == lastExtension) openSet_.reset();
}

void STLCheck::checkPlacement(const Block& block) {
    const unsigned first = isTeletext() ? 1 : 0;
    const unsigned last = isTeletext() ? lastTeletextRow : lastOpenPosition;
    if (block.position < first || block.position > last) {
        remarks_.add(verticalPosition, block.place, [&] {
            return fmt::format("The row {} lies outside the {} to {} of the screen.", block.position, first,
                               last);
        });
    }
    if (block.justification > 3) {
        remarks_.add(justification, block.place, [&] {
            return fmt::format("The justification code {} is none of 0 to 3; the text stays as it is.",
                               block.justification);
        });
    }
}

void STLCheck::checkLabel(const TimecodeLabel& label, const char* name, const Place& place) {
    const auto fault = label.fault(timebase_);
    if (!fault) return;
    remarks_.add(noSuchLabel, place, [&] {
        return fmt::format("The timecode {} {:02}:{:02}:{:02}:{:02} {}.", name, label.hours, label.minutes,
                           label.seconds, label.frames, *fault);
    });
}

void STLCheck::checkTimes(const Block& block) {
    const ZQCKTimecode in = block.in.timecode(timebase_);
    const ZQCKTimecode out = block.out.timecode(timebase_);
    if (in.framesSinceMidnight() == 0 && out.framesSinceMidnight() <= zeroSubtitleFrames) return;
    if (!report_.first) checkFirstTime(in, block.place);
    if (!report_.first) report_.first = in;
    report_.last = in;
    checkLabel(block.in, "in", block.place);
    checkLabel(block.out, "out", block.place);
    checkOrder(block, in.framesSinceMidnight(), out.framesSinceMidnight());
}

void STLCheck::checkOrder(const Block& block, std::uint32_t in, std::uint32_t out) {
    if (out < in) {
        remarks_.add(endsEarly, block.place, [&] {
            return fmt::format("The subtitle ends at {}, before it begins.", block.out.timecode(timebase_));
        });
    } else if (out == in) {
        remarks_.add(noDuration, block.place,
                     [] { return "The subtitle ends on the frame on which it begins."; });
    }
    const auto lastIn = std::exchange(lastIn_, in);
    const auto lastOut = std::exchange(lastOut_, out);
    // Further blocks of one subtitle share its times, and those of a cumulative set overlap by design.
    const bool isAddition = block.cumulative >= 2 || (lastIn == in && lastOut == out && block.extension != 0);
    if (!lastIn || isAddition) return;
    const auto name = [&](std::uint32_t frame) { return ZQCKTimecode::timecodeWithFrames(frame, timebase_); };
    if (in < *lastIn) {
        remarks_.add(backwards, block.place, [&] {
            return fmt::format("The timecodes run backwards: the block before begins at {}.", name(*lastIn));
        });
    } else if (in < *lastOut) {
        remarks_.add(overlap, block.place, [&] {
            return fmt::format("The subtitle begins before the one before it ends, at {}.", name(*lastOut));
        });
    }
}

void STLCheck::checkFirstTime(const ZQCKTimecode& in, const Place& place) {
    const std::uint32_t first = in.framesSinceMidnight();
    const std::uint32_t hour = timebase_.framesPerHour();
    if (programmeStart_) {
        const std::uint32_t start = programmeStart_->framesSinceMidnight();
        if (first < start || (start == 0 && first >= hour)) {
            remarks_.add(programmeStart, place, [&] {
                return fmt::format(
                    "The programme starts at {}, but the first subtitle is at {}: the two do not count "
                    "from the same time.",
                    *programmeStart_, in);
            });
        }
    }
    if (firstInCue_ && firstInCue_->framesSinceMidnight() != 0 && *firstInCue_ != in) {
        remarks_.add(firstCue, place, [&] {
            return fmt::format("The file says that the first subtitle is at {}, but it is at {}.",
                               *firstInCue_, in);
        });
    }
}

void STLCheck::checkText(const Block& block) {
    Row row;
    int rows = 0;
    int codes = 0;
    std::uint8_t mark = 0;
    bool filled = false;
    for (const std::uint8_t byte : block.text) {
        if (byte == unusedSpace) {
            filled = true;
            continue;
        }
        if (filled) {
            filled = false;
            remarks_.add(textBehindFill, block.place,
                         [] { return "Text stands behind the unused space of the block."; });
        }
        if (mark != 0 && isLatin_) checkMark(mark, byte, block.place);
        const bool isMark = byte >= 0xC0 && byte <= 0xCF && isLatin_;
        mark = isMark ? byte : std::uint8_t{0};
        if (isMark) continue;
        if (byte == newRow) {
            finishRow(std::exchange(row, Row{}), rows, block.place);
            codes = 0;
            continue;
        }
        if (byte < 0x20 || (byte >= 0x80 && byte <= 0x9F)) checkControl(byte, block.place);
        if (byte >= 0x80 && byte <= 0x9F) continue;
        ++codes;
        if (byte == ' ') continue;
        row.columns = codes;
        row.hasStartBox |= byte == startBox;
        row.hasEndBox |= byte == endBox;
        row.characters += byte >= 0x20 ? 1 : 0;
    }
    if (mark != 0) checkMark(mark, 0, block.place);
    finishRow(row, rows, block.place);
    if (rows > rowsOfPacket) {
        remarks_.add(manyRows, block.place, [&] {
            return fmt::format(
                "The block has {} rows of text, and an OP-47 packet holds {}: the last ones are lost.", rows,
                rowsOfPacket);
        });
    }
    const bool isDouble = std::find(block.text.begin(), block.text.end(), doubleHeight) != block.text.end();
    const unsigned height = static_cast<unsigned>(std::max(rows - 1, 0)) * (isDouble ? 2 : 1);
    if (isTeletext() && block.position <= lastTeletextRow && block.position + height > lastTeletextRow) {
        remarks_.add(verticalPosition, block.place, [&] {
            return fmt::format("The text begins on row {} and runs out of the screen below row {}.",
                               block.position, lastTeletextRow);
        });
    }
}

void STLCheck::finishRow(const Row& row, int& rows, const Place& place) {
    if (row.characters > 0) ++rows;
    const int columns = row.columns + (row.hasStartBox ? 0 : boxCodes) + (row.hasEndBox ? 0 : boxCodes);
    if (row.characters == 0 || columns <= teletextColumns) return;
    remarks_.add(longRow, place, [&] {
        return fmt::format("A row of text takes {} columns with its box and colour codes; teletext has {}.",
                           columns, teletextColumns);
    });
}

void STLCheck::checkControl(std::uint8_t code, const Place& place) {
    if (isReservedControl(code)) {
        remarks_.add(reservedControl, place, [&] {
            return fmt::format("The control code {:02X} is reserved and is left out.", code);
        });
    } else if (code >= 0x80 && isTeletext()) {
        remarks_.add(openControl, place, [&] {
            return fmt::format(
                "The control code {:02X} (italics, underline, box) is for open subtitles; teletext "
                "leaves it out.",
                code);
        });
    } else if (code < 0x20 && displayStandard_ == '0') {
        remarks_.add(teletextControl, place, [&] {
            return fmt::format("The teletext code {:02X} stands in a file of open subtitles.", code);
        });
    }
}

void STLCheck::checkMark(std::uint8_t mark, std::uint8_t letter, const Place& place) {
    const std::string_view letters = lettersOfMarks[mark & 0x0F];
    if (letter != 0 && letters.find(static_cast<char>(letter)) != std::string_view::npos) return;
    remarks_.add(unmatchedMark, place, [&] {
        const bool isPlain = letter > 0x20 && letter < 0x7F;
        return isPlain ? fmt::format("The accent {:02X} cannot stand on \"{}\": both are left out.", mark,
                                     static_cast<char>(letter))
                       : fmt::format("The accent {:02X} has no letter behind it and is left out.", mark);
    });
}

void STLCheck::finish() {
    if (goesOn_) {
        remarks_.add(extensionMissing, goesOnAt_, [&] {
            return fmt::format("The text of subtitle {} goes on in a block that is missing.", goesOn_->first);
        });
    }
    if (openSet_) {
        remarks_.add(cumulativeOrder, *openSet_,
                     [] { return "The cumulative set that begins here has no last subtitle."; });
    }
    const auto found = static_cast<std::int64_t>(subtitles_.size());
    if (announcedSubtitles_ != found) {
        remarks_.add(subtitleCount, {}, [&] {
            return announcedSubtitles_ < 0
                       ? fmt::format("The number of subtitles is not given; the file holds {}.", found)
                       : fmt::format("The file announces {} subtitles, but holds {}.", announcedSubtitles_,
                                     found);
        });
    }
    report_.readable = hasKnownFormat_ && hasAllBlocks_;
}

}  // namespace zenquor::detail
