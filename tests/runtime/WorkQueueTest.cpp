#include "runtime/LastResort.h"
#include "runtime/WorkQueue.h"
#include "tests/support/Deadline.h"
#include "tests/support/Gate.h"
#include "tests/support/NoThreads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <atomic>
#include <future>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using runtime::Workers;

TEST(WorkQueue, RunsPiecesInOrderAndQueuesSideBySide) {
    std::vector<int> order;  // only the queue's pieces touch it, one at a time
    std::atomic<int> done = 0;
    std::vector<std::string> reports;
    std::mutex mutex;
    Gate gate;
    const Workers workers([&](const std::string& what) {
        const std::lock_guard lock(mutex);
        reports.push_back(what);
    });
    constexpr int kQueues = 40;
    std::vector<std::unique_ptr<runtime::WorkQueue>> held;
    for (int i = 0; i < kQueues; ++i) {
        held.push_back(workers.makeQueue(1));
        ASSERT_TRUE(held.back()->push(gate.waiting()));
    }
    ASSERT_TRUE(eventually([&] { return gate.arrived == kQueues; })) << "a queue waits for another";

    const auto queue = workers.makeQueue(1000);
    for (int i = 0; i < 1000; ++i) {
        ASSERT_TRUE(queue->push([&, i] {
            order.push_back(i);
            if (i % 500 == 0) throw std::runtime_error("broke");
            if (i == 999) throw 1;
        }));
    }
    ASSERT_TRUE(queue->push([&] { ++done; }) || eventually([&] { return queue->push([&] { ++done; }); }));
    ASSERT_TRUE(eventually([&] { return done == 1; }));
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_EQ(order.size(), 1000U);
    const std::lock_guard lock(mutex);
    EXPECT_THAT(reports, testing::ElementsAre("broke", "broke", "for an unknown reason"));
    gate.open();
}

TEST(WorkQueue, TakesNoMoreThanItsCapacityAndNothingAfterItsEnd) {
    Gate gate;
    std::atomic<int> ran = 0;
    const Workers workers([](const std::string&) {});
    const auto piece = std::make_shared<int>();
    const auto count = [&ran, piece] { ++ran; };
    auto queue = workers.makeQueue(2);
    ASSERT_TRUE(queue->push(gate.waiting()));
    ASSERT_TRUE(eventually([&] { return gate.arrived == 1; }));
    EXPECT_TRUE(queue->push(count));
    EXPECT_TRUE(queue->push(count));
    EXPECT_FALSE(queue->push(count));
    queue->end();
    EXPECT_EQ(piece.use_count(), 2) << "what waited is kept";
    EXPECT_FALSE(queue->push(count));
    gate.open();

    const auto other = workers.makeQueue(1);
    ASSERT_TRUE(other->push(count));
    ASSERT_TRUE(eventually([&] { return ran == 1; }));
    workers.stop();
    EXPECT_FALSE(other->push(count));
}

TEST(WorkQueue, AsksAndTakesBackWhatHasNotBegunInTime) {
    Gate gate;
    const Workers workers([](const std::string&) {});
    const auto queue = workers.makeQueue(1);
    EXPECT_EQ(queue->ask([] { return 7; }, kDeadline), 7);
    EXPECT_THROW(static_cast<void>(queue->ask([]() -> int { throw std::runtime_error("broke"); }, kDeadline)),
                 std::runtime_error);
    ASSERT_TRUE(queue->push(gate.waiting()));
    ASSERT_TRUE(eventually([&] { return gate.arrived == 1; }));
    std::atomic<bool> ran = false;
    EXPECT_FALSE(queue->ask([&] { return ran = true; }, std::chrono::milliseconds(1)));
    EXPECT_TRUE(queue->push([] {})) << "there is no room";
    EXPECT_FALSE(queue->ask([&] { return ran = true; }, kDeadline)) << "refused at once";
    gate.open();
    ASSERT_TRUE(eventually([&] { return queue->ask([] { return 7; }, kDeadline) == 7; }));
    EXPECT_FALSE(ran);
}

TEST(WorkQueue, RefusesWhatNoThreadCanBeHadFor) {
    const Workers workers([](const std::string&) {});
    const auto queue = workers.makeQueue(1);
    {
        const NoThreads noThreads;
        EXPECT_FALSE(queue->push([] {}));
        EXPECT_FALSE(queue->ask([] { return 7; }, kDeadline));
    }
    EXPECT_EQ(queue->ask([] { return 7; }, kDeadline), 7);
}

TEST(WorkQueue, StoppedWorkersWaitForWhatIsUnderWayOnly) {
    std::atomic<int> ran = 0;
    Gate gate;
    auto workers = std::make_unique<Workers>([](const std::string&) {});
    const auto queue = workers->makeQueue(10);
    ASSERT_TRUE(queue->push(gate.waiting()));
    ASSERT_TRUE(eventually([&] { return gate.arrived == 1; }));
    const auto piece = std::make_shared<int>();
    ASSERT_TRUE(queue->push([&ran, piece] { ++ran; }));
    workers->stop();
    gate.open();
    workers->join();
    workers.reset();
    EXPECT_EQ(piece.use_count(), 1) << "it may own its queue";
    EXPECT_FALSE(queue->push([&ran] { ++ran; })) << "it may outlive them";
    EXPECT_EQ(ran, 0);
}

TEST(LastResort, EndsAProcessWhoseThreadsDoNot) {
    const auto hang = [] {
        runtime::LastResort lastResort;
        lastResort.endProcessAfter(std::chrono::milliseconds(10), 7);
        std::promise<void>().get_future().wait();
    };
    EXPECT_EXIT(hang(), testing::ExitedWithCode(7), "ends without it");
}

}  // namespace
