// The bounded queues: order, capacity, errors, log texts, ownership and the meeting of two threads.

#include <gtest/gtest.h>

#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <random>
#include <thread>
#include <vector>

#include "media/LogCapture.h"
#include "media/TestFrame.h"
#include "zenquor/media/ZQRCMSampleBufferFIFOQueue.h"
#include "zenquor/media/ZQRFrameFIFOQueue.h"

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
#define ZENQUOR_TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
#define ZENQUOR_TEST_SANITIZED 1
#endif
#endif

namespace zenquor {
namespace {

using Lines = std::vector<LogCapture::Line>;

std::shared_ptr<void> element(int number) {
    return std::make_shared<int>(number);
}
int numberOf(const std::shared_ptr<void>& e) {
    return *std::static_pointer_cast<int>(e);
}

platform::SampleBufferPtr sampleBuffer() {
    platform::PixelBufferPtr picture;
    EXPECT_EQ(platform::PixelBuffer::create(2, 2, platform::pixelFormat2vuy, picture), platform::noErr);
    platform::SampleBufferPtr sample;
    EXPECT_EQ(
        platform::SampleBuffer::createForImageBuffer(
            picture, platform::FormatDescription::video(fourCC("2vuy"), {}), {{1, 25}, {0, 25}, {}}, sample),
        platform::noErr);
    return sample;
}

TEST(SimpleQueue, ElementsLeaveInOrderAndTheCapacityIsExact) {
    for (const std::size_t capacity : {1U, 3U, 8U, 49U}) {
        const auto queue = ZQRSimpleQueue::initWithCapacity(capacity, "exact");
        int in = 0;
        int out = 0;
        for (int lap = 0; lap < 5; ++lap) {
            for (std::size_t i = 0; i < capacity; ++i) ASSERT_TRUE(queue->addElement(element(in++)));
            ZQErrorPtr error;
            EXPECT_FALSE(queue->addElement(element(-1), &error));
            ASSERT_TRUE(error);
            EXPECT_FLOAT_EQ(queue->fullness(), 1.0F);
            for (std::size_t i = 0; i < capacity; ++i) EXPECT_EQ(numberOf(queue->nextElement()), out++);
            EXPECT_EQ(queue->fullness(), 0.0F);
        }
    }
}

TEST(SimpleQueue, RefusalsGiveAnErrorOrALogLineButNotBoth) {
    LogCapture log;
    const auto queue = ZQRSimpleQueue::initWithCapacity(0, "none");
    EXPECT_EQ(queue->fullness(), 0.0F);
    ZQErrorPtr error;
    EXPECT_FALSE(queue->addElement(element(1), &error));
    EXPECT_EQ(error->domain(), "ZQRSimpleQueueErrorDomain");
    EXPECT_EQ(error->code(), -12773);
    EXPECT_EQ(error->localizedDescription(), "Operation failed because queue was full");
    EXPECT_FALSE(queue->addElement(nullptr, &error));
    EXPECT_EQ(error->code(), -12771);
    EXPECT_EQ(log.take(), Lines());

    EXPECT_FALSE(queue->addElement(element(1)));
    const Lines full{{ZLGLevel::Error, "ZQRSimpleQueue " + queue->description() +  //
                                           ": Tried to add element into full fifo"}};
    EXPECT_EQ(log.take(), full);
}

TEST(SimpleQueue, StatusesHaveTheirTexts) {
    const std::pair<int, const char*> rows[] = {
        {-12773, "Operation failed because queue was full"},
        {-12772, "An out-of-range value was passed for a parameter with a restricted valid range."},
        {-12771, "NULL or 0 was passed for a required parameter"},
        {-12770, "An allocation failed."},
        {-1, "An unknown error occured (-1)"}};
    for (const auto& [status, text] : rows) {
        const auto error = ZQRSimpleQueue::errorForSimpleQueueError(status);
        EXPECT_EQ(error->code(), status);
        EXPECT_EQ(error->localizedDescription(), text);
    }
}

TEST(SimpleQueue, ACapacityBeyondMemoryOrThirtyTwoBitsGivesNoQueue) {
    LogCapture log;
    EXPECT_FALSE(ZQRSimpleQueue::initWithCapacity(std::size_t{1} << 32, "huge"));
    EXPECT_FALSE(ZQRFrameFIFOQueue::initWithCapacity(std::size_t{1} << 32, "huge"));
    const Lines lines = log.take();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0],
              LogCapture::Line(ZLGLevel::Error, "ZQRSimpleQueue: Couldn't create queue with error -12770"));
    EXPECT_EQ(lines[1],
              LogCapture::Line(ZLGLevel::Debug, "ZQRFrameFIFOQueue huge initing with capacity 4294967296"));
}

