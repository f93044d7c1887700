#include "bus/TimelineContract.h"

#include "bus/SessionBus.h"
#include "tests/support/Deadline.h"
#include "tests/support/PrivateBus.h"

#include <gtest/gtest.h>
#include <future>

namespace {

using namespace std::chrono_literals;

class Follower final : public TimelineListener {
public:
    void timelineReport(const TimelineReport& report) override { told.set_value(report); }
    std::promise<TimelineReport> told;
};

TEST(TimelineContract, TellsBoundsThatHoldWhatTheyHeld) {
    const PrivateBus daemon;
    const auto service = std::make_shared<bus::SessionBus>();
    const auto timeline = bus::serveTimeline(service);
    bus::SessionBus host;
    Follower follower;
    const auto handle = bus::watchTimeline(host.connection(), follower, [](const std::string&) { return true; });
    host.start([] {});

    const TimelineReport report{{TimelineEvent::slideShown, {Instant(1999ns), Instant(2001ns)}, 3, 2},
                                "recording",
                                "presentation",
                                Date(5us),
                                Date(6us)};
    timeline->timelineReport(report);
    auto coming = follower.told.get_future();
    ASSERT_EQ(coming.wait_for(kDeadline), std::future_status::ready);
    const auto told = coming.get();
    EXPECT_EQ(told.entry.at, (TimeBounds{Instant(1us), Instant(3us)}));
    EXPECT_EQ(told.entry.position, 2);
    EXPECT_EQ(told.earliest, report.earliest);
    EXPECT_EQ(told.latest, report.latest);
    host.stop();
}

}  // namespace
