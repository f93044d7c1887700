#include "platform/linux/LinuxThreads.h"
#include "platform/linux/SystemClock.h"

#include <gtest/gtest.h>
#include <future>
#include <mutex>
#include <stdexcept>
#include <vector>

using namespace std::chrono_literals;

namespace {

TEST(Threads, WorkIsDoneInOrderUntilTheThreadEnds) {
    LinuxThreads threads;
    std::promise<std::shared_ptr<Thread>> started;
    std::promise<void> ended;
    bool goesOn = true;  // the thread's own
    threads.detachNewThread("a name longer than the system takes", [&](const std::shared_ptr<Thread>& thread) {
        started.set_value(thread);
        while (goesOn) ASSERT_TRUE(thread->runLoopRunOnce());
        ended.set_value();
    });
    const auto thread = started.get_future().get();
    EXPECT_FALSE(thread->isCurrentThread());
    std::vector<int> done;
    thread->perform([&] { done.push_back(1); });
    EXPECT_TRUE(thread->performAndWait([&] { done.push_back(thread->isCurrentThread() ? 2 : 0); }));
    EXPECT_EQ(done, (std::vector{1, 2}));
    EXPECT_THROW(thread->performAndWait([] { throw std::out_of_range("work"); }), std::out_of_range);
    EXPECT_THROW(thread->performAndWait([] { throw std::future_error(std::future_errc::broken_promise); }),
                 std::future_error);
    thread->perform([&] { goesOn = false; });
    EXPECT_FALSE(thread->performAndWait([] { FAIL() << "the thread has ended"; }));
    ended.get_future().wait();
}

TEST(Threads, AConditionWaitsForASignalOrTheTime) {
    LinuxThreads threads;
    const SystemClock clock;
    const auto condition = threads.makeCondition();
    const std::lock_guard lock(*condition);
    condition->signal();  // nobody waits: lost
    const auto limit = clock.steadyNow() + 20ms;
    EXPECT_FALSE(condition->waitUntilDate(limit));
    EXPECT_GE(clock.steadyNow(), limit);
    threads.detachNewThread("signals", [condition](const auto&) {
        const std::lock_guard other(*condition);
        condition->signal();
    });
    EXPECT_TRUE(condition->waitUntilDate(clock.steadyNow() + 40s));
}

}  // namespace
