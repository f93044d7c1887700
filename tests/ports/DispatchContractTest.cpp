#include "MacShared/Atomic.h"
#include "platform/simulated/SimulatedDispatch.h"
#include "platform/simulated/SimulatedServices.h"
#include "runtime/LoopDispatch.h"
#include "runtime/LoopThread.h"
#include "tests/support/Contract.h"
#include "tests/support/Deadline.h"

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

using namespace std::chrono_literals;

namespace {

/// A dispatch whose main queue runs, and the time it lives in.
class DispatchHarness {
public:
    virtual ~DispatchHarness() = default;
    virtual Dispatch& dispatch() = 0;
    virtual Instant now() const = 0;
    /// Keeps the calling queue busy for so long.
    virtual void work(Duration span) = 0;
    /// Lets the queues run until it is so; false when the deadline has passed.
    virtual bool runUntil(const std::function<bool()>& isSo) = 0;
};

class RealTimeHarness : public DispatchHarness {
public:
    Instant now() const override { return std::chrono::steady_clock::now(); }
    void work(Duration span) override {
        for (const auto end = now() + span; now() < end;) std::this_thread::yield();
    }
    bool runUntil(const std::function<bool()>& isSo) override { return eventually(isSo); }
};

class LoopDispatchHarness final : public RealTimeHarness {
public:
    ~LoopDispatchHarness() override {
        dispatch_.stop(0);
        main_.join();
    }
    Dispatch& dispatch() override { return dispatch_; }

private:
    simulated::SimulatedConsoleLog console_;
    runtime::LoopDispatch dispatch_{console_};
    std::thread main_{[this] { (void)dispatch_.run(); }};
};

/// Every queue is the loop of a thread of its own.
class LoopThreadsHarness final : public RealTimeHarness, private Dispatch {
public:
    Dispatch& dispatch() override { return *this; }

private:
    DispatchQueue& mainQueue() override { return main_.loop(); }
    std::shared_ptr<DispatchQueue> makeSerialQueue(std::string label) override {
        const auto thread = std::make_shared<runtime::LoopThread>([](const auto&) {}, std::move(label));
        return {thread, &thread->loop()};
    }

    runtime::LoopThread main_{[](const auto&) {}, "main"};
};

class SimulatedHarness final : public DispatchHarness {
public:
    Dispatch& dispatch() override { return dispatch_; }
    Instant now() const override { return dispatch_.steadyNow(); }
    void work(Duration span) override { dispatch_.stall(span); }
    bool runUntil(const std::function<bool()>& isSo) override {
        for (const auto end = now() + kDeadline; !isSo() && now() < end;) dispatch_.runFor(1ms);
        return isSo();
    }

private:
    simulated::SimulatedDispatch dispatch_;
};

/// What happened, in order; written by queues and read by the test.
template <class Entry>
using Record = shared::Atomic<std::vector<Entry>>;

template <class Entry>
void add(Record<Entry>& record, const Entry& entry) {
    record.update([&entry](auto& entries) { entries.push_back(entry); });
}

class DispatchContract : public Contract<DispatchHarness, LoopDispatchHarness, SimulatedHarness, LoopThreadsHarness> {
protected:
    /// Waits for a tick that is still under way, for it uses the test's variables.
    static void finish(Handle& timer, DispatchQueue& queue) {
        timer.reset();
        queue.sync([] {});
    }