TEST(SimpleQueue, DiagnosticsCountInSinglePrecision) {
    const auto queue = ZQRSimpleQueue::initWithCapacity(41, "Encoder Queue");
    ASSERT_TRUE(queue->addElement(element(1)));
    // 1/41 times 41 falls just short of 1 in single precision.
    EXPECT_EQ(queue->elementCount(), 0U);
    ASSERT_TRUE(queue->addElement(element(2)));
    ASSERT_TRUE(queue->addElement(element(3)));
    const ZQDictionary dictionary = queue->encodeToDictionary();
    EXPECT_EQ(dictionary.size(), 4U);
    EXPECT_EQ(dictionary["name"].stringValue(), "Encoder Queue");
    EXPECT_EQ(dictionary["capacity"].integerValue(), 41);
    EXPECT_EQ(dictionary["elementCount"].integerValue(), 3);
    EXPECT_FLOAT_EQ(static_cast<float>(dictionary["fullness"].doubleValue()), 3.0F / 41.0F);
}

TEST(SimpleQueue, LongQueuesAndDebugOutputAreLoggedOnEveryInsert) {
    LogCapture log;
    const auto queue = ZQRSimpleQueue::initWithCapacity(128, "long");
    const std::string name = "ZQRSimpleQueue " + queue->description();
    for (int i = 0; i < 99; ++i) ASSERT_TRUE(queue->addElement(element(i)));
    EXPECT_EQ(log.take(), Lines());
    ASSERT_TRUE(queue->addElement(element(99)));
    ASSERT_TRUE(queue->addElement(element(100)));
    const Lines large{{ZLGLevel::Default, name + ": Large queue detected with 100 frames"},
                      {ZLGLevel::Default, name + ": Large queue detected with 101 frames"}};
    EXPECT_EQ(log.take(), large);
    for (int i = 0; i < 98; ++i) queue->nextElement();
    queue->setLogDebugOutput(true);
    ASSERT_TRUE(queue->addElement(element(101)));
    EXPECT_EQ(log.take(), (Lines{{ZLGLevel::Default, name + ": has 0.031250 fullness"}}));
}

TEST(SimpleQueue, ASignalEndsOneWaitAfterTheElementsThatCameBefore) {
    const auto queue = ZQRSimpleQueue::initWithCapacity(4, "signalled");
    ASSERT_TRUE(queue->addElement(element(1)));
    queue->signal();
    queue->signal();
    EXPECT_EQ(numberOf(queue->nextElement()), 1);
    EXPECT_FALSE(queue->nextElement());
    ASSERT_TRUE(queue->addElement(element(2)));
    EXPECT_EQ(numberOf(queue->nextElement()), 2);
    EXPECT_FALSE(queue->nextElement());
    // Both signals are used up: the next read sleeps until there is something.
    auto reader = std::async(std::launch::async, [&] { return numberOf(queue->nextElement()); });
    ASSERT_TRUE(queue->addElement(element(3)));
    EXPECT_EQ(reader.get(), 3);
}

