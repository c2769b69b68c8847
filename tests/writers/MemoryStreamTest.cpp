// The buffer between the MXF writer and the engine.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "zenquor/mxf/Status.h"
#include "zenquor/writers/SMemoryStream.h"
#include "zenquor/writers/ZQRNabletMXFMemoryStream.h"

namespace zenquor {
namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr std::size_t limit = 0x2000000;

Bytes pattern(std::size_t count) {
    Bytes bytes(count);
    for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<std::uint8_t>(i * 13 + i / 256);
    return bytes;
}

Bytes pending(const SMemoryStream& stream) {
    const auto sample = stream.pendingSample();
    return {sample.begin(), sample.end()};
}

TEST(MemoryStream, CannotBeMadeWithOrGrowTo32MiB) {
    EXPECT_FALSE(ZQRNabletMXFMemoryStream::memoryStreamWithCapacity(limit));
    EXPECT_FALSE(ZQRNabletMXFMemoryStream::memoryStreamWithCapacity(-1));
    const auto stream = ZQRNabletMXFMemoryStream::memoryStreamWithCapacity(144);
    ASSERT_TRUE(stream);
    auto& memory = *stream->memoryStream();
    EXPECT_EQ(memory.capacity(), 144u);
    ASSERT_EQ(memory.Write(pattern(100)), 100);
    EXPECT_FALSE(memory.Realloc(limit));
    EXPECT_FALSE(memory.Realloc(99)) << "below the pending sample";
    EXPECT_EQ(memory.capacity(), 144u);
    EXPECT_TRUE(memory.Realloc(limit - 1));
    EXPECT_EQ(memory.capacity(), limit - 1);
    EXPECT_EQ(pending(memory), pattern(100));
    std::memset(memory.writePosition(), 1, memory.capacity() - 100 + SMemoryStream::slackBytes);
}

TEST(MemoryStream, CopiesWhatFitsWhenASampleIsTooLarge) {
    const auto stream = SMemoryStream::streamWithCapacity(144);
    ASSERT_EQ(stream->Write(pattern(1000)), 1000) << "grows";
    const Bytes large(limit - 1000);
    const auto copied = stream->Write(large);
    EXPECT_GE(copied, 0);
    EXPECT_LT(copied, static_cast<std::int32_t>(large.size()));
    EXPECT_EQ(stream->pendingSample().size(), 1000u + static_cast<std::size_t>(copied));
    stream->Reset();
    EXPECT_EQ(stream->Write(std::span(large).first(limit - 1001)), static_cast<std::int32_t>(limit - 1001));
}

TEST(MemoryStream, ConfirmsOnlyWhatCanHaveBeenWritten) {
    const auto stream = SMemoryStream::streamWithCapacity(100);
    EXPECT_EQ(stream->ConfirmData(0), 0);
    EXPECT_EQ(stream->ConfirmData(-7), 0);
    EXPECT_EQ(stream->ConfirmData(101), -5);
    EXPECT_EQ(stream->ConfirmData(INT64_MAX), -5);
    EXPECT_TRUE(stream->pendingSample().empty());
    std::memcpy(stream->writePosition(), "abc", 3);
    EXPECT_EQ(stream->ConfirmData(3), 0);
    std::memcpy(stream->writePosition(), "defg", 4);
    EXPECT_EQ(stream->ConfirmData(4), 0);
    EXPECT_EQ(stream->ConfirmData(94), -5);
    EXPECT_EQ(pending(*stream), Bytes({'a', 'b', 'c', 'd', 'e', 'f', 'g'}));
    EXPECT_EQ(stream->ConfirmData(93), 0);
    EXPECT_EQ(stream->confirmedBytes(), 100u);
    stream->Reset();
    EXPECT_TRUE(stream->pendingSample().empty());
    EXPECT_EQ(stream->ConfirmData(100), 0);
    EXPECT_EQ(stream->confirmedBytes(), 200u);
}

/// Keeps the last sample and gives the memory of the one before back, as the muxer does.
class Listener final : public mxf::SampleListener {
public:
    std::int32_t status = 0;
    bool takes = true;
    mxf::SampleMemory sample;
    mxf::SampleRecord record;
    std::int32_t onSample(mxf::InputStream& stream, const mxf::SampleRecord& given) override {
        record = given;
        if (takes) sample = stream.takeSample(std::move(sample));
        return status;
    }
};

TEST(MemoryStream, HandsSamplesOverWithTheirMemoryAndGoesOnInASpare) {
    const auto stream = SMemoryStream::streamWithCapacity(144);
    mxf::SampleRecord record{2160001, 8, 0};
    const auto ready = SMemoryStream::commandSampleReady;
    EXPECT_NE(stream->Control(ready, record.bytes()), 0) << "nobody listens";
    Listener listener;
    stream->setListener(&listener);
    EXPECT_NE(stream->Control(2, record.bytes()), 0) << "no such command";

    std::vector<const std::uint8_t*> memory;
    for (std::size_t size : {5000, 4000, 4800, 3000, 5000}) {
        const Bytes bytes = pattern(size);
        ASSERT_EQ(stream->Write(std::span(bytes).first(size / 2)), static_cast<std::int32_t>(size / 2));
        ASSERT_EQ(stream->Write(std::span(bytes).subspan(size / 2)),
                  static_cast<std::int32_t>(size - size / 2));
        memory.push_back(stream->pendingSample().data());
        record.byteCount = size;
        ASSERT_EQ(stream->Control(ready, record.bytes()), 0);
        EXPECT_EQ(listener.record, record);
        EXPECT_TRUE(std::ranges::equal(listener.sample.bytes(), bytes));
        EXPECT_EQ(listener.sample.bytes().data(), memory.back()) << "not copied";
        EXPECT_TRUE(stream->pendingSample().empty());
    }
    // Two pieces of memory take turns, and nothing is allocated any more.
    EXPECT_EQ(memory[2], memory[0]);
    EXPECT_EQ(memory[3], memory[1]);
    EXPECT_EQ(memory[4], memory[0]);
}

TEST(MemoryStream, ForgetsWhatTheListenerLeavesAndTellsItsStatus) {
    const auto stream = SMemoryStream::streamWithCapacity(144);
    Listener listener;
    listener.takes = false;
    listener.status = mxf::StatusBadSample;
    stream->setListener(&listener);
    ASSERT_EQ(stream->Write(pattern(10)), 10);
    EXPECT_EQ(stream->Control(SMemoryStream::commandSampleReady, {}), mxf::StatusBadSample);
    EXPECT_TRUE(stream->pendingSample().empty());
    // Memory of anybody else's is taken for what it is.
    const auto taken = stream->takeSample({std::make_unique<std::uint8_t[]>(20), 20, 3, 9});
    EXPECT_EQ(taken.count, 0u);
    EXPECT_EQ(stream->capacity(), 4u);
    ASSERT_EQ(stream->Write(pattern(500)), 500);
    EXPECT_EQ(pending(*stream), pattern(500));
}

}  // namespace
}  // namespace zenquor
