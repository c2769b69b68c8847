// EBU STL files: the general block, text blocks, the Latin alphabet, and files that are not what they claim.

#include "zenquor/sidecar/ZQREBUSTLSidecar.h"

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
using testing::ElementsAre;
using testing::IsEmpty;

std::shared_ptr<ZQREBUSTLSidecar> read(const std::string& file, const ZQDictionary& properties = {}) {
    const TempDirectory folder;
    return ZQREBUSTLSidecar::initForReadingWithURL(folder.write("test.stl", file), properties);
}

ZQREBUSTLBlockPtr readBlock(const TextBlock& block, bool removeEmptyLines = false, char16_t filler = 0) {
    const std::string bytes = block.bytes();
    return ZQREBUSTLBlock::initWithTTIBlock(
        std::span<const std::uint8_t, 128>(reinterpret_cast<const std::uint8_t*>(bytes.data()), 128),
        test::pal, ZQREBUSTLLatinAlphabet::initWithFillerCharacter(filler), removeEmptyLines);
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
        {255, "1"},        {256, "10000000"},  {264, "10000102"}, {272, "3"},          {273, "2"},
        {274, "CHE"},      {277, "Publisher"}, {309, "Editor"},   {341, "Address"}};
    for (const auto& [offset, field] : fields) general = withField(general, offset, field);
    const auto sidecar = read(general);
    EXPECT_TRUE(sidecar->valid());
    EXPECT_EQ(sidecar->codePageNumber(), 437);
    EXPECT_EQ(sidecar->diskFormatCode(), "STL30.01");
    EXPECT_EQ(sidecar->displayStandardCode(), 2);
    EXPECT_EQ(sidecar->characterCodeTableNumber(), 1);
    EXPECT_EQ(sidecar->languageCode(), 15);
    EXPECT_EQ(sidecar->originalProgrammeTitle(), "  Title");
    EXPECT_EQ(sidecar->originalEpisodeTitle(), "Episode");
    EXPECT_EQ(sidecar->translatedProgrammeTitle(), "Titre");
    EXPECT_EQ(sidecar->translatedEpisodeTitle(), "\uFFFDpisode");
    EXPECT_EQ(sidecar->translatorsName(), "Name");
    EXPECT_EQ(sidecar->translatorsContactDetails(), "Contact");
    EXPECT_EQ(sidecar->subtitleListReferenceCode(), "Reference");
    EXPECT_EQ(sidecar->creationDate(), 2049y / 12 / 31);
    EXPECT_EQ(sidecar->revisionDate(), 1950y / 1 / 1);
    EXPECT_EQ(sidecar->revisionNumber(), 7);
    EXPECT_EQ(sidecar->totalNumberOfTTIBlocks(), 0);
    EXPECT_EQ(sidecar->totalNumberOfSubtitles(), 1245);
    EXPECT_EQ(sidecar->totalNumberOfSubtitleGroups(), 123);
    EXPECT_EQ(sidecar->maximumNumberOfDisplayableCharactersInAnyTextRow(), 40);
    EXPECT_EQ(sidecar->maximumNumberOfDisplayableRows(), 23);
    EXPECT_EQ(sidecar->timecodeStatus(), 1);
    EXPECT_EQ(describe(sidecar->timecodeStartOfProgramme()), "10:00:00;00");
    EXPECT_EQ(describe(sidecar->timecodeFirstInCue()), "10:00:01;02");
    EXPECT_EQ(sidecar->totalNumberOfDisks(), 3);
    EXPECT_EQ(sidecar->diskSequenceNumber(), 2);
    EXPECT_EQ(sidecar->countryOfOrigin(), "CHE");
    EXPECT_EQ(sidecar->publisher(), "Publisher");
    EXPECT_EQ(sidecar->editorsName(), "Editor");
    EXPECT_EQ(sidecar->editorsContactDetails(), "Address");
    EXPECT_EQ(sidecar->description(),
              "EBU-STL sidecar language 15, title   Title Episode, timebase 29.97 DF, 0 blocks");
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

TEST(EBUSTLSidecar, stopsWhereTheFileEnds) {
    const LogCapture log;
    const auto empty = read(generalBlock(1).substr(1));
    EXPECT_FALSE(empty->valid());
    EXPECT_EQ(empty->output(), nullptr);
    EXPECT_THAT(empty->subtitleBlocks(), IsEmpty());
    EXPECT_THAT(log.lines, IsEmpty());

    const auto cut = read(generalBlock(99999) + TextBlock{.text = "One"}.bytes() +
                          TextBlock{.text = "Two"}.bytes().substr(1));
    EXPECT_FALSE(cut->valid());
    EXPECT_EQ(cut->subtitleBlocks().size(), 1U);
    EXPECT_THAT(log.lines, ElementsAre("ZQREBUSTLSidecar could not read block 1, expected 99999"));
}

