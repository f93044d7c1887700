#include "platform/simulated/SimulatedServices.h"
#include "runtime/FileDescriptor.h"
#include "runtime/LoopDispatch.h"
#include "tests/support/Deadline.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <array>
#include <atomic>
#include <csignal>
#include <future>
#include <stdexcept>
#include <thread>

using namespace std::chrono_literals;

namespace {

struct LoopTest : testing::Test {
    std::vector<std::string> reports;
    runtime::Loop loop{[this](const std::string& what) { reports.push_back(what); }};
};

TEST_F(LoopTest, ReportsATaskThatThrowsAndGoesOn) {
    loop.async([] { throw std::runtime_error("no such slide"); });
    loop.async([] { throw 1; });
    const auto timer = loop.makeTimer({}, [&, tick = 0]() mutable {
        if (++tick == 2) loop.stop(0);
        throw std::runtime_error("in a timer");
    });
    EXPECT_EQ(loop.run(), 0);
    EXPECT_EQ(reports, (std::vector<std::string>{"A task on the queue \"main\" failed: no such slide",
                                                 "A task on the queue \"main\" failed: for an unknown reason",
                                                 "A task on the queue \"main\" failed: in a timer",
                                                 "A task on the queue \"main\" failed: in a timer"}));
}

TEST_F(LoopTest, WhatTheReportThrowsEndsTheLoop) {
    runtime::Loop strict([](const std::string&) { throw; });
    strict.async([] { throw std::runtime_error("no such slide"); });
    EXPECT_THROW(static_cast<void>(strict.run()), std::runtime_error);
    strict.sync([] { ADD_FAILURE() << "it has ended"; });
}

TEST_F(LoopTest, TheFirstStopDecidesTheStatusAndMayComeFirst) {
    loop.stop(3);
    loop.stop(4);
    EXPECT_EQ(loop.run(), 3);
}

/// Reads a byte at each call, and drops the handle in the third.
TEST_F(LoopTest, WatchesADescriptorUntilTheHandleIsDropped) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
    const runtime::FileDescriptor pipe(ends[0]);
    const runtime::FileDescriptor input(ends[1]);
    const runtime::FileDescriptor file(::open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
    ASSERT_TRUE(input.writeAll("slides"));
    for (const int descriptor : {pipe.get(), file.get()}) {
        runtime::Loop own([](const std::string&) { throw; });
        int calls = 0;
        Handle watch = own.watch(descriptor, [&] {
            char byte = 0;
            EXPECT_EQ(::read(descriptor, &byte, 1), 1);
            if (++calls < 3) return;
            watch.reset();
            own.after(20ms, [&] { own.stop(0); });
        });
        own.after(kDeadline, [&] { own.stop(1); });
        EXPECT_EQ(own.run(), 0) << "not called often enough";
        EXPECT_EQ(calls, 3);
        EXPECT_NE(::fcntl(descriptor, F_GETFD), -1) << "it is its owner's";
    }
    EXPECT_THROW(static_cast<void>(loop.watch(-1, [] {})), std::exception);
}

struct LoopDispatchTest : testing::Test {
    simulated::SimulatedConsoleLog console;
    runtime::LoopDispatch dispatch{console};
};

TEST_F(LoopDispatchTest, TerminationSignalsStopCleanly) {
    for (const int signal : {SIGTERM, SIGINT}) {
        int status = -1;
        runtime::LoopDispatch own(console, [&](int itsStatus) { status = itsStatus; });
        own.mainQueue().async([signal] { ::kill(::getpid(), signal); });
        EXPECT_EQ(own.run(), 0);
        EXPECT_EQ(status, 0);
    }
}

TEST_F(LoopDispatchTest, SyncRunsBehindTheTasksBeforeIt) {
    const auto queue = dispatch.makeSerialQueue("queue");
    std::atomic<int> before = 0;
    for (int i = 1; i <= 200; ++i) {
        queue->async([&] { ++before; });
        int seen = 0;
        queue->sync([&] { seen = before; });
        EXPECT_EQ(seen, i);
    }
}

TEST_F(LoopDispatchTest, WhoeverWaitsForTheMainQueueIsReleasedWhenItEnds) {
    for (int i = 0; i < 50; ++i) {
        runtime::LoopDispatch own(console);
        const auto queue = own.makeSerialQueue("queue");
        std::promise<void> soon;
        std::atomic<bool> ran = false;
        own.mainQueue().async([&] {
            soon.get_future().wait();
            // More and more likely after the sync below has been submitted; either order must pass.
            for (int turn = 0; turn < i; ++turn) std::this_thread::yield();
            own.stop(0);
        });
        auto released = std::async(std::launch::async, [&] {
            queue->sync([&] {
                soon.set_value();
                own.mainQueue().sync([&] { ran = true; });
            });
        });
        EXPECT_EQ(own.run(), 0);
        ASSERT_EQ(released.wait_for(kDeadline), std::future_status::ready);
        EXPECT_FALSE(ran);
    }
}

/// Tasks of one loop may own queues and timers of the other when everything ends.
TEST_F(LoopDispatchTest, EndsWithTasksWaitingThatOwnQueuesAndTimers) {
    auto own = std::make_unique<runtime::LoopDispatch>(console);
    auto& main = own->mainQueue();
    const auto alive = std::make_shared<int>();
    const auto makeLoad = [&] {
        struct Load {
            std::shared_ptr<int> alive;
            std::shared_ptr<DispatchQueue> queue;
            Handle timers[2];
        };
        auto queue = own->makeSerialQueue("owned");
        auto load = std::make_shared<Load>(Load{alive, queue, {}});
        load->timers[0] = main.makeTimer({1h, 1h, 0s}, [alive] {});
        load->timers[1] = queue->makeTimer({1h, 1h, 0s}, [alive] {});
        return load;
    };
    auto queue = own->makeSerialQueue("queue");
    main.async([load = makeLoad()] {});
    main.after(1h, [load = makeLoad()] {});
    queue->after(1h, [load = makeLoad()] {});
    auto timer = main.makeTimer({1h, 1h, 0s}, [load = makeLoad()] {});
    main.async([timer = std::shared_ptr<Registration>(std::move(timer))] {});
    Handle held = queue->makeTimer({1h, 1h, 0s}, [alive] {});
    own.reset();
    queue->async([] {});
    held.reset();
    queue.reset();
    EXPECT_EQ(alive.use_count(), 1) << "something that waited was never freed";
}

}  // namespace
