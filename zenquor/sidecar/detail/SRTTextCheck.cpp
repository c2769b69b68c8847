#include "zenquor/sidecar/detail/SRTTextCheck.h"

#include <algorithm>
#include <array>
#include <utility>

#include <fmt/format.h>

#include "zenquor/core/Unicode.h"
#include "zenquor/sidecar/ZQRCaptionCharacters.h"
#include "zenquor/sidecar/ZQRSubtitleBlock.h"
#include "zenquor/sidecar/detail/ShownText.h"
#include "zenquor/vanc/ZQRVANCCEA608Packet.h"
#include "zenquor/vanc/ZQRVANCTeletextPacket.h"

namespace zenquor::detail {
namespace {

using Kind = ZQRCaptionRemark::Kind;

constexpr Finding unknownMarkup{Kind::Code, 3};
constexpr Finding braces{Kind::Code};
constexpr Finding longLine{Kind::Length, 5};
constexpr Finding hugeText{Kind::Length, 5};
constexpr Finding manyRows{Kind::Length, 10};
constexpr Finding replacedCharacter{Kind::Code};
constexpr Finding lostCharacter{Kind::Loss};
constexpr Finding tooFast{Kind::Timing, 10};

constexpr std::size_t longestText = 1000;  // fills a screen of any raster
constexpr std::size_t listedCharacters = 20;
constexpr std::uint32_t fastestPairRate = 30;  // pairs of one field a second

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

SRTTextCheck::SRTTextCheck(RemarkCollector& remarks, const ZQRCaptionChecker::Options& options)
    : remarks_(remarks), options_(options), fits_(0x10000) {}

void SRTTextCheck::check(const Text& block) {
    const auto wrapped = ZQRSubtitleBlock::subtitleBlock();
    ZQRSubtitleLineList lines;
    std::size_t characters = 0;
    for (const std::string_view line : block.lines) {
        std::u16string text = checkMarkup(line, block.place);
        if (isUTF8_) checkCharacters(text, block.place);
        if (!options_.teletext) {
            text = ZQRCaptionCharacters::fitted(text, options_.allowWestEuropean);
        }
        const auto columns = static_cast<std::size_t>(std::max(options_.columns, 1));
        if (text.size() > columns) {
            remarks_.add(longLine, block.place, [&] {
                return fmt::format("A line has {} characters, and a row {}: it will be wrapped.", text.size(),
                                   columns);
            });
        }
        characters += text.size();
        lines.push_back(ZQRSubtitleLine::initWithString(std::move(text)));
    }
    if (characters > longestText) {
        remarks_.add(hugeText, block.place, [&] {
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
    checkRows(rows, block.place);
    if (!options_.teletext) checkPace(block, rows);
}

std::u16string SRTTextCheck::checkMarkup(std::string_view line, const Place& place) {
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

std::u16string_view SRTTextCheck::teletextCharacters() {
    if (teletextCharacters_.empty()) {
        std::array<std::uint8_t, 0x60> codes{};
        for (std::size_t i = 0; i < codes.size(); ++i) codes[i] = static_cast<std::uint8_t>(0x20 + i);
        const auto set = ZQRVANCTeletextPacket::displayedCharacterSet(options_.teletextCharacterSet);
        teletextCharacters_ = ZQRVANCTeletextPacket::decodedData(codes, set);
    }
    return teletextCharacters_;
}

/// Also true for what a viewer would not notice.
bool SRTTextCheck::canSend(char16_t character) {
    const auto replacement = ZQRCaptionCharacters::replacementFor(character, options_.allowWestEuropean);
    if (replacement && replacement->looksAlike) return true;
    if (options_.teletext) return teletextCharacters().find(character) != std::u16string_view::npos;
    return ZQRCaptionCharacters::fits({&character, 1}, options_.allowWestEuropean);
}

void SRTTextCheck::checkCharacters(std::u16string_view text, const Place& place) {
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

void SRTTextCheck::lose(char16_t character, const Place& place) {
    if (lostCount_++ == 0) lostAt_ = place;
    // Both halves of a character beyond the basic plane come here; it has no place in the list.
    const bool isHalf = character >= 0xD800 && character < 0xE000;
    if (!isHalf && lost_.size() < listedCharacters && lost_.find(character) == lost_.npos) lost_ += character;
}

void SRTTextCheck::checkRows(const std::vector<std::u16string>& rows, const Place& place) {
    if (options_.rows <= 0 || rows.size() <= static_cast<std::size_t>(options_.rows)) return;
    remarks_.add(manyRows, place, [&] {
        return fmt::format(
            "The block takes {} rows of {} characters, and there is room for {}: its end is lost.",
            rows.size(), options_.columns, options_.rows);
    });
}

void SRTTextCheck::checkPace(const Text& block, const std::vector<std::u16string>& rows) {
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
    const std::int64_t in = block.in->framesSinceMidnight();
    const std::int64_t earliest = block.lastIn ? block.lastIn->framesSinceMidnight() + std::int64_t{1} : 0;
    if (block.lastIn && in < earliest) return;  // runs backwards, which is remarked
    const std::int64_t start = std::max(freeAt_, earliest);
    const std::int64_t loaded = start + static_cast<std::int64_t>(pairs) * framesPerPair;
    if (loaded > in) {
        remarks_.add(tooFast, block.place, [&] {
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

void SRTTextCheck::finish() {
    if (lostCount_ == 0) return;
    remarks_.add(lostCharacter, lostAt_, [&] {
        return fmt::format("CEA-608 cannot send {}, here and later{}: {} left out.",
                           counted(lostCount_, "character"),
                           lost_.empty() ? ""
                                         : fmt::format(" (\"{}\"{})", utf8FromUTF16(lost_),
                                                       lost_.size() == listedCharacters ? " and others" : ""),
                           lostCount_ == 1 ? "it is" : "they are");
    });
}

}  // namespace zenquor::detail
