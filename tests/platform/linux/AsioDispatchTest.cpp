#include "platform/linux/AsioDispatch.h"
#include "platform/simulated/SimulatedServices.h"
#include "tests/support/Deadline.h"

#include <gtest/gtest.h>
#include <atomic>
#include <csignal>
#include <future>
#include <stdexcept>
#include <thread>

using namespace std::chrono_literals;

namespace {

struct AsioDispatchTest : testing::Test {
    SimulatedConsoleLog console;
    AsioDispatch dispatch{console};
};

TEST_F(AsioDispatchTest, ReportsATaskThatThrowsAndGoesOn) {
    auto& main = dispatch.mainQueue();
    main.async([] { throw std::runtime_error("no such slide"); });
    main.async([] { throw 1; });
    const auto timer = main.makeTimer({}, [&, tick = 0]() mutable {
        if (++tick == 2) dispatch.stop(0);
        throw std::runtime_error("in a timer");
    });
    EXPECT_EQ(dispatch.run(), 0);
    EXPECT_EQ(console.messages,
              (std::vector<std::string>{"A task on the queue \"main\" failed: no such slide",
                                        "A task on the queue \"main\" failed with an unknown exception",
                                        "A task on the queue \"main\" failed: in a timer",
                                        "A task on the queue \"main\" failed: in a timer"}));
}

TEST_F(AsioDispatchTest, TheFirstStopDecidesTheStatusAndMayComeFirst) {
    dispatch.stop(3);
    dispatch.stop(4);
    EXPECT_EQ(dispatch.run(), 3);
}

TEST_F(AsioDispatchTest, TerminationSignalsStopCleanly) {
    for (const int signal : {SIGTERM, SIGINT}) {
        AsioDispatch own(console);
        own.mainQueue().async([signal] { ::kill(::getpid(), signal); });
        EXPECT_EQ(own.run(), 0);
    }
}

TEST_F(AsioDispatchTest, SyncRunsBehindTheTasksBeforeIt) {
    const auto queue = dispatch.makeSerialQueue("queue");
    std::atomic<int> before = 0;
    for (int i = 1; i <= 200; ++i) {
        queue->async([&] { ++before; });
        int seen = 0;
        queue->sync([&] { seen = before; });
        EXPECT_EQ(seen, i);
    }
}

TEST_F(AsioDispatchTest, WhoeverWaitsForTheMainQueueIsReleasedWhenItEnds) {
    for (int i = 0; i < 50; ++i) {
        AsioDispatch own(console);
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
TEST_F(AsioDispatchTest, EndsWithTasksWaitingThatOwnQueuesAndTimers) {
    auto own = std::make_unique<AsioDispatch>(console);
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
