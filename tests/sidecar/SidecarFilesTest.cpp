// Lines in and out of files.
#include "sidecar/Support.h"
#include "zenquor/sidecar/ZQRSidecarInputFile.h"
#include "zenquor/sidecar/ZQRSidecarOutputFile.h"

namespace zenquor {
namespace {

using test::LogCapture;
using test::TempDirectory;
using testing::ElementsAre;
using testing::HasSubstr;
using Lines = std::vector<std::string>;

/// All lines, at most twenty: with empty lines kept the end never comes.
Lines linesOf(const std::filesystem::path& path, bool skipEmptyLines) {
    auto file = ZQRSidecarInputFile::initWithURL(path);
    file->setSkipEmptyLines(skipEmptyLines);
    Lines lines;
    for (auto line = file->readLine(); line && lines.size() < 20; line = file->readLine())
        lines.push_back(*line);
    return lines;
}

TEST(SidecarInputFile, LinesEndInLinefeedsWithOrWithoutCarriageReturns) {
    const TempDirectory folder;
    const std::pair<std::string, Lines> cases[] = {
        {"a\r\nb\n\nc", {"a", "b", "c"}},
        {"a\r\rb\nc", {"a", "c"}},
        {"a\rb\rc", {"a"}},
        {"a\r", {"a"}},
        {"\r\n\r\n\n", {}},
        {"// x\na//b\n//\n /c\n//end", {"a//b", " /c"}},
        {"\xEF\xBB\xBF// x\nb", {"b"}},
        {"\xEF\xBB\xBF", {}},
        {"\xEF\xBB", {"\uFFFD"}},
        {"a\xEF\xBB\xBF\n\xEF\xBB\xBF"
         "b",
         {"a\uFEFF", "\uFEFFb"}},
        {"na\xEFve\n\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80|\xE2\x82",
         {"na\uFFFDve",
          "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"
          "\uFFFD\uFFFD\uFFFD\uFFFD|\uFFFD"}},
        {"na\u00EFve \u20AC \U0001D11E", {"na\u00EFve \u20AC \U0001D11E"}},
        {std::string("a\0b\nc", 5), {std::string("a\0b", 3), "c"}},
    };
    for (const auto& [content, lines] : cases) {
        EXPECT_EQ(linesOf(folder.write("f", content), true), lines) << testing::PrintToString(content);
    }
}

TEST(SidecarInputFile, KeptEmptyLinesGoOnPastTheEnd) {
    const TempDirectory folder;
    auto file = ZQRSidecarInputFile::initWithURL(folder.write("f", "a\n\n//c\nb"));
    file->setSkipEmptyLines(false);
    EXPECT_EQ(file->line(), -1);
    for (const char* expected : {"a", "", "b", "", ""}) EXPECT_EQ(file->readLine(), expected);
    EXPECT_EQ(file->line(), 4);
    // A comment at the very end is no line, not even an empty one.
    auto comment = ZQRSidecarInputFile::initWithURL(folder.write("g", "//c"));
    comment->setSkipEmptyLines(false);
    EXPECT_EQ(comment->readLine(), std::nullopt);
    EXPECT_EQ(comment->readLine(), "");
}

TEST(SidecarInputFile, WhereTheBufferEndsMakesNoDifference) {
    const TempDirectory folder;
    for (std::size_t before = 65530; before < 65540; ++before) {
        const std::string start(before, 'x');
        EXPECT_EQ(linesOf(folder.write("f", start + "\r\nb\u20AC\r\n\r\nc"), true),
                  (Lines{start, "b\u20AC", "c"}));
    }
}

TEST(SidecarInputFile, ALineWithoutEndIsCutAndLoggedOnce) {
    const TempDirectory folder;
    const std::size_t limit = ZQRSidecarInputFile::maximumLineBytes;
    const std::string longLine(3 * limit, '\xFF');
    LogCapture log;
    const Lines lines =
        linesOf(folder.write("f", longLine + "\n" + longLine + "\nafter\n" + std::string(limit, 'y')), true);
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0].size(), limit * 3);  // each byte became U+FFFD
    EXPECT_EQ(lines[2], "after");
    EXPECT_EQ(lines[3].size(), limit);
    EXPECT_THAT(log.lines, ElementsAre(HasSubstr("longer than 1048576 bytes"), HasSubstr("is not UTF-8")));
}

TEST(SidecarInputFile, WhatCannotBeReadSaysSoOnceAndReadsAsEmpty) {
    const TempDirectory folder;
    for (const auto& path : {folder.path("absent"), folder.path("."), std::filesystem::path("/dev/zero"),
                             folder.write("file", "x") / "inside"}) {
        LogCapture log;
        auto file = ZQRSidecarInputFile::initWithURL(path);
        EXPECT_FALSE(file->isOpen());
        EXPECT_EQ(file->readLine(), std::nullopt);
        std::uint8_t byte = 0;
        EXPECT_EQ(file->read({&byte, 1}), 0);
        EXPECT_THAT(log.lines, ElementsAre(HasSubstr(path.string())));
    }
    LogCapture log;
    linesOf(folder.write("utf16", std::string("\xFF\xFE"
                                              "1\0\n\0",
                                              6)),
            true);
    EXPECT_THAT(log.lines, ElementsAre(HasSubstr("UTF-16"), HasSubstr("line 0 of")));
}

TEST(SidecarInputFile, RawReadsGoOnWhereLinesEnded) {
    const TempDirectory folder;
    auto file = ZQRSidecarInputFile::initWithURL(folder.write("f", std::string("\xEF\xBB\xBF"
                                                                               "a\n") +
                                                                       std::string(70000, 'z')));
    std::vector<std::uint8_t> bytes(70001);
    EXPECT_EQ(file->readLine(), "a");
    EXPECT_EQ(file->read(std::span(bytes).first(10)), 10);
    EXPECT_EQ(file->read(bytes), 69990);
    EXPECT_EQ(file->read(bytes), 0);
}

TEST(SidecarOutputFile, WritesLinesAndTruncatesWhatWasThere) {
    const TempDirectory folder;
    auto file = ZQRSidecarOutputFile::initWithURL(folder.write("f", "something longer than the new text"));
    EXPECT_TRUE(file->writeLine("a", ZQRESidecarFile_CRLF, 1));
    EXPECT_TRUE(file->writeLine("\u20AC", ZQRESidecarFile_LF, 2));
    EXPECT_TRUE(file->writeLine("", ZQRESidecarFile_LF, 0));
    EXPECT_EQ(folder.read("f"), "a\r\n\u20AC\n\n");
    EXPECT_EQ(file->line(), 3);
}

TEST(SidecarOutputFile, FailuresAreLoggedAndStillCount) {
    const TempDirectory folder;
    LogCapture log;
    for (const auto& path : {folder.path("no/such/folder"), std::filesystem::path("/dev/full")}) {
        auto file = ZQRSidecarOutputFile::initWithURL(path);
        EXPECT_FALSE(file->writeLine("a", ZQRESidecarFile_LF, 1));
        EXPECT_EQ(file->line(), 1);
    }
    EXPECT_THAT(log.lines,
                ElementsAre(HasSubstr("could not open"),
                            HasSubstr("ZQRSidecarOutputFile could not write line with error "),
                            "ZQRSidecarOutputFile could not write line with error No space left on device"));
}

}  // namespace
}  // namespace zenquor
