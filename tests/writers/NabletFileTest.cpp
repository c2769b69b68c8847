// The MXF file against a file system that refuses, cuts short and loses writes.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <semaphore>

#include <fmt/format.h>

#include "writers/FileFaults.h"
#include "writers/TestFrame.h"
#include "zenquor/writers/ZQRNabletFile.h"
#include "zenquor/writers/ZQUBCController.h"

namespace zenquor {
namespace {

using test::FileFaults;
using test::LogEar;
using testing::ElementsAre;
using Bytes = std::vector<std::uint8_t>;
using Write = FileFaults::Write;
namespace fs = std::filesystem;

constexpr std::size_t blockBytes = 1000;

Bytes pattern(std::size_t count, int seed = 0) {
    Bytes bytes(count);
    for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<std::uint8_t>(i * 31 + i / 256 + seed);
    return bytes;
}

class NabletFileTest : public testing::Test {
protected:
    NabletFileTest() : folder(fs::temp_directory_path() / fmt::format("zenquor-nablet-{}", ::getpid())) {
        fs::create_directories(folder);
        path = (folder / "a.mxf").string();
    }
    ~NabletFileTest() override { fs::remove_all(folder); }

    ZQRNabletFilePtr open(std::int64_t blockSize) {
        ZQRNabletFile::setConfig(settings, blockSize);
        return ZQRNabletFile::initWithFilename(path);
    }
    Bytes onDisk() const {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    fs::path folder;
    std::string path;
    mxf::MuxSettings settings;
};

TEST_F(NabletFileTest, SmallWritesReachTheDiskWithTheFirstOperationThatWaits) {
    const std::vector<std::pair<const char*, std::function<void(ZQRNabletFile&)>>> waits = {
        {"sync", [](auto& file) { file.sync(); }},
        {"seek", [](auto& file) { EXPECT_EQ(file.seek(5), 0); }},
        {"read",
         [](auto& file) {
             Bytes one(1);
             EXPECT_EQ(file.read(one), 0) << "at the end";
         }},
        {"size", [](auto& file) { EXPECT_EQ(file.size(), 1000); }},
        {"close", [](auto& file) { EXPECT_EQ(file.close(), 0); }},
    };
    for (const auto& [name, wait] : waits) {
        SCOPED_TRACE(name);
        fs::remove(path);
        const auto file = open(0x4000000);
        ASSERT_TRUE(file);
        FileFaults faults(path);
        Bytes expected;
        for (int i = 0; i < 100; ++i) {
            const Bytes ten = pattern(10, i);
            ASSERT_EQ(file->write(ten), 10);
            expected.insert(expected.end(), ten.begin(), ten.end());
        }
        EXPECT_THAT(faults.writes(), ElementsAre());
        wait(*file);
        EXPECT_THAT(faults.writes(), ElementsAre(Write{0, 1000}));
        EXPECT_EQ(onDisk(), expected);
    }
}

TEST_F(NabletFileTest, WholeBlocksAreWrittenInOrderHoweverTheWritesAreCut) {
    const Bytes bytes = pattern(4700);
    const auto file = open(blockBytes);
    FileFaults faults(path);
    std::size_t at = 0;
    for (const std::size_t piece : {1, 999, 2500, 0, 700, 500}) {
        ASSERT_EQ(file->write(std::span(bytes).subspan(at, piece)), static_cast<std::int64_t>(piece));
        at += piece;
    }
    file->sync();
    EXPECT_THAT(faults.writes(), ElementsAre(Write{0, 1000}, Write{1000, 1000}, Write{2000, 1000},
                                             Write{3000, 1000}, Write{4000, 700}));
    EXPECT_EQ(onDisk(), bytes);
}

TEST_F(NabletFileTest, TheCallerNeverWaitsForTheDisk) {
    const Bytes bytes = pattern(64 * blockBytes);
    const auto file = open(blockBytes);
    FileFaults faults(path);
    std::binary_semaphore disk{0};
    faults.onWrite = [&](int, const void*, std::size_t) -> std::optional<ssize_t> {
        disk.acquire();
        disk.release();
        return std::nullopt;
    };
    ASSERT_EQ(file->write(bytes), static_cast<std::int64_t>(bytes.size()));  // while nothing can be written
    EXPECT_TRUE(onDisk().empty());
    disk.release();
    EXPECT_EQ(file->size(), static_cast<std::int64_t>(bytes.size()));
    EXPECT_EQ(onDisk(), bytes);
}

TEST_F(NabletFileTest, HeadersAreRewrittenInPlaceAndReadBack) {
    Bytes expected = pattern(3500);
    const auto file = open(blockBytes);
    ASSERT_EQ(file->write(expected), 3500);
    const Bytes header = pattern(50, 99);
    ASSERT_EQ(file->seek(10), 0);
    ASSERT_EQ(file->write(header), 50);
    std::copy(header.begin(), header.end(), expected.begin() + 10);
    EXPECT_EQ(file->size(), 3500);
    const Bytes next = pattern(5, 7);
    ASSERT_EQ(file->write(next), 5);  // size() has kept the position
    std::copy(next.begin(), next.end(), expected.begin() + 60);
    ASSERT_EQ(file->seek(0), 0);
    Bytes back(3500);
    EXPECT_EQ(file->read(back), 3500);
    EXPECT_EQ(back, expected);
    EXPECT_EQ(file->seek(-1), -1);
    EXPECT_EQ(file->close(), 0);
    EXPECT_EQ(file->seek(0), -1);
    EXPECT_EQ(file->size(), -1);
}

// ---- Refused writes

/// What one refused write of a block looks like, and what must come of it.
struct Refusal {
    const char* name;
    std::size_t reachesDisk;  // of the block's bytes
    bool corrupt = false;     // one of them wrongly
    int failingSeeks = 0;     // how many absolute seeks fail after the refusal
    std::optional<ssize_t> readResult = {};
    int refusals = 1;
    std::vector<Write> writes = {};
    int seeks = 0;
    std::vector<std::string> logs = {};  // behind "ZQRNabletFile "
    int lastError = 0;
    bool bytesAreRight = true;
};

const std::string accessError =
    "async write received access error, file possibly locked for reading. Will retry.";
const std::string rewrite = "will re-write last block";

TEST_F(NabletFileTest, ARefusedBlockIsCheckedAndWrittenAgainUntilItIsThere) {
    const std::vector<Refusal> cases = {
        {.name = "half of it has been written",
         .reachesDisk = 400,
         .writes = {{0, 1000}, {400, 600}},
         .seeks = 1,
         .logs = {accessError, "async write seemed to write 400."}},
        {.name = "all of it has been written",
         .reachesDisk = 1000,
         .writes = {{0, 1000}},
         .seeks = 1,
         .logs = {accessError, "async write seemed to write 1000."}},
        {.name = "nothing has been written",
         .reachesDisk = 0,
         .writes = {{0, 1000}, {0, 1000}},
         .logs = {accessError}},
        {.name = "three times nothing",
         .reachesDisk = 0,
         .refusals = 3,
         .writes = {{0, 1000}, {0, 1000}, {0, 1000}, {0, 1000}},
         .logs = {accessError, accessError, accessError}},
        {.name = "what was written is wrong",
         .reachesDisk = 400,
         .corrupt = true,
         .writes = {{0, 1000}, {0, 1000}},
         .seeks = 2,
         .logs = {accessError, "async write seemed to write 400.",
                  "readback data does not match written data", rewrite}},
        {.name = "it cannot be read",
         .reachesDisk = 400,
         .readResult = -1,
         .writes = {{0, 1000}, {0, 1000}},
         .seeks = 2,
         .logs = {accessError, "async write seemed to write 400.", "could not readback data", rewrite}},
        {.name = "it ends too early",
         .reachesDisk = 400,
         .readResult = 0,
         .writes = {{0, 1000}, {0, 1000}},
         .seeks = 2,
         .logs = {accessError, "async write seemed to write 400.", "could not readback data", rewrite}},
        {.name = "the place to read cannot be reached",
         .reachesDisk = 400,
         .failingSeeks = 1,
         .writes = {{0, 1000}, {0, 1000}},
         .seeks = 2,
         .logs = {accessError, "async write seemed to write 400.", "could not seek before readback",
                  rewrite}},
        {.name = "the place to write cannot be reached either: the bytes go where the file stands",
         .reachesDisk = 400,
         .failingSeeks = 2,
         .writes = {{0, 1000}, {400, 1000}},
         .seeks = 2,
         .logs = {accessError, "async write seemed to write 400.", "could not seek before readback", rewrite,
                  "could not seek before re-write"},
         .lastError = EIO,
         .bytesAreRight = false},
    };
    const Bytes block = pattern(blockBytes);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        fs::remove(path);
        const auto file = open(blockBytes);
        FileFaults faults(path);
        int refusals = c.refusals, failingSeeks = 0;
        faults.onWrite = [&](int fd, const void* bytes, std::size_t) -> std::optional<ssize_t> {
            if (refusals-- <= 0) return std::nullopt;
            Bytes reached(static_cast<const std::uint8_t*>(bytes),
                          static_cast<const std::uint8_t*>(bytes) + c.reachesDisk);
            if (c.corrupt) reached[c.reachesDisk / 2] ^= 1;
            EXPECT_EQ(FileFaults::write(fd, reached.data(), reached.size()),
                      static_cast<ssize_t>(reached.size()));
            failingSeeks = c.failingSeeks;
            errno = EACCES;
            return -1;
        };
        faults.onSeek = [&](int, off_t, int whence) -> std::optional<off_t> {
            if (whence != SEEK_SET || failingSeeks-- <= 0) return std::nullopt;
            errno = EIO;
            return -1;
        };
        faults.onRead = [&](int, void*, std::size_t) {
            errno = EACCES;
            return c.readResult;
        };
        LogEar ear;
        const auto began = std::chrono::steady_clock::now();
        ASSERT_EQ(file->write(block), 1000);
        file->sync();
        EXPECT_GE(std::chrono::steady_clock::now() - began, c.refusals * std::chrono::milliseconds(100));
        EXPECT_EQ(faults.writes(), c.writes);
        EXPECT_EQ(faults.seeks(), c.seeks);
        std::vector<std::string> expected;
        for (const auto& text : c.logs) expected.push_back("ZQRNabletFile " + text);
        EXPECT_EQ(ear.lines(), expected);
        EXPECT_EQ(file->lastError(), c.lastError);
        EXPECT_EQ(onDisk() == block, c.bytesAreRight);
        // The next block stands behind it when all is well, and is refused otherwise.
        const bool isHealthy = c.lastError == 0;
        EXPECT_EQ(file->write(block), isHealthy ? 1000 : 0);
        EXPECT_EQ(ear.count("ZQRNabletFile write returning error 5"), isHealthy ? 0 : 1);
        EXPECT_EQ(file->close(), isHealthy ? 0 : -1);
    }
}

TEST_F(NabletFileTest, ARefusalBehindAShortWriteChecksOnlyWhatIsOpen) {
    const Bytes block = pattern(blockBytes);
    const auto file = open(blockBytes);
    FileFaults faults(path);
    int call = 0;
    faults.onWrite = [&](int fd, const void* bytes, std::size_t) -> std::optional<ssize_t> {
        if (++call == 1) return FileFaults::write(fd, bytes, 300);
        if (call != 2) return std::nullopt;
        FileFaults::write(fd, bytes, 200);
        errno = EACCES;
        return -1;
    };
    LogEar ear;
    file->write(block);
    file->sync();
    EXPECT_THAT(faults.writes(), ElementsAre(Write{0, 1000}, Write{300, 700}, Write{500, 500}));
    EXPECT_EQ(ear.count("ZQRNabletFile async write seemed to write 200."), 1);
    EXPECT_EQ(onDisk(), block);
}

TEST_F(NabletFileTest, ShortAndInterruptedWritesAreContinued) {
    const Bytes bytes = pattern(2300);
    const auto file = open(blockBytes);
    FileFaults faults(path);
    int call = 0;
    faults.onWrite = [&](int fd, const void* from, std::size_t count) -> std::optional<ssize_t> {
        if (++call % 3 == 0) {
            errno = EINTR;
            return -1;
        }
        return FileFaults::write(fd, from, std::min<std::size_t>(count, 333));
    };
    ASSERT_EQ(file->write(bytes), 2300);
    EXPECT_EQ(file->close(), 0);
    EXPECT_EQ(onDisk(), bytes);
}

TEST_F(NabletFileTest, AFullDiskStopsEveryLaterWrite) {
    for (const int number : {ENOSPC, EIO, EDQUOT}) {
        fs::remove(path);
        const Bytes block = pattern(blockBytes);
        const auto file = open(blockBytes);
        FileFaults faults(path);
        faults.onWrite = [&, call = 0](int fd, const void* bytes,
                                       std::size_t) mutable -> std::optional<ssize_t> {
            switch (++call) {
                case 1:
                    return std::nullopt;
                case 2:
                    return FileFaults::write(fd, bytes, 250);
                default:
                    errno = number;
                    return -1;
            }
        };
        LogEar ear;
        ASSERT_EQ(file->write(block), 1000);
        ASSERT_EQ(file->write(block), 1000);
        file->sync();
        EXPECT_EQ(file->lastError(), number);
        EXPECT_EQ(ear.count(fmt::format("ZQRNabletFile async write returned error {}", number)), 1);
        EXPECT_EQ(file->write(block), 0);
        EXPECT_EQ(ear.count(fmt::format("ZQRNabletFile write returning error {}", number)), 1);
        EXPECT_EQ(file->close(), -1);
        EXPECT_EQ(onDisk().size(), 1250u);
    }
}

TEST_F(NabletFileTest, ADiskThatIsReallyFullIsToldAtTheClose) {
    path = "/dev/full";
    const auto file = open(0x4000000);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->write(pattern(10)), 10);
    EXPECT_EQ(file->close(), -1);
    EXPECT_EQ(file->lastError(), ENOSPC);
}

// ---- Opening

TEST_F(NabletFileTest, AnOpenFileIsLockedForOthersWhoWouldChangeItAndKeepsItsContent) {
    std::ofstream(path) << "kept";
    auto file = open(blockBytes);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->size(), 4);
    const int other = ::open(path.c_str(), O_RDWR);
    EXPECT_EQ(::flock(other, LOCK_SH | LOCK_NB), 0);
    EXPECT_EQ(::flock(other, LOCK_EX | LOCK_NB), -1);
    EXPECT_EQ(errno, EWOULDBLOCK);
    file.reset();
    EXPECT_EQ(::flock(other, LOCK_EX | LOCK_NB), 0);
    ::close(other);
}

