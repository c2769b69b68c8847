#include "zenquor/sidecar/detail/STLGeneralCheck.h"

#include <algorithm>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "zenquor/sidecar/detail/ShownText.h"
#include "zenquor/sidecar/detail/TextLines.h"
#include "zenquor/sidecar/detail/TimecodeLabel.h"

namespace zenquor::detail {
namespace {

using Kind = ZQRCaptionRemark::Kind;

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
constexpr Finding generalTimecode{Kind::Timecode, 3};

constexpr std::string_view codePages[] = {"437", "850", "860", "863", "865"};
constexpr const char* otherTables[] = {"Cyrillic", "Arabic", "Greek", "Hebrew"};  // tables 01 to 04

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

}  // namespace

STLGeneralCheck::General STLGeneralCheck::check(Bytes general, std::size_t fileSize) {
    const std::string_view format = field(general, 3, 8);
    found_.hasKnownFormat = format == "STL25.01" || format == "STL30.01";
    if (format == "STL25.01") found_.timebase = ZQCKTimebase::timebaseForFramerate(2);
    if (!found_.hasKnownFormat) {
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
    return found_;
}

void STLGeneralCheck::checkCodes(Bytes general) {
    const std::string_view page = field(general, 0, 3);
    if (std::find(std::begin(codePages), std::end(codePages), page) == std::end(codePages)) {
        remarks_.add(codePage, {}, [&] {
            return fmt::format("The code page \"{}\" is none of 437, 850, 860, 863, 865.", shown(page));
        });
    }
    found_.displayStandard = static_cast<char>(general[11]);
    if (found_.displayStandard != ' ' && found_.displayStandard != '0' && !found_.isTeletext()) {
        remarks_.add(displayStandard, {}, [&] {
            return fmt::format("The display standard \"{}\" is none of 0, 1, 2.",
                               shown(field(general, 11, 1)));
        });
    }
    const std::string_view table = field(general, 12, 2);
    found_.isLatin = table == "00";
    if (!found_.isLatin) {
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

void STLGeneralCheck::checkCounts(Bytes general, std::size_t fileSize) {
    const auto announced = digits(field(general, 238, 5));
    const auto present = static_cast<std::int64_t>((fileSize - size) / blockSize);
    const std::size_t rest = (fileSize - size) % blockSize;
    found_.announcedSubtitles = digits(field(general, 243, 5)).value_or(-1);
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
        found_.hasAllBlocks = false;
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

void STLGeneralCheck::checkTimecodeFields(Bytes general) {
    if (general[255] == '0') {
        remarks_.add(timecodeStatus, {},
                     [] { return "The file says that its timecodes are not to be used."; });
    }
    found_.programmeStart = checkTimecodeField(general, 256, "start of the programme");
    found_.firstInCue = checkTimecodeField(general, 264, "first subtitle");
}

std::optional<ZQCKTimecode> STLGeneralCheck::checkTimecodeField(Bytes general, std::size_t offset,
                                                                const char* name) {
    const std::string_view text = field(general, offset, 8);
    const auto label = TimecodeLabel::fromText(fmt::format(
        "{}:{}:{}:{}", text.substr(0, 2), text.substr(2, 2), text.substr(4, 2), text.substr(6, 2)));
    const auto fault =
        label ? label->fault(found_.timebase) : std::optional<std::string>("is not made of digits");
    if (fault) {
        remarks_.add(
            generalTimecode, {},
            [&] { return fmt::format("The timecode of the {}, \"{}\", {}.", name, shown(text), *fault); },
            offset);
    }
    if (!label) return std::nullopt;
    return label->timecode(found_.timebase);
}

}  // namespace zenquor::detail
