// The sample queues of a file, and the buffer cache control.

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "writers/TestFrame.h"
#include "zenquor/platform/BufferCachePolicy.h"
#include "zenquor/writers/ZQRAVFQueueIndexController.h"
#include "zenquor/writers/ZQUBCController.h"

namespace zenquor {
namespace {

platform::SampleBufferPtr anySample() {
    platform::BlockBufferPtr block;
    platform::SampleBufferPtr sample;
    EXPECT_EQ(platform::BlockBuffer::createWithLength(4, block), platform::noErr);
    platform::SampleBuffer::create(block, platform::FormatDescription::closedCaption(fourCC("c608")), 1,
                                   {{1, 25}, {0, 25}, {}}, 4, {}, sample);
    return sample;
}

TEST(QueueIndexController, HoldsOneNamedQueuePerTrackInOrder) {
    const auto all = ZQRAVFQueueIndexController::initWithFifoCapacity(1800, 2, true, true, "P");
    ASSERT_TRUE(all);
    ZQDictionaryList diagnostics;
    all->gatherQueueDiagnostics(diagnostics);
    std::vector<std::string> names;
    for (const auto& entry : diagnostics) names.push_back(entry["name"].stringValue());
    EXPECT_THAT(names, testing::ElementsAre("P - File Output", "P - Audio", "P - Audio", "P - Timecode",
                                            "P - Closed Captions"));
    EXPECT_EQ(all->audioQueueIndexForAudioTrack(1)->index(), 1u);
    EXPECT_FALSE(all->audioQueueIndexForAudioTrack(2));

    const auto few = ZQRAVFQueueIndexController::initWithFifoCapacity(1800, 2, false, false, "P");
    EXPECT_FALSE(few->timecodeQueueIndex());
    EXPECT_FALSE(few->closedCaptionQueueIndex());
    test::LogEar log;
    few->logQueueFullness();
    EXPECT_THAT(log.lines(), testing::ElementsAre("Video: 0.000000\nAudio: 0.000000\nAudio: 0.000000\n"));
}

TEST(QueueIndexController, FinishesAtOnceAndInSilenceWhenEverythingIsEmpty) {
    const auto queues = ZQRAVFQueueIndexController::initWithFifoCapacity(10, 1, true, true, "P");
    test::LogEar log;
    queues->finish();
    EXPECT_EQ(log.count(""), 0);
    EXPECT_FALSE(queues->videoQueueIndex()->queue()->nextSampleBuffer()) << "a reader is woken";
}

TEST(QueueIndexController, WaitsForCaptionsAndReportsThemUnderTheLabelOfTheTimecode) {
    const auto queues = ZQRAVFQueueIndexController::initWithFifoCapacity(10, 1, false, true, "P");
    const auto captions = queues->closedCaptionQueueIndex()->queue();
    EXPECT_TRUE(captions->addSampleBuffer(anySample()));
    test::LogEar log;
    std::thread finisher([&] { queues->finish(); });
    while (log.count("TC:") == 0) std::this_thread::yield();
    EXPECT_EQ(log.count("Waiting for queues to empty..."), 1);
    EXPECT_EQ(log.count("Video: 0.000000\nAudio: 0.000000\nTC: 0.100000\n"), 1);
    EXPECT_TRUE(captions->nextSampleBuffer());
    finisher.join();
}

TEST(UBCController, SwitchesTheCacheOffForAFileOnDisk) {
    const auto path = std::filesystem::temp_directory_path() / "zenquor-ubc-test";
    std::ofstream(path) << "x";
    ZQErrorPtr error;
    EXPECT_TRUE(ZQUBCController::disableUBCForFileURL(path, &error)) << describe(error.get());
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_TRUE(platform::BufferCachePolicy::isDisabledForDescriptor(descriptor));
    platform::BufferCachePolicy::forgetDescriptor(descriptor);
    EXPECT_FALSE(platform::BufferCachePolicy::isDisabledForDescriptor(descriptor));
    ::close(descriptor);
    std::filesystem::remove(path);
}

TEST(UBCController, SaysWhatItCouldNotDoWithTheFile) {
    const struct {
        const char* path;
        int code;
        const char* text;
    } cases[] = {
        {"/no/such/file", -666, "The File \"/no/such/file\" couldn't be opened for reading!"},
        {"/proc/self/status", -667, "The File \"/proc/self/status\" couldn't set UBC F_GLOBAL_NOCACHE!"},
    };
    for (const auto& c : cases) {
        ZQErrorPtr error;
        EXPECT_FALSE(ZQUBCController::disableUBCForFilePath(c.path, &error));
        ASSERT_TRUE(error);
        EXPECT_EQ(error->domain(), "ZQUBCErrorDomain");
        EXPECT_EQ(error->code(), c.code);
        EXPECT_EQ(error->localizedDescription(), c.text);
        EXPECT_FALSE(ZQUBCController::disableUBCForFilePath(c.path));
    }
}

}  // namespace
}  // namespace zenquor