TEST(FrameQueue, AFrameIsHeldOnceWhileItIsInsideAndUntouchedWhenRefused) {
    const auto queue = ZQRFrameFIFOQueue::initWithCapacity(1, "frames");
    ZQRFramePtr frame = std::make_shared<TestFrame>();
    ZQErrorPtr error;
    ASSERT_TRUE(queue->addFrame(frame));
    EXPECT_EQ(frame.use_count(), 2);
    EXPECT_FALSE(queue->addFrame(frame, &error));
    EXPECT_EQ(frame.use_count(), 2);
    EXPECT_EQ(error->code(), -12773);
    EXPECT_EQ(queue->nextFrame(), frame);
    EXPECT_EQ(frame.use_count(), 1);  // the slot keeps nothing

    auto* const address = frame.get();
    ASSERT_TRUE(queue->addFrame(std::move(frame)));
    ZQRFramePtr second = std::make_shared<TestFrame>();
    EXPECT_FALSE(queue->addFrame(std::move(second), &error));
    ASSERT_TRUE(second);  // NOLINT: a refused frame stays with its caller
    EXPECT_EQ(second.use_count(), 1);
    const auto back = queue->nextFrame();
    EXPECT_EQ(back.get(), address);
    EXPECT_EQ(back.use_count(), 1);
}

TEST(FrameQueue, NullFramesAndLeftFramesAreLogged) {
    LogCapture log;
    std::weak_ptr<ZQRFrame> left[3];
    auto queue = ZQRFrameFIFOQueue::initWithCapacity(10, "Frames");
    const std::string name = queue->description();
    ZQErrorPtr error;
    EXPECT_FALSE(queue->addFrame(nullptr, &error));
    EXPECT_FALSE(error);
    queue->signal();
    EXPECT_FALSE(queue->nextFrame());
    for (auto& one : left) {
        ZQRFramePtr frame = std::make_shared<TestFrame>();
        one = frame;
        ASSERT_TRUE(queue->addFrame(std::move(frame)));
    }
    queue = nullptr;
    for (const auto& one : left) EXPECT_TRUE(one.expired());
    const Lines lines{{ZLGLevel::Debug, "ZQRFrameFIFOQueue Frames initing with capacity 10"},
                      {ZLGLevel::Error, "ZQRFrameFIFOQueue attempt to insert a NULL-frame to " + name},
                      {ZLGLevel::Error, "ZQRFrameFIFOQueue got a NULL-frame from " + name},
                      {ZLGLevel::Debug, "ZQRFrameFIFOQueue " + name +
                                            " still has 3 elements on dealloc! They will be released now"}};
    EXPECT_EQ(log.take(), lines);
}

TEST(FrameQueue, CleaningUpEmptiesTheQueue) {
    const auto queue = ZQRFrameFIFOQueue::initWithCapacity(41, "clean");
    const auto frame = std::make_shared<TestFrame>();
    ASSERT_TRUE(queue->addFrame(frame));
    queue->cleanUp();
    EXPECT_EQ(frame.use_count(), 1);
    EXPECT_EQ(queue->fullness(), 0.0F);
}

TEST(SampleQueue, SamplesPassAndTheirLogLinesNameTheirQueue) {
    LogCapture log;
    auto queue = ZQRCMSampleBufferFIFOQueue::cmSampleBufferFifoQueueWithCapacity(2, "Samples");
    const std::string name = queue->description();
    const auto sample = sampleBuffer();
    EXPECT_FALSE(queue->addSampleBuffer(nullptr));
    ASSERT_TRUE(queue->addSampleBuffer(sample));
    EXPECT_EQ(queue->nextSampleBuffer(), sample);
    queue->signal();
    EXPECT_FALSE(queue->nextSampleBuffer());
    ASSERT_TRUE(queue->addSampleBuffer(sample));
    ASSERT_TRUE(queue->addSampleBuffer(sample));
    ZQErrorPtr error;
    EXPECT_FALSE(queue->addSampleBuffer(sample, &error));
    EXPECT_EQ(sample.use_count(), 3);
    queue = nullptr;
    EXPECT_EQ(sample.use_count(), 1);
    const Lines lines{
        {ZLGLevel::Debug, "ZQRCMSampleBufferFIFOQueue Samples initing with capacity: 2"},
        {ZLGLevel::Error, "ZQRCMSampleBufferFIFOQueue attempt to insert a NULL-sample buffer into " + name},
        {ZLGLevel::Error, "ZQRCMSampleBufferFIFOQueue got a NULL-frame from " + name},
        {ZLGLevel::Debug, "ZQRCMSampleBufferFIFOQueue " + name +
                              " still has 2 elements on dealloc! They will be released now"}};
    EXPECT_EQ(log.take(), lines);
}