TEST_F(NabletFileTest, ANewFileMayBeWrittenByItsGroup) {
    const mode_t before = ::umask(0);
    const auto file = open(blockBytes);
    ::umask(before);
    ASSERT_TRUE(file);
    struct stat facts;
    ASSERT_EQ(::stat(path.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777, 0664u);
}

TEST_F(NabletFileTest, TheEngineReachesTheFileThroughTheTable) {
    ZQRNabletFile::setConfig(settings, 123);
    EXPECT_EQ(settings.usesFileFunctions, 1);
    const auto& table = settings.file;
    LogEar ear;
    mxf::FileHandle file = &settings;
    EXPECT_EQ(table.open(&file, nullptr, table.context), -1);
    EXPECT_EQ(file, nullptr);
    EXPECT_EQ(table.openWide(&file, nullptr, table.context), -1);
    const std::string missing = (folder / "no such" / "a.mxf").string();
    EXPECT_EQ(table.open(&file, missing.c_str(), table.context), -1);
    EXPECT_THAT(ear.lines(), ElementsAre("ZQRNabletFile could not create file " + missing));
    std::uint8_t byte = 0;
    EXPECT_EQ(table.seek(nullptr, 0, table.context), -1);
    EXPECT_EQ(table.read(nullptr, &byte, 1, table.context), -1);
    EXPECT_EQ(table.size(nullptr, table.context), -1);
    EXPECT_EQ(table.write(nullptr, &byte, 1, table.context), -1);
    EXPECT_EQ(table.close(&file, table.context), -1);

    path =
        (folder / "\xC3\xBC\xE2\x82\xAC\xF0\x9F\x8E\xAC.mxf").string();  // two, three and four bytes of UTF-8
    std::u32string wide;
    for (const char c : folder.string()) wide.push_back(static_cast<unsigned char>(c));
    wide += U"/\u00FC\u20AC\U0001F3AC.mxf";
    ASSERT_EQ(table.openWide(&file, wide.c_str(), table.context), 0);
    EXPECT_EQ(ear.count("ZQRNabletFile created at " + path + " with block size 123"), 1);
    const Bytes bytes = pattern(500);
    EXPECT_EQ(table.write(file, bytes.data(), 500, table.context), 500);
    EXPECT_EQ(table.write(file, bytes.data(), -1, table.context), -1);
    EXPECT_EQ(table.size(file, table.context), 500);
    EXPECT_EQ(table.seek(file, 100, table.context), 0);
    Bytes back(500);
    EXPECT_EQ(table.read(file, back.data(), 500, table.context), 400);
    EXPECT_TRUE(std::equal(bytes.begin() + 100, bytes.end(), back.begin()));
    EXPECT_EQ(table.close(&file, table.context), 0);
    EXPECT_EQ(file, nullptr);
    EXPECT_EQ(onDisk(), bytes);
}

// ---- The buffer cache

std::size_t residentPages(const std::string& path, std::size_t bytes) {
    const int fd = ::open(path.c_str(), O_RDONLY);
    void* const map = ::mmap(nullptr, bytes, PROT_READ, MAP_SHARED, fd, 0);
    std::vector<unsigned char> pages((bytes + 4095) / 4096);
    EXPECT_EQ(::mincore(map, bytes, pages.data()), 0);
    ::munmap(map, bytes);
    ::close(fd);
    return static_cast<std::size_t>(std::count_if(pages.begin(), pages.end(), [](auto p) { return p & 1; }));
}

TEST_F(NabletFileTest, PagesAreDroppedOnceTheCacheIsSwitchedOffThoughTheFileWasOpenBefore) {
    struct statfs system {};
    constexpr long tmpfs = 0x01021994;
    ASSERT_EQ(::statfs(folder.c_str(), &system), 0);
    if (system.f_type == tmpfs) GTEST_SKIP() << "a file in memory has no pages beside itself";
    constexpr std::size_t block = std::size_t{1} << 20;
    const Bytes bytes = pattern(8 * block + 5000);
    for (const bool uncached : {false, true}) {
        fs::remove(path);
        const auto file = open(block);
        ASSERT_EQ(file->write(std::span(bytes).first(100)), 100);
        if (uncached) {
            ASSERT_TRUE(ZQUBCController::disableUBCForFilePath(path));
        }
        ASSERT_EQ(file->write(std::span(bytes).subspan(100)), static_cast<std::int64_t>(bytes.size() - 100));
        ASSERT_EQ(file->seek(0), 0);
        ASSERT_EQ(file->write(std::span(bytes).first(100)), 100);
        ASSERT_EQ(file->close(), 0);
        const std::size_t pages = bytes.size() / 4096;
        EXPECT_EQ(residentPages(path, bytes.size()) < pages / 10, uncached);
        EXPECT_EQ(onDisk(), bytes);
    }
}

TEST_F(NabletFileTest, WhatIsWrittenPastTheCacheIsRightWhereverThePiecesLie) {
    enum Trouble { None, Refused, NotPossible };
    constexpr std::size_t block = std::size_t{1} << 20;
    const Bytes bytes = pattern(7 * block + 12345);
    for (const Trouble trouble : {None, Refused, NotPossible}) {
        SCOPED_TRACE(trouble);
        fs::remove(path);
        const auto file = open(block);
        FileFaults faults(path);
        ASSERT_TRUE(ZQUBCController::disableUBCForFilePath(path));
        std::size_t straight = 0;
        faults.onWrite = [&](int fd, const void* from, std::size_t count) -> std::optional<ssize_t> {
            if ((::fcntl(fd, F_GETFL) & O_DIRECT) == 0) return std::nullopt;
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(from) % 4096, 0u);
            EXPECT_EQ(FileFaults::seek(fd, 0, SEEK_CUR) % 4096, 0);
            straight += count;
            if (trouble == None || (trouble == Refused && straight != 3 * block)) return std::nullopt;
            if (trouble == Refused) {
                EXPECT_EQ(FileFaults::write(fd, from, 8192), 8192);
            }
            errno = trouble == Refused ? EACCES : EINVAL;
            return -1;
        };
        const auto put = [&](std::size_t from, std::size_t to) {
            const auto piece = std::span(bytes).subspan(from, to - from);
            ASSERT_EQ(file->write(piece), static_cast<std::int64_t>(piece.size()));
        };
        LogEar ear;
        put(0, 3 * block + 777);
        ASSERT_EQ(file->seek(5), 0);  // a header that is written again, and the end somewhere within a page
        put(5, 5000);
        ASSERT_EQ(file->seek(static_cast<std::int64_t>(3 * block + 777)), 0);
        put(3 * block + 777, bytes.size());
        EXPECT_EQ(file->close(), 0);
        EXPECT_EQ(onDisk(), bytes);
        EXPECT_EQ(ear.count("readback"), 0) << "what was refused is read back through the cache";
        // Not every file system allows it; where it is allowed, only the first and last page of a block do not go straight.
        if (straight != 0 && trouble == None) {
            EXPECT_GE(straight, 7 * (block - 4096));
        }
        if (trouble == NotPossible) {
            EXPECT_LE(straight, block) << "tried once";
        }
    }
}

}  // namespace
}  // namespace zenquor
