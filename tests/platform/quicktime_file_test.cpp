// The file under the movie: the same bytes with and without the page cache, and no pages left behind without
// it.

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <random>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/statfs.h>

#include "quicktime_support.h"
#include "zenquor/platform/BufferCachePolicy.h"
#include "zenquor/platform/detail/FileOutput.h"

namespace zenquor::platform::test {
namespace {

using detail::FileOutput;

/// How many pages of a file the kernel keeps in memory.
std::size_t residentPages(const std::filesystem::path& path) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const auto size = static_cast<std::size_t>(std::filesystem::file_size(path));
    void* memory = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, descriptor, 0);
    std::vector<unsigned char> pages((size + 4095) / 4096);
    ::mincore(memory, size, pages.data());
    ::munmap(memory, size);
    ::close(descriptor);
    return static_cast<std::size_t>(
        std::ranges::count_if(pages, [](unsigned char page) { return page & 1; }));
}

bool liesOnDisk(const std::filesystem::path& folder) {
    struct statfs system {};
    return ::statfs(folder.c_str(), &system) == 0 && system.f_type != TMPFS_MAGIC &&
           system.f_type != RAMFS_MAGIC;
}

struct AlignedPicture {
    explicit AlignedPicture(std::size_t count)
        : bytes(static_cast<std::uint8_t*>(std::aligned_alloc(4096, count)), &std::free), size(count) {
        for (std::size_t i = 0; i < size; ++i) bytes.get()[i] = static_cast<std::uint8_t>(i * 13 + i / 4096);
    }
    Span span() const { return {bytes.get(), size}; }
    std::unique_ptr<std::uint8_t, void (*)(void*)> bytes;
    std::size_t size;
};

TEST(FileOutput, writes_what_it_was_given_whenever_the_cache_is_switched_off) {
    const TemporaryFolder folder;
    const AlignedPicture source(std::size_t{1} << 20);
    for (const unsigned seed : {1U, 2U, 3U, 4U, 5U, 6U}) {
        std::mt19937 random(seed);
        const auto path = folder / ("file" + std::to_string(seed)).c_str();
        int failure = 0;
        const auto file = FileOutput::create(path, failure);
        ASSERT_TRUE(file);
        Bytes expected;
        const unsigned switchAt = random() % 60;
        for (unsigned step = 0; step < 120; ++step) {
            if (step == switchAt && seed != 1) {
                ASSERT_TRUE(BufferCachePolicy::disableForDescriptor(file->descriptor()));
            }
            const unsigned kind = random() % 10;
            if (kind < 6) {  // append: small, odd, or large and at a block
                const std::size_t sizes[] = {random() % 64, random() % 70000, 4096 * (random() % 64),
                                             200 * 4096};
                const std::size_t size = sizes[random() % 4];
                const std::size_t start = random() % 2 == 0 ? 0 : random() % 5000;
                const Span part = source.span().subspan(start, size);
                const Span tail = source.span().first(random() % 9);
                ASSERT_TRUE(file->append({part, tail})) << file->lastError();
                expected.insert(expected.end(), part.begin(), part.end());
                expected.insert(expected.end(), tail.begin(), tail.end());
                if (random() % 2 == 0) {  // to the next block, so that large parts need no copy
                    const Bytes zeros((4096 - expected.size() % 4096) % 4096);
                    ASSERT_TRUE(file->append({zeros}));
                    expected.resize(expected.size() + zeros.size());
                }
            } else if (kind < 8 && !expected.empty()) {
                const std::size_t offset = random() % expected.size();
                const Span part = source.span().subspan(
                    random() % 100, std::min<std::size_t>(random() % 9000, expected.size() - offset));
                ASSERT_TRUE(file->patch(offset, part)) << file->lastError();
                std::ranges::copy(part, expected.begin() + static_cast<std::ptrdiff_t>(offset));
            } else if (kind == 8) {
                ASSERT_TRUE(file->flush()) << file->lastError();
                ASSERT_EQ(std::filesystem::file_size(path), expected.size())
                    << "seed " << seed << " step " << step;
            } else if (random() % 4 == 0 && !expected.empty()) {
                expected.resize(random() % expected.size());
                ASSERT_TRUE(file->flush() && file->truncate(expected.size())) << file->lastError();
            }
            ASSERT_EQ(file->position(), expected.size());
        }
        ASSERT_TRUE(file->flush());
        EXPECT_TRUE(contentOf(path) == expected) << "seed " << seed;
    }
}