TEST(EBUSTLSidecar, tellsOfBlocksBehindTheAnnouncedOnes) {
    const LogCapture log;
    const auto sidecar = read(generalBlock(1) + TextBlock{.text = "One"}.bytes() + TextBlock{}.bytes());
    EXPECT_TRUE(sidecar->valid());
    EXPECT_EQ(sidecar->subtitleBlocks().size(), 1U);
    EXPECT_EQ(log.lines.size(), 1U);
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
    const auto block = ZQREBUSTLBlock::initWithTTIBlock(
        std::span<const std::uint8_t, 128>(reinterpret_cast<const std::uint8_t*>(bytes.data()), 128),
        test::pal, nullptr, false);
    EXPECT_EQ(block->subtitleGroupNumber(), 7);
    EXPECT_EQ(block->subtitleNumber(), 4660);
    EXPECT_EQ(block->extensionBlockNumber(), 5);
    EXPECT_EQ(block->cumulativeStatus(), 2);
    EXPECT_EQ(block->timecodeIn().description(), "01:02:03:24");
    EXPECT_EQ(block->timecodeOut().description(), "10:59:59:24");
    EXPECT_EQ(block->verticalPosition(), 22);
    EXPECT_EQ(block->justification(), ZQRSubtitleBlock::Unchanged);
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

TEST(EBUSTLBlock, splitsTextAtNewLinesAndKeepsTeletextCodes) {
    const TextBlock block{.text = "\x0DHello\x8A\x8AWorld"};
    EXPECT_THAT(textsOf(*readBlock(block, true)), ElementsAre(u"\x0DHello", u"World"));
    EXPECT_THAT(textsOf(*readBlock(block, false)), ElementsAre(u"\x0DHello", u"", u"World"));
    EXPECT_TRUE(readBlock(block)->doubleHeight());
    EXPECT_THAT(textsOf(*readBlock({.text = "End\x8A"})), ElementsAre(u"End"));
    EXPECT_THAT(textsOf(*readBlock({.text = std::string(112, '\x8A')}, true)), IsEmpty());
    EXPECT_EQ(readBlock({.text = std::string(112, '\x8A')}, false)->numberOfLines(), 112);
    EXPECT_THAT(textsOf(*readBlock({.text = "\x80"
                                            "A\x85"
                                            "B\x8F"
                                            "C\x81"})),
                ElementsAre(u"ABC"));
}

TEST(EBUSTLBlock, skipsReservedCodesAndNamesThem) {
    const LogCapture log;
    EXPECT_THAT(textsOf(*readBlock({.text = "A\x86"
                                            "B\x8B"
                                            "C\x90"
                                            "D\x9F"
                                            "E"})),
                ElementsAre(u"ABCDE"));
    EXPECT_THAT(log.lines, ElementsAre("ZQREBUSTLSidecar found reserved control character 134",
                                       "ZQREBUSTLSidecar found reserved control character 139",
                                       "ZQREBUSTLSidecar found reserved control character 144",
                                       "ZQREBUSTLSidecar found reserved control character 159"));
}

TEST(EBUSTLLatinAlphabet, readsLettersMarksAndSigns) {
    // ISO 6937 words as a broadcaster's file holds them.
    EXPECT_EQ(decode("caf\xC2"
                     "e \xC8uber \xCB"
                     "ca \xCFz\xCF"
                     "C \xCE"
                     "a \xCAu \xCDo \xC1"
                     "e \xC4n \xC2g"),
              u"café über ça žČ ą ů ő è ñ ģ");
    EXPECT_EQ(decode("$ \xA4 \xA6 \xA8 \x7F"), u"\u00A4 $ # \u00A4 \u25A0");
    EXPECT_EQ(decode("\xA9\xB9\xAA\xBA \xFB \xE9 \xF9 \xEA \xE1 \xF1 \xF5"), u"‘’“” ß Ø ø Œ Æ æ ı");
    EXPECT_EQ(decode(std::string("\x00\x0D\x1F\x80\xA0\xD8\xE5\xFF", 8)),
              std::u16string(u"\x00\x0D\x1F     ", 8));
    EXPECT_EQ(decode("\xD5\xDF\xE0\xEF\xF0"), u"\u266A\u215E\u2126\u0149\u0138");
}

TEST(EBUSTLLatinAlphabet, dropsALetterThatCannotCarryItsMark) {
    const LogCapture log;
    EXPECT_EQ(decode("a\xC2"
                     "Bc"),
              u"ac");
    EXPECT_EQ(decode("a\xC2"
                     "Bc",
                     u'?'),
              u"a?c");
    EXPECT_EQ(decode("\xC0"
                     "A\xC9"
                     "e\xCC"
                     "o"),
              u"");
    EXPECT_EQ(decode("\xC1\xC8u"), u"ü");  // the later mark counts
    EXPECT_EQ(log.lines.size(), 5U);
    EXPECT_EQ(log.lines[0], "ZQREBUSTLLatinAlphabet could not match diacritical pair 194 66");
    EXPECT_EQ(log.lines[2], "ZQREBUSTLLatinAlphabet could not match diacritical pair 192 65");
}

}  // namespace
}  // namespace zenquor
