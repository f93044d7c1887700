#include "presenters/impress/CommandLanes.h"
#include "tests/support/Deadline.h"
#include "tests/support/Gate.h"
#include "tests/support/NoThreads.h"

#include <gtest/gtest.h>

using impress::CommandLanes;

namespace {

struct CommandLanesTest : testing::Test {
    ~CommandLanesTest() override {
        workers.stop();
        workers.join();
    }
    CommandLanesTest() = default;
    CommandLanesTest(const CommandLanesTest&) = delete;
    CommandLanesTest& operator=(const CommandLanesTest&) = delete;

    /// A command that notes how many were done before it.
    CommandLanes::Command noting(int& place) {
        return [this, &place] { place = ++done; };
    }

    std::atomic<int> done = 0;
    const runtime::Workers workers{[](const std::string& what) { ADD_FAILURE() << what; }};
    CommandLanes lanes{workers};
};

TEST_F(CommandLanesTest, AllWaitForTheOrderAndOnlyItsCommandsForALane) {
    Gate order;
    Gate lane;
    int behind = 0;
    int beside = 0;
    int next = 0;
    ASSERT_TRUE(lanes.pushInOrder(order.waiting()));
    ASSERT_TRUE(lanes.pushInLane("deck", lane.waiting()));
    ASSERT_TRUE(lanes.pushInLane("deck", noting(behind)));
    ASSERT_TRUE(lanes.pushInLane("other deck", noting(beside)));
    ASSERT_TRUE(lanes.pushInOrder(noting(next)));
    ASSERT_TRUE(eventually([&] { return order.arrived == 1; }));
    EXPECT_EQ(lane.arrived + done, 0);
    order.open();
    EXPECT_TRUE(eventually([&] { return lane.arrived == 1 && done == 2; }));
    EXPECT_FALSE(lanes.isEmpty());
    lane.open();
    EXPECT_TRUE(eventually([&] { return lanes.isEmpty(); }));
    EXPECT_EQ(behind, 3);
}

TEST_F(CommandLanesTest, MoreThanTheCapacityIsRefusedUntilOneIsDone) {
    Gate gate;
    std::size_t accepted = 0;
    while (lanes.pushInLane("deck", gate.waiting())) ++accepted;
    EXPECT_EQ(accepted, CommandLanes::kCapacity);
    gate.open();
    EXPECT_TRUE(eventually([&] { return lanes.isEmpty(); }));
    EXPECT_TRUE(lanes.pushInOrder([] {}));
}

TEST_F(CommandLanesTest, WithoutThreadsCommandsAreRefusedOrDoneInTheOrder) {
    int first = 0;
    int second = 0;
    {
        const NoThreads noThreads;
        EXPECT_FALSE(lanes.pushInOrder(noting(first)));
        EXPECT_FALSE(lanes.pushInLane("deck", noting(first)));
        EXPECT_TRUE(lanes.isEmpty());
    }
    Gate gate;
    ASSERT_TRUE(lanes.pushInOrder(gate.waiting()));
    ASSERT_TRUE(lanes.pushInLane("deck", noting(first)));
    ASSERT_TRUE(lanes.pushInOrder(noting(second)));
    ASSERT_TRUE(eventually([&] { return gate.arrived == 1; }));
    const NoThreads noThreads;
    gate.open();
    EXPECT_TRUE(eventually([&] { return lanes.isEmpty(); }));
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 2);
}

}  // namespace
