#pragma once
// What several sidecar tests need: files that go away again, the log as a list, UTF-16 spelled short.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/sidecar/ZQRSubtitleBlock.h"

namespace zenquor::test {

/// A folder for one test.
class TempDirectory {
public:
    TempDirectory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "zenquor-XXXXXX").string();
        if (!mkdtemp(pattern.data())) throw std::runtime_error("no temporary folder");
        path_ = pattern;
    }
    ~TempDirectory() { std::filesystem::remove_all(path_); }
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    std::filesystem::path path(const std::string& name) const { return path_ / name; }
    std::filesystem::path write(const std::string& name, std::string_view content) const {
        std::ofstream(path(name), std::ios::binary) << content;
        return path(name);
    }
    std::string read(const std::string& name) const {
        std::ifstream file(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    std::filesystem::path path_;
};

/// Collects log lines of all levels while it lives.
class LogCapture {
public:
    LogCapture() {
        level_ = ZLGGetHandle().setLevel(ZLGLevel::Debug);
        sink_ = ZLGGetHandle().setSink([this](ZLGLevel level, std::string_view text) {
            if (level != ZLGLevel::Default) lines.emplace_back(text);
        });
    }
    ~LogCapture() {
        ZLGGetHandle().setSink(sink_);
        ZLGGetHandle().setLevel(level_);
    }

    /// Debug and error lines.
    std::vector<std::string> lines;

private:
    ZLGLevel level_;
    ZLGHandle::Sink sink_;
};

inline const ZQCKTimebase pal = ZQCKTimebase::timebaseForFramerate(2);

inline ZQRSubtitleBlockPtr makeBlock(std::int32_t number, std::int64_t in, std::int64_t out,
                                     const std::vector<std::u16string>& texts) {
    auto block = ZQRSubtitleBlock::subtitleBlock();
    block->setSubtitleNumber(number);
    block->setTimecodeIn(ZQCKTimecode::timecodeWithFrames(in, pal));
    block->setTimecodeOut(ZQCKTimecode::timecodeWithFrames(out, pal));
    ZQRSubtitleLineList lines;
    for (const auto& text : texts) lines.push_back(ZQRSubtitleLine::initWithString(text));
    block->setLines(std::move(lines));
    return block;
}

inline std::vector<std::u16string> textsOf(const ZQRSubtitleBlock& block) {
    std::vector<std::u16string> texts;
    for (const auto& line : block.lines()) texts.push_back(line->string());
    return texts;
}

}  // namespace zenquor::test
