#include <future>
#include <numeric>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zenquor/core/SerialQueue.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/core/ZQNotificationCenter.h"

using namespace zenquor;
using testing::ElementsAre;

TEST(SerialQueue, RunsFunctionsOfEveryThreadInOrderAndOneAtATime) {
    std::vector<int> order;
    int running = 0;
    {
        SerialQueue queue("test.queue");
        std::vector<std::jthread> threads;
        for (int t = 0; t < 3; ++t) {
            threads.emplace_back([&, t] {
                for (int i = 0; i < 200; ++i) {
                    queue.async([&, t, i] {
                        EXPECT_EQ(++running, 1);
                        order.push_back(t * 1000 + i);
                        --running;
                    });
                }
            });
        }
        threads.clear();
        queue.sync([&] { EXPECT_EQ(order.size(), 600U) << "sync waits for what is before it"; });
        queue.async([&] { order.push_back(-1); });
    }
    ASSERT_EQ(order.size(), 601U) << "destruction runs what is queued";
    for (int t = 0; t < 3; ++t) {
        std::vector<int> mine;
        for (const int entry : order) {
            if (entry / 1000 == t && entry >= 0) mine.push_back(entry);
        }
        std::vector<int> expected(200);
        std::iota(expected.begin(), expected.end(), t * 1000);
        EXPECT_EQ(mine, expected);
    }
}

TEST(SerialQueue, FunctionsMayUseTheQueueThatIsBeingDestroyed) {
    std::vector<int> order;
    std::promise<void> destructionBegins;
    auto queue = std::make_unique<SerialQueue>("test.queue");
    SerialQueue* const address = queue.get();
    queue->async([&, begins = destructionBegins.get_future().share()] {
        begins.wait();
        address->sync([&] { order.push_back(1); });
        address->async([&] { order.push_back(2); });
    });
    std::jthread destroyer([&] {
        destructionBegins.set_value();
        queue.reset();
    });
    destroyer.join();
    EXPECT_THAT(order, ElementsAre(1, 2));
}

TEST(SerialQueue, MayBeDestroyedOnItsOwnThread) {
    std::promise<void> done;
    auto queue = std::make_shared<SerialQueue>("test.queue");
    queue->async([&done, owner = queue]() mutable {
        owner.reset();
        done.set_value();
    });
    queue.reset();
    done.get_future().wait();
}

TEST(NotificationCenter, DeliversToTheObserversOfTheNameAndLetsThemChangeTheList) {
    ZQNotificationCenter center;
    std::vector<std::string> heard;
    ZQNotificationCenter::Token later = 0;
    const auto first = center.addObserver("failed", [&](std::string_view name, const auto& objects) {
        heard.push_back(std::string(name) + std::to_string(objects.size()));
        if (later == 0)
            later = center.addObserver("failed", [&](auto, const auto&) { heard.push_back("later"); });
    });
    center.post("other", {});
    center.post("failed", {nullptr, nullptr});
    EXPECT_THAT(heard, ElementsAre("failed2"));
    center.post("failed", {});
    center.removeObserver(first);
    center.post("failed", {});
    EXPECT_THAT(heard, ElementsAre("failed2", "failed0", "later", "later"));
}

TEST(Log, FormatsOnlyEnabledLevelsAndPrintsObjectsAsTheyDescribeThemselves) {
    struct Thing final : ZQObject {
        explicit Thing(int& count) : described(count) {}
        std::string description() const override {
            ++described;
            return "a thing";
        }
        int& described;
    };
    int described = 0;
    const auto thing = std::make_shared<Thing>(described);
    std::vector<std::string> lines;
    auto& log = ZLGGetHandle();
    const auto sink = log.setSink([&](ZLGLevel level, std::string_view text) {
        lines.push_back(fmt::format("{} {}", static_cast<int>(level), text));
    });
    const ZLGLevel before = log.setLevel(ZLGLevel::Default);
    log.debug("never {}", thing);
    EXPECT_EQ(described, 0);
    log.error("{} and {}", thing, std::shared_ptr<Thing>());
    log.setLevel(ZLGLevel::Off);
    log.error("off");
    log.setLevel(ZLGLevel::Debug);
    log.debug("{}", *thing);
    log.setLevel(before);
    log.setSink(sink);
    EXPECT_THAT(lines, ElementsAre("2 a thing and (null)", "0 a thing"));
}
