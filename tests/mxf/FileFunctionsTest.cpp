// The system's files behind the table of functions.
#include "zenquor/mxf/FileFunctions.h"

#include <cstdio>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zenquor::mxf {
namespace {

class FileFunctionsTest : public testing::Test {
protected:
    FileFunctionsTest() {
        folder_ = std::filesystem::temp_directory_path() / ("zenquor-mxf-" + std::to_string(::getpid()));
        std::filesystem::create_directories(folder_);
    }
    ~FileFunctionsTest() override { std::filesystem::remove_all(folder_); }

    std::filesystem::path folder_;
    FileHandle file_ = nullptr;
    std::uint8_t bytes_[8] = {1, 2, 3, 4, 5, 6, 7, 8};
};

TEST_F(FileFunctionsTest, AFileIsCreatedWrittenReadAndRewritten) {
    const FileFunctions& files = FileFunctions::system();
    const std::string path = folder_ / "new.mxf";
    ASSERT_EQ(files.open(&file_, path.c_str(), nullptr), 0);
    EXPECT_EQ(files.write(file_, bytes_, 8, nullptr), 8);
    EXPECT_EQ(files.seek(file_, 2, nullptr), 0);
    EXPECT_EQ(files.write(file_, bytes_, 1, nullptr), 1);
    EXPECT_EQ(files.size(file_, nullptr), 8);
    std::uint8_t back[8] = {};
    EXPECT_EQ(files.read(file_, back, 8, nullptr), 5);  // from behind what was written
    EXPECT_EQ(back[0], 4);
    EXPECT_EQ(files.read(file_, back, 8, nullptr), 0);
    EXPECT_EQ(files.seek(file_, -1, nullptr), -1);
    EXPECT_EQ(files.close(&file_, nullptr), 0);
    EXPECT_EQ(file_, nullptr);
    EXPECT_EQ(files.close(&file_, nullptr), -1);
    EXPECT_EQ(std::filesystem::file_size(path), 8u);
}

TEST_F(FileFunctionsTest, WideNamesAreTheSameFiles) {
    const FileFunctions& files = FileFunctions::system();
    const std::string path = folder_ / "Z\xC3\xBCrich.mxf";
    const std::u32string wide = std::filesystem::path(path).u32string();
    ASSERT_EQ(wide.substr(wide.size() - 10), U"Z\u00FCrich.mxf");
    ASSERT_EQ(files.openWide(&file_, wide.c_str(), nullptr), 0);
    EXPECT_EQ(files.close(&file_, nullptr), 0);
    EXPECT_TRUE(std::filesystem::exists(path));
}

TEST_F(FileFunctionsTest, AReaderNeitherCreatesNorWrites) {
    const FileFunctions& files = FileFunctions::systemReadOnly();
    const std::string path = folder_ / "absent.mxf";
    EXPECT_EQ(files.open(&file_, path.c_str(), nullptr), -1);
    EXPECT_EQ(file_, nullptr);
    EXPECT_FALSE(std::filesystem::exists(path));
    ASSERT_EQ(FileFunctions::system().open(&file_, path.c_str(), nullptr), 0);
    FileFunctions::system().close(&file_, nullptr);
    ASSERT_EQ(files.open(&file_, path.c_str(), nullptr), 0);
    EXPECT_LT(files.write(file_, bytes_, 8, nullptr), 0);
    EXPECT_EQ(files.size(file_, nullptr), 0);
    EXPECT_EQ(files.close(&file_, nullptr), 0);
    EXPECT_EQ(files.open(&file_, folder_.c_str(), nullptr), -1);
    const std::string pipe = folder_ / "pipe.mxf";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    ASSERT_EQ(files.open(&file_, pipe.c_str(), nullptr), 0);  // waits for nobody
    EXPECT_EQ(files.read(file_, bytes_, 8, nullptr), 0);
    files.close(&file_, nullptr);
}

}  // namespace
}  // namespace zenquor::mxf
