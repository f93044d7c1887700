#include "platform/linux/IdleTermination.h"
#include "platform/simulated/SimulatedDispatch.h"

#include <gtest/gtest.h>
#include <optional>

using namespace std::chrono_literals;

namespace {

class IdleTerminationTest : public testing::Test {
protected:
    simulated::SimulatedDispatch dispatch;
    int ended = 0;
    std::optional<IdleTermination> process{std::in_place, dispatch, 30s, [this] { ++ended; }};
};

TEST_F(IdleTerminationTest, WaitsForHostsAndCountsFromTheLastOfThemWhateverTheyLeftDisabled) {
    process->hostConnected();
    process->disable("recording");
    process->hostConnected();
    process->disable("recording");
    dispatch.runFor(1h);
    process->hostLeft();
    process->enable("recording");
    dispatch.runFor(1h);
    EXPECT_EQ(ended, 0);
    process->hostLeft();
    dispatch.runFor(29s);
    process->hostConnected();  // a short visit starts the count anew
    process->hostLeft();
    dispatch.runFor(29s);
    EXPECT_EQ(ended, 0);
    dispatch.runFor(1s);
    EXPECT_EQ(ended, 1);
}

TEST_F(IdleTerminationTest, MoreEnablesThanDisablesDoNotKeepIt) {
    process->hostConnected();
    process->enable("recording");
    process->hostLeft();
    dispatch.runFor(30s);
    EXPECT_EQ(ended, 1);
}

TEST_F(IdleTerminationTest, NeverEndsWithoutAnIdleTimeNorAfterItIsGone) {
    IdleTermination endless(dispatch, std::nullopt, [this] { ++ended; });
    endless.hostConnected();
    endless.hostLeft();
    process.reset();
    dispatch.runFor(24h);
    EXPECT_EQ(ended, 0);
}

}  // namespace
