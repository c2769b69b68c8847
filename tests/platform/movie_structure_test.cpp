// Files that are cut off, inconsistent or no movies at all.

#include "zenquor/platform/MovieStructure.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <unistd.h>

#include "zenquor/core/ByteOrder.h"
#include "zenquor/platform/Asset.h"

namespace zenquor::platform {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::string box(const char* type, const std::string& content, std::uint32_t claimed = 0) {
    std::uint8_t size[4];
    writeBE32(size, claimed ? claimed : static_cast<std::uint32_t>(content.size() + 8));
    return std::string(reinterpret_cast<char*>(size), 4) + type + content;
}

std::string words(std::initializer_list<std::uint32_t> values) {
    std::string text;
    for (const std::uint32_t value : values) {
        std::uint8_t bytes[4];
        writeBE32(bytes, value);
        text.append(reinterpret_cast<char*>(bytes), 4);
    }
    return text;
}

/// A movie box with one track of three samples in one chunk at @p offset, of @p timed samples by its times.
std::string movie(std::uint32_t offset, std::uint32_t timed) {
    const std::string table = box("stts", words({0, 1, timed, 10})) + box("stsz", words({0, 4, 3})) +
                              box("stco", words({0, 1, offset}));
    const std::string media = box("mdhd", words({0, 0, 0, 25, timed * 10, 0})) + box("minf", box("stbl", table));
    return box("moov", box("trak", box("tkhd", words({0, 0, 0, 7})) + box("mdia", media)));
}

class MovieStructureTest : public testing::Test {
protected:
    ~MovieStructureTest() override { std::filesystem::remove(path); }
    std::optional<MovieStructure> read(const std::string& bytes, ZQErrorPtr* error = nullptr) {
        std::ofstream(path, std::ios::binary) << bytes;
        return MovieStructure::structureOfFile(path, error);
    }
    std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("structure-" + std::to_string(getpid()) + ".mov");
};

TEST_F(MovieStructureTest, FindsNothingWrongWithASoundMovie) {
    const auto structure = read(box("ftyp", "qt  ") + box("mdat", std::string(12, 'x')) + movie(20, 3));
    ASSERT_TRUE(structure);
    EXPECT_THAT(structure->faults, ElementsAre());
    EXPECT_FALSE(structure->isFragmented);
    ASSERT_EQ(structure->tracks.size(), 1U);
    EXPECT_EQ(structure->tracks[0].trackID, 7U);
    EXPECT_EQ(structure->tracks[0].sampleCount, 3U);
}

TEST_F(MovieStructureTest, NamesEveryFault) {
    const std::string head = box("ftyp", "qt  ") + box("mdat", std::string(12, 'x'));
    EXPECT_THAT(read(head)->faults, ElementsAre(HasSubstr("no movie box")));
    EXPECT_THAT(read(head + movie(900, 3))->faults, ElementsAre(HasSubstr("outside the media data")));
    EXPECT_THAT(read(head + movie(20, 2))->faults, ElementsAre(HasSubstr("times are of 2 samples, the sizes of 3")));
    EXPECT_THAT(read(box("ftyp", "qt  ") + movie(9, 0) + box("mdat", "xx", 500))->faults,
                testing::Contains(HasSubstr("lacks its last 490 bytes")));
    EXPECT_THAT(read(box("moov", box("mvex", "")) + box("moof", ""))->faults,
                ElementsAre(HasSubstr("still in 1 fragments")));
}

TEST_F(MovieStructureTest, RefusesWhatIsNoMovieAndSurvivesEveryTruncation) {
    ZQErrorPtr error;
    EXPECT_FALSE(read("plain text, no boxes", &error));
    EXPECT_EQ(error->code(), assetErrorCannotOpen);
    const std::string whole = box("ftyp", "qt  ") + box("mdat", std::string(12, 'x')) + movie(20, 3);
    for (std::size_t length = 20; length < whole.size(); ++length) {
        std::filesystem::remove(path);
        const auto structure = read(whole.substr(0, length));
        ASSERT_TRUE(structure) << length;
        EXPECT_FALSE(structure->faults.empty()) << length;
    }
}

}  // namespace
}  // namespace zenquor::platform