/// Counts its living instances.
struct Counted {
    Counted(std::atomic<int>& living, int n) : number(n), count(living) { ++count; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    ~Counted() { --count; }
    int number;
    std::atomic<int>& count;
};

TEST(SimpleQueue, TwoThreadsLoseNothingDoubleNothingAndKeepTheOrder) {
    constexpr int total = 60000;
    for (const std::size_t capacity : {1U, 2U, 7U, 64U, 1000U}) {
        LogCapture quiet(ZLGLevel::Off);
        std::atomic<int> living{0};
        const auto queue = ZQRSimpleQueue::initWithCapacity(capacity, "stress");
        std::atomic<int> received{0};
        std::thread reader([&] {
            int nulls = 0;
            for (int next = 0; next < total;) {
                const auto e = queue->nextElement();
                if (!e) {
                    ++nulls;
                    continue;
                }
                ASSERT_EQ(std::static_pointer_cast<Counted>(e)->number, next++);
                received.store(next);
            }
            while (nulls < 10) nulls += queue->nextElement() == nullptr;
        });
        std::minstd_rand random(static_cast<unsigned>(capacity));
        ZQErrorPtr error;
        for (int i = 0; i < total; ++i) {
            std::shared_ptr<void> e = std::make_shared<Counted>(living, i);
            while (!queue->addElement(std::move(e), &error)) std::this_thread::yield();
            if (i % (total / 10) == 0) queue->signal();
            // Now and then the reader gets the time to fall asleep.
            if (random() % 512 == 0) {
                while (received.load() <= i) std::this_thread::yield();
            }
        }
        reader.join();
        EXPECT_EQ(living.load(), 0) << capacity;
        EXPECT_EQ(queue->fullness(), 0.0F);
    }
}

TEST(SimpleQueue, AReaderThatIsAboutToSleepMissesNoElement) {
    // Single elements go back and forth; pauses of changing length let an insert meet every stage of falling
    // asleep.
    const auto there = ZQRSimpleQueue::initWithCapacity(4, "there");
    const auto back = ZQRSimpleQueue::initWithCapacity(4, "back");
    constexpr int rounds = 30000;
    std::thread mirror([&] {
        for (int i = 0; i < rounds; ++i) ASSERT_TRUE(back->addElement(there->nextElement()));
    });
    auto e = element(1);
    std::atomic<int> pause{0};
    for (int i = 0; i < rounds; ++i) {
        for (pause = i % 400; pause > 0;) --pause;
        ASSERT_TRUE(there->addElement(std::move(e)));
        e = back->nextElement();
    }
    mirror.join();
}

TEST(SimpleQueue, ASignalFromAThirdThreadAlwaysEndsTheWait) {
    LogCapture quiet(ZLGLevel::Off);
    for (int round = 0; round < 2000; ++round) {
        const auto queue = ZQRSimpleQueue::initWithCapacity(4, "shutdown");
        auto reader = std::async(std::launch::async, [&] {
            int elements = 0;
            while (queue->nextElement()) ++elements;
            return elements;
        });
        ASSERT_TRUE(queue->addElement(element(round)));
        if (round % 2 == 0) std::this_thread::yield();
        queue->signal();
        EXPECT_EQ(reader.get(), 1);
    }
}

#ifndef ZENQUOR_TEST_SANITIZED
TEST(SimpleQueue, InsertsAndReadsMakeNoSystemCallWhileNobodySleeps) {
    const auto queue = ZQRSimpleQueue::initWithCapacity(90, "no calls");
    std::vector<std::shared_ptr<void>> elements;
    for (int i = 0; i < 90; ++i) elements.push_back(element(i));
    const pid_t child = fork();
    if (child == 0) {
        // From here on the kernel kills the process for any call but read, write and exit.
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT);
        ZQErrorPtr error;
        for (int lap = 0; lap < 100; ++lap) {
            for (auto& e : elements) {
                if (!queue->addElement(std::move(e), &error)) syscall(SYS_exit, 1);
            }
            for (auto& e : elements) e = queue->nextElement();
        }
        syscall(SYS_exit, 0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status)) << "killed by signal " << WTERMSIG(status);
    EXPECT_EQ(WEXITSTATUS(status), 0);
}
#endif

}  // namespace
}  // namespace zenquor