    Dispatch& dispatch = harness->dispatch();
};

TEST_P(DispatchContract, RunsTheTasksOfAQueueInOrderAndOneAtATime) {
    constexpr int kTasks = 300;
    std::vector<std::shared_ptr<DispatchQueue>> serial;
    for (const char* label : {"a", "b", "c"}) serial.push_back(dispatch.makeSerialQueue(label));
    EXPECT_EQ(serial[1]->label(), "b");
    std::vector<DispatchQueue*> queues{&dispatch.mainQueue()};
    for (const auto& queue : serial) queues.push_back(queue.get());

    struct Progress {
        Record<int> order;
        std::atomic<int> running = 0;
        std::atomic<bool> overlapped = false;
    };
    std::vector<Progress> progress(queues.size());
    for (int i = 0; i < kTasks; ++i) {
        for (std::size_t q = 0; q < queues.size(); ++q) {
            queues[q]->async([&mine = progress[q], i] {
                if (mine.running++ != 0) mine.overlapped = true;
                add(mine.order, i);
                --mine.running;
            });
        }
    }
    std::vector<int> expected(kTasks);
    for (int i = 0; i < kTasks; ++i) expected[static_cast<std::size_t>(i)] = i;
    for (std::size_t q = 0; q < queues.size(); ++q) {
        auto& mine = progress[q];
        EXPECT_TRUE(harness->runUntil([&] { return mine.order.get().size() == kTasks; }));
        queues[q]->sync([] {});
        EXPECT_EQ(mine.order.get(), expected);
        EXPECT_FALSE(mine.overlapped);
    }
}

TEST_P(DispatchContract, SyncReturnsWhenTheTaskHasEnded) {
    const auto queue = dispatch.makeSerialQueue("queue");
    int ran = 0;
    queue->sync([&] { ran += 1; });
    EXPECT_EQ(ran, 1);
    dispatch.mainQueue().sync([&] { ran += 10; });
    EXPECT_EQ(ran, 11);
    bool fromQueueToMain = false;
    queue->sync([&] { dispatch.mainQueue().sync([&] { fromQueueToMain = true; }); });
    EXPECT_TRUE(fromQueueToMain);
}

TEST_P(DispatchContract, RunsDelayedTasksByDeadlineAndNotEarly) {
    const auto queue = dispatch.makeSerialQueue("queue");
    const auto start = harness->now();
    Record<Duration> order;
    for (const Duration delay : {Duration(60ms), Duration(30ms), Duration(-1h)}) {
        queue->after(delay, [&, delay] {
            add(order, delay);
            EXPECT_GE(harness->now() - start, delay);
        });
    }
    queue->after(Duration::max(), [&] { add(order, Duration(0)); });
    EXPECT_TRUE(harness->runUntil([&] { return order.get().size() == 3; }));
    queue->sync([] {});
    EXPECT_EQ(order.get(), (std::vector<Duration>{-1h, 30ms, 60ms}));
}

TEST_P(DispatchContract, TimerKeepsItsScheduleThoughItsHandlerTakesTime) {
    const auto queue = dispatch.makeSerialQueue("queue");
    Record<Instant> ticks;
    auto timer = queue->makeTimer({50ms, 50ms, 0ms}, [&] {
        add(ticks, harness->now());
        harness->work(15ms);
    });
    // If the schedule moved with each tick, ten periods would never take less than 650 ms.
    EXPECT_TRUE(harness->runUntil([&] {
        const auto times = ticks.get();
        return times.size() > 10 && times.back() - times[times.size() - 11] < 600ms;
    }));
    finish(timer, *queue);
}

TEST_P(DispatchContract, TimerSkipsTheTicksItMissed) {
    const auto queue = dispatch.makeSerialQueue("queue");
    Record<Instant> ticks;
    auto timer = queue->makeTimer({20ms, 20ms, 0ms}, [&] {
        if (ticks.get().size() == 0) harness->work(210ms);
        add(ticks, harness->now());
    });
    ASSERT_TRUE(harness->runUntil([&] { return ticks.get().size() >= 4; }));
    finish(timer, *queue);
    const auto times = ticks.get();
    // One tick may come at once, late; ten more are lost.
    EXPECT_GE(times[3] - times[0], 30ms);
}

TEST_P(DispatchContract, TimerEndsWhenItsHandlerDropsIt) {
    const auto queue = dispatch.makeSerialQueue("queue");
    std::atomic<int> ticks = 0;
    auto owned = std::make_shared<int>();
    Handle timer;
    queue->sync([&] {
        timer = queue->makeTimer({1ms, 1ms, 0ms}, [&, owned] {
            if (++ticks == 3) timer.reset();
        });
    });
    const std::weak_ptr<int> captured = std::exchange(owned, nullptr);
    EXPECT_TRUE(harness->runUntil([&] { return captured.expired(); })) << "the handler is never freed";
    EXPECT_EQ(ticks, 3);
}

TEST_P(DispatchContract, TimerIsSilentOnceItIsDroppedOnItsQueueThoughATickIsDue) {
    const auto queue = dispatch.makeSerialQueue("queue");
    std::atomic<int> ticks = 0;
    std::atomic<bool> dropped = false;
    auto timer = queue->makeTimer({5ms, 5ms, 0ms}, [&] { ++ticks; });
    int ticksAtDrop = 0;
    queue->async([&] {
        harness->work(30ms);
        timer.reset();
        ticksAtDrop = ticks;
        dropped = true;
    });
    EXPECT_TRUE(harness->runUntil([&] { return dropped.load(); }));
    std::atomic<int> others = 0;
    auto other = queue->makeTimer({5ms, 5ms, 0ms}, [&] { ++others; });
    EXPECT_TRUE(harness->runUntil([&] { return others > 3; }));
    finish(other, *queue);
    EXPECT_EQ(ticks, ticksAtDrop);
}

TEST_P(DispatchContract, OtherTasksGetTheirTurnBesideTheShortestTimer) {
    const auto queue = dispatch.makeSerialQueue("queue");
    const auto start = harness->now();
    std::atomic<int> ticks = 0;
    std::atomic<int> steps = 0;
    auto timer = queue->makeTimer({0ms, -1s, 0ms}, [&] { ++ticks; });
    std::function<void()> step = [&] {
        if (++steps < 50) queue->after(100us, step);
    };
    queue->async(step);
    EXPECT_TRUE(harness->runUntil([&] { return steps == 50 && ticks > 10; }));
    finish(timer, *queue);
    EXPECT_LE(ticks, (harness->now() - start) / kShortestTimerPeriod + 1);
}

TEST_P(DispatchContract, ADestroyedQueueDropsWhatWaits) {
    auto queue = dispatch.makeSerialQueue("queue");
    std::atomic<bool> ran = false;
    std::atomic<bool> later = false;
    queue->after(20ms, [&] { ran = true; });
    queue.reset();
    const auto other = dispatch.makeSerialQueue("other");
    other->after(60ms, [&] { later = true; });
    EXPECT_TRUE(harness->runUntil([&] { return later.load(); }));
    EXPECT_FALSE(ran);
}

INSTANTIATE_CONTRACT(DispatchContract);

}  // namespace
