// EBU STL files: the general block, text blocks, the Latin alphabet, and files that are not what they claim.

#include "zenquor/sidecar/ZQREBUSTLSidecar.h"

#include <fmt/format.h>

#include "STLFile.h"
#include "Support.h"
#include "zenquor/host/ZHLSidecarProperties.h"
#include "zenquor/sidecar/ZQREBUSTLBlock.h"
#include "zenquor/sidecar/ZQREBUSTLLatinAlphabet.h"

namespace zenquor {
namespace {

using namespace std::chrono;
using test::generalBlock;
using test::LogCapture;
using test::stlFile;
using test::TempDirectory;
using test::TextBlock;
using test::textsOf;
using test::withField;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

std::shared_ptr<ZQREBUSTLSidecar> read(const std::string& file, const ZQDictionary& properties = {}) {
    const TempDirectory folder;
    return ZQREBUSTLSidecar::initForReadingWithURL(folder.write("test.stl", file), properties);
}

ZQREBUSTLBlockPtr readBytes(const std::string& bytes, bool removeEmptyLines = false) {
    return ZQREBUSTLBlock::initWithTTIBlock(
        std::span<const std::uint8_t, 128>(reinterpret_cast<const std::uint8_t*>(bytes.data()), 128),
        test::pal, ZQREBUSTLLatinAlphabet::initWithFillerCharacter(0), removeEmptyLines);
}
ZQREBUSTLBlockPtr readBlock(const TextBlock& block, bool removeEmptyLines = false) {
    return readBytes(block.bytes(), removeEmptyLines);
}

std::u16string decode(std::string_view bytes, char16_t filler = 0) {
    std::u16string text;
    const auto alphabet = ZQREBUSTLLatinAlphabet::initWithFillerCharacter(filler);
    alphabet->setOutputCharacter([&](char16_t character) { text.push_back(character); });
    for (const char byte : bytes) alphabet->encodeCharacter(static_cast<std::uint8_t>(byte));
    return text;
}

TEST(EBUSTLSidecar, readsEveryFieldOfTheGeneralBlock) {
    std::string general(1024, ' ');
    const std::pair<std::size_t, std::string_view> fields[] = {
        {0, "437"},        {3, "STL30.01"},    {11, "2"},         {12, "01"},          {14, "0F"},
        {16, "  Title  "}, {48, "Episode"},    {80, "Titre"},     {112, "\xCBpisode"}, {144, "Name"},
        {176, "Contact"},  {208, "Reference"}, {224, "491231"},   {230, "500101"},     {236, "07"},
        {238, "    0"},    {243, "12 45"},     {248, "123"},      {251, "40"},         {253, "23"},
        {255, "1"},        {256, "10000000"},  {264, "10000102"}, {272, "3"},          {273, "4"},
        {274, "CHE"},      {277, "Publisher"}, {309, "Editor"},   {341, "Address"}};
    for (const auto& [offset, field] : fields) general = withField(general, offset, field);
    const auto file = read(general);
    EXPECT_EQ(fmt::format("{} {} {} {} {} {} {} {} {} {} {} {} {}", file->codePageNumber(),
                          file->displayStandardCode(), file->characterCodeTableNumber(), file->languageCode(),
                          file->revisionNumber(), file->totalNumberOfTTIBlocks(),
                          file->totalNumberOfSubtitles(), file->totalNumberOfSubtitleGroups(),
                          file->maximumNumberOfDisplayableCharactersInAnyTextRow(),
                          file->maximumNumberOfDisplayableRows(), file->timecodeStatus(),
                          file->totalNumberOfDisks(), file->diskSequenceNumber()),
              "437 2 1 15 7 0 1245 123 40 23 1 3 4");
    EXPECT_EQ(
        fmt::format(
            "{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}", file->diskFormatCode(), file->originalProgrammeTitle(),
            file->originalEpisodeTitle(), file->translatedProgrammeTitle(), file->translatedEpisodeTitle(),
            file->translatorsName(), file->translatorsContactDetails(), file->subtitleListReferenceCode(),
            file->countryOfOrigin(), file->publisher(), file->editorsName(), file->editorsContactDetails()),
        "STL30.01|  Title|Episode|Titre|\uFFFDpisode|Name|Contact|Reference|CHE|Publisher|Editor|Address");
    EXPECT_EQ(file->creationDate(), 2049y / 12 / 31);
    EXPECT_EQ(file->revisionDate(), 1950y / 1 / 1);
    EXPECT_EQ(describe(file->timecodeStartOfProgramme()), "10:00:00;00");
    EXPECT_EQ(describe(file->timecodeFirstInCue()), "10:00:01;02");
    EXPECT_THAT(file->description(),
                testing::EndsWith("language 15, title   Title Episode, timebase 29.97 DF, 0 blocks"));
}

TEST(EBUSTLSidecar, takesTheTimebaseFromTheDiskFormatAndReadsOnWithoutKnowingIt) {
    const struct {
        const char* format;
        bool valid;
        int timebase;
    } cases[] = {
        {"STL25.01", true, 2}, {"STL30.01", true, 3}, {"STL24.01", false, 3}, {"        ", false, 3}};
    for (const auto& c : cases) {
        const auto sidecar = read(withField(stlFile({{.text = "Hello"}}), 3, c.format));
        EXPECT_EQ(sidecar->valid(), c.valid) << c.format;
        EXPECT_EQ(sidecar->timebase(), ZQCKTimebase::timebaseForFramerate(c.timebase)) << c.format;
        ASSERT_EQ(sidecar->subtitleBlocks().size(), 1U) << c.format;
        EXPECT_EQ(sidecar->subtitleBlocks()[0]->timecodeIn().timebase(), sidecar->timebase()) << c.format;
        EXPECT_NE(sidecar->output(), nullptr) << c.format;
    }
}

TEST(EBUSTLSidecar, takesDatesTimesAndNumbersThatDoNotExistAsAbsent) {
    for (const char* date : {"000000", "      ", "210229", "211301", "ABCDEF"}) {
        EXPECT_EQ(read(withField(generalBlock(0), 224, date))->creationDate(), std::nullopt) << date;
    }
    EXPECT_EQ(read(generalBlock(0))->timecodeStartOfProgramme(), std::nullopt);
    EXPECT_EQ(read(withField(generalBlock(0), 11, "x"))->displayStandardCode(), 0);
    EXPECT_EQ(read(withField(generalBlock(0), 14, "f9"))->languageCode(), 9);
    EXPECT_EQ(read(withField(generalBlock(0), 14, "  "))->languageCode(), 0);
}

TEST(EBUSTLSidecar, readsAsManyBlocksAsThereAreAndAsAreAnnounced) {
    LogCapture log;
    const auto empty = read(generalBlock(1).substr(1));
    EXPECT_FALSE(empty->valid());
    EXPECT_EQ(empty->output(), nullptr);
    EXPECT_THAT(empty->subtitleBlocks(), IsEmpty());
    EXPECT_THAT(log.lines, IsEmpty());
    const std::string one = TextBlock{.text = "One"}.bytes();
    const auto cut = read(generalBlock(99999) + one + one.substr(1));
    EXPECT_FALSE(cut->valid());
    EXPECT_EQ(cut->subtitleBlocks().size(), 1U);
    EXPECT_THAT(log.lines, ElementsAre("ZQREBUSTLSidecar could not read block 1, expected 99999"));
    const auto more = read(generalBlock(1) + one + one);
    EXPECT_TRUE(more->valid());
    EXPECT_EQ(more->subtitleBlocks().size(), 1U);
    EXPECT_EQ(log.lines.size(), 2U);
}

TEST(EBUSTLSidecar, prefersTheLanguageOfTheHostAndSaysSo) {
    std::vector<std::string> lines;
    const auto level = ZLGGetHandle().setLevel(ZLGLevel::Default);
    const auto sink =
        ZLGGetHandle().setSink([&](ZLGLevel, std::string_view line) { lines.emplace_back(line); });
    const auto languageWith = [](int override) {
        return read(generalBlock(0), {{ZHLSubtitleSidecar_Property_OverrideLanguage, override}})
            ->languageCode();
    };
    EXPECT_EQ(languageWith(9), 9);
    EXPECT_THAT(lines, IsEmpty());
    EXPECT_EQ(languageWith(8), 8);
    EXPECT_THAT(lines, ElementsAre("ZQREBUSTLSidecar properties specify language override to German, file "
                                   "specifies English"));
    ZLGGetHandle().setSink(sink);
    ZLGGetHandle().setLevel(level);
}

TEST(EBUSTLSidecar, countsBlocksThatAreNeverShownWhenOverlapsAreRemoved) {
    const auto sidecar = read(stlFile({{.text = "One", .in = 1, .out = 5, .number = 11},
                                       {.text = "User", .in = 1, .out = 5, .extension = 0xFE},
                                       {.text = "Two", .in = 3, .out = 6},
                                       {.text = "Three", .in = 7, .out = 8}}),
                              {{ZHLSubtitleSidecar_Property_OverlappingSubtitleAction, 2}});
    ASSERT_EQ(sidecar->subtitleBlocks().size(), 3U);
    EXPECT_FALSE(sidecar->subtitleBlocks()[1]->displayable());
    EXPECT_EQ(sidecar->subtitleBlocks()[2]->subtitleNumber(), 3);
    EXPECT_EQ(sidecar->debugDescription(),
              "EBU-STL sidecar language 9, title  , timebase 25, 3 blocks\n"
              "Subtitle block: 1 position: 20 in: 00:00:01:00 out: 00:00:05:00 justify: left lines: 1 last "
              "cumulative: single\nSubtitle line \"[0B][0B]One[0A][0A]\"\n"
              "Subtitle block: 2 position: 20 in: 00:00:01:00 out: 00:00:05:00 justify: left lines: 0 user "
              "cumulative: single\n"
              "Subtitle block: 3 position: 20 in: 00:00:07:00 out: 00:00:08:00 justify: left lines: 1 last "
              "cumulative: single\nSubtitle line \"[0B][0B]Three[0A][0A]\"");
}

TEST(EBUSTLBlock, readsNumbersTimesAndPlace) {
    std::string bytes = TextBlock{}.bytes();
    bytes.replace(0, 16, std::string("\x07\x34\x12\x05\x02\x01\x02\x03\x18\x0A\x3B\x3C\xFF\x16\x04\x00", 16));
    const auto block = readBytes(bytes);
    EXPECT_EQ(block->subtitleGroupNumber(), 7);
    EXPECT_EQ(
        block->debugDescriptionHeader(),
        "Subtitle block: 4660 position: 22 in: 01:02:03:24 out: 10:59:59:24 justify: unchanged lines: 0 "
        "ext: 5 cumulative: intermediate");
    EXPECT_FALSE(block->comment());
    EXPECT_TRUE(block->displayable());
}

TEST(EBUSTLBlock, keepsCommentsAndOtherDataOffTheScreen) {
    const struct {
        int extension, comment, cumulative;
        bool displayable;
        const char* header;
    } cases[] = {{0xFF, 0, 0, true, " last cumulative: single"},
                 {0xFF, 1, 1, false, " comment last cumulative: first"},
                 {0xFE, 0, 2, false, " user cumulative: intermediate"},
                 {0xFD, 0, 3, false, " resv: fd cumulative: last"},
                 {0xF0, 0, 7, false, " resv: f0 cumulative: last"},
                 {0xEF, 0, 0, true, " ext: 239 cumulative: single"},
                 {0x00, 0, 0, true, " ext: 0 cumulative: single"}};
    for (const auto& c : cases) {
        const auto block = readBlock(
            {.text = "Text", .extension = c.extension, .comment = c.comment, .cumulative = c.cumulative});
        EXPECT_EQ(block->displayable(), c.displayable) << c.header;
        EXPECT_EQ(block->lines().empty(), !c.displayable) << c.header;
        EXPECT_THAT(block->debugDescriptionHeader(), testing::EndsWith(c.header));
    }
}

TEST(EBUSTLBlock, splitsTextAtNewLinesKeepsTeletextCodesAndSkipsOthers) {
    const TextBlock block{.text = "\x0DHello\x8A\x8AWorld"};
    EXPECT_THAT(textsOf(*readBlock(block, true)), ElementsAre(u"\x0DHello", u"World"));
    EXPECT_THAT(textsOf(*readBlock(block, false)), ElementsAre(u"\x0DHello", u"", u"World"));
    EXPECT_THAT(textsOf(*readBlock({.text = "End\x8A"})), ElementsAre(u"End"));
    EXPECT_THAT(textsOf(*readBlock({.text = std::string(112, '\x8A')}, true)), IsEmpty());
    EXPECT_EQ(readBlock({.text = std::string(112, '\x8A')}, false)->numberOfLines(), 112);
    const LogCapture log;
    std::string text;
    std::vector<std::string> reserved;
    for (int code = 0x80; code < 0xA0; ++code) {
        if (code == 0x8A) continue;
        text += {static_cast<char>(code), 'x'};
        if (code <= 0x85 || code == 0x8F) continue;
        reserved.push_back("ZQREBUSTLSidecar found reserved control character " + std::to_string(code));
    }
    EXPECT_THAT(textsOf(*readBlock({.text = text})), ElementsAre(std::u16string(31, u'x')));
    EXPECT_EQ(log.lines, reserved);
}

TEST(EBUSTLLatinAlphabet, readsEverySign) {
    std::string signs, low;
    for (int code = 0x20; code < 0x100; ++code)
        signs += std::string(code < 0xC0 || code > 0xCF, static_cast<char>(code));
    for (int code = 0; code < 0x20; ++code) low += static_cast<char>(code);
    EXPECT_EQ(decode(signs),
              u" !\"#¤%&'()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_"
              u"`abcdefghijklmnopqrstuvwxyz{|}~■                                "
              u" ¡¢£$¥#§¤‘“«←↑→↓°±²³×µ¶·÷’”»¼½¾¿"
              u"―¹®©™♪¬¦    ⅛⅜⅝⅞\u2126ÆĐªĦ ĲĿŁØŒºÞŦŊŉĸæđðħıĳŀłøœßþŧŋ ");
    EXPECT_EQ(decode(low), std::u16string(low.begin(), low.end()));
}

TEST(EBUSTLLatinAlphabet, putsEveryMarkOnItsLettersAndDropsOthers) {
    // What a letter becomes under the marks C0 to CF in turn.
    const std::pair<char, std::u16string> letters[] = {
        {'A', u"ÀÁÂÃĀĂÄÅĄ"}, {'B', u""},           {'C', u"ĆĈĊÇČ"},    {'D', u"Ď"},        {'E', u"ÈÉÊĒĖËĘĚ"},
        {'G', u"ĜĞĠĢ"},      {'H', u"Ĥ"},          {'I', u"ÌÍÎĨĪİÏĮ"}, {'J', u"Ĵ"},        {'K', u"Ķ"},
        {'L', u"ĹĻĽ"},       {'N', u"ŃÑŅŇ"},       {'O', u"ÒÓÔÕŌÖŐ"},  {'R', u"ŔŖŘ"},      {'S', u"ŚŜŞŠ"},
        {'T', u"ŢŤ"},        {'U', u"ÙÚÛŨŪŬÜŮŰŲ"}, {'W', u"Ŵ"},        {'Y', u"ÝŶŸ"},      {'Z', u"ŹŻŽ"},
        {'a', u"àáâãāăäåą"}, {'c', u"ćĉċçč"},      {'d', u"ď"},        {'e', u"èéêēėëęě"}, {'g', u"ģĝğġ"},
        {'h', u"ĥ"},         {'i', u"ìíîĩīïį"},    {'j', u"ĵ"},        {'k', u"ķ"},        {'l', u"ĺļľ"},
        {'n', u"ńñņň"},      {'o', u"òóôõōöő"},    {'q', u""},         {'r', u"ŕŗř"},      {'s', u"śŝşš"},
        {'t', u"ţť"},        {'u', u"ùúûũūŭüůűų"}, {'w', u"ŵ"},        {'y', u"ýŷÿ"},      {'z', u"źżž"}};
    LogCapture log;
    std::size_t matched = 0;
    for (const auto& [letter, results] : letters) {
        std::string pairs;
        for (int mark = 0xC0; mark < 0xD0; ++mark) pairs += {static_cast<char>(mark), letter};
        EXPECT_EQ(decode(pairs), results) << letter;
        matched += results.size();
    }
    EXPECT_EQ(log.lines.size(), 16 * std::size(letters) - matched);
    log.lines.clear();
    EXPECT_EQ(decode("caf\302e \310uber \317z"), u"café über ž");
    EXPECT_EQ(decode("\301\310u"), u"ü");  // the later mark counts
    EXPECT_EQ(decode("a\302Bc"), u"ac");
    EXPECT_EQ(decode("a\302Bc", u'?'), u"a?c");
    EXPECT_THAT(log.lines,
                Contains("ZQREBUSTLLatinAlphabet could not match diacritical pair 194 66").Times(2));
}

}  // namespace
}  // namespace zenquor