TEST(FileOutput, gives_back_what_it_allocated_ahead) {
    const TemporaryFolder folder;
    int failure = 0;
    auto file = FileOutput::create(folder / "file", failure);
    ASSERT_TRUE(file->append({Bytes(100000)}));
    file = nullptr;
    struct stat status {};
    ASSERT_EQ(::stat((folder / "file").c_str(), &status), 0);
    EXPECT_EQ(status.st_size, 100000);
    EXPECT_LE(status.st_blocks * 512, 131072);
}

TEST(BufferCachePolicy, refuses_what_has_no_pages_to_drop) {
    for (const char* path : {"/dev/null", "/proc/self/status"}) {
        const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC);
        EXPECT_FALSE(BufferCachePolicy::disableForDescriptor(descriptor)) << path;
        ::close(descriptor);
    }
    EXPECT_FALSE(BufferCachePolicy::disableForDescriptor(-1));
}

TEST(BufferCachePolicy, keeps_a_recording_out_of_memory_from_any_moment_on) {
    const TemporaryFolder folder;
    const auto path = folder / "movie.mov";
    if (!liesOnDisk(folder / "")) GTEST_SKIP() << "the temporary folder lies in memory";
    // 1920x4 pixels of v210: five whole blocks, and a codec whose pictures never are.
    const AlignedPicture whole(20 * 4096);
    for (const int switchAt : {0, 30}) {
        for (const std::size_t size : {whole.size, whole.size - 77}) {
            std::filesystem::remove(path);
            const auto format = videoFormat(size == whole.size ? fourCC("v210") : fourCC("apch")),
                       pcm = pcmFormat();
            const auto video = makeInput(format), sound = makeInput(pcm);
            const auto writer = makeWriter(path, {video, sound});
            writer->setMovieFragmentInterval({2, 1});
            ASSERT_TRUE(writer->startWriting());
            writer->startSessionAtSourceTime({0, 25000});
            for (int frame = 0; frame < 100; ++frame) {
                if (frame == switchAt) {
                    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
                    ASSERT_TRUE(BufferCachePolicy::disableForDescriptor(descriptor));
                    EXPECT_TRUE(BufferCachePolicy::isDisabledForDescriptor(descriptor));
                    ::close(descriptor);
                }
                ASSERT_TRUE(video->appendSampleBuffer(makeSample(
                    format, whole.span().first(size), {{1000, 25000}, {frame * 1000, 25000}, {}})));
                ASSERT_TRUE(sound->appendSampleBuffer(
                    makeSample(pcm, Bytes(5760, 9), {{1, 48000}, {frame * 1920, 48000}, {}}, 1920)));
                // What was on its way to the disk when the switch came goes with the end of its fragment.
                if (frame >= switchAt + 30 && frame % 10 == 5) {
                    EXPECT_EQ(residentPages(path), 0U) << "frame " << frame;
                }
            }
            ASSERT_EQ(finish(writer), AssetWriterStatus::Completed);
            EXPECT_EQ(residentPages(path), 0U) << "finished";
            const Bytes content = contentOf(path);
            const ReadMovie movie(content);
            ASSERT_EQ(movie.tracks.at(1).samples.size(), 100U);
            for (const ReadSample& sample : movie.tracks.at(1).samples)
                ASSERT_TRUE(std::ranges::equal(Span(content).subspan(sample.offset, sample.size),
                                               whole.span().first(size)));
            EXPECT_EQ(movie.tracks.at(2).data, Bytes(576000, 9));
        }
    }
}

}  // namespace
}  // namespace zenquor::platform::test
