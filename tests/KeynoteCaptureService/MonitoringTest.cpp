#include "tests/KeynoteCaptureService/Scenario.h"

namespace {

using Monitoring = Scenario;

TEST_F(Monitoring, LaunchAndQuitAreToldOnce) {
    start();
    run(1s);
    keynote.launch();
    run(1s);
    keynote.quit();
    run(1s);
    keynote.launch();
    service->stopDetectionAndCapture();
    run(1s);
    keynote.quit();
    keynote.launch();
    EXPECT_EQ(host->calls, (Calls{"1000 launched", "2000 terminated", "3000 launched"})) << "nothing after a stop";
}

TEST_F(Monitoring, RunningProgramIsFoundAtTheStart) {
    keynote.launch();
    start();
    EXPECT_EQ(host->calls, Calls{"0 launched"});
    EXPECT_EQ(platform.scripting.eventsSent(), 1) << "the first poll comes without waiting a period";
}

TEST_F(Monitoring, OnlySupportedVersionsAreSeen) {
    start();
    int pid = 200;
    for (const char* version : {"6.4.9", "5.3", "x.y", "6", ""}) {
        Program other(platform, ++pid, version);
        other.launch();
        EXPECT_EQ(host->calls, Calls{}) << version;
        other.quit();
    }
    platform.workspace.add(
        std::make_shared<simulated::SimulatedApplication>("com.apple.iWork.Keynote", std::nullopt, 300));
    platform.workspace.add(
        std::make_shared<simulated::SimulatedApplication>("com.other", "/Applications/14.0.app", 301));
    EXPECT_EQ(host->calls, Calls{});
    Program oldest(platform, 400, "6.5");
    oldest.launch();
    platform.dispatch.runReady();
    EXPECT_EQ(host->calls, Calls{"0 launched"});
}

TEST_F(Monitoring, TheProgramFoundFirstStaysFollowed) {
    Program second(platform, 101);
    keynote.launch();
    second.launch();
    start();
    EXPECT_EQ(logged("More than 1 running Keynote application? Using the last."), 1U);
    const auto deck = second.open("b.key");
    ASSERT_EQ(second.model.startShow(deck, 1), nullptr);
    run(500ms);
    EXPECT_EQ(host->calls.at(1), "250 started P1 /decks/b.key P1.key ok") << "the last one is followed";

    // The followed one goes while the other still runs: nothing is told, polls find nobody.
    second.quit();
    run(1s);
    EXPECT_EQ(host->calls.size(), 3U);
    EXPECT_EQ(logged("Scripting Application is not running yet."), 4U);
    keynote.quit();
    EXPECT_EQ(host->calls.at(3), "1500 terminated");
    keynote.launch();
    platform.dispatch.runReady();
    EXPECT_EQ(host->calls.at(4), "1500 launched");
}

TEST_F(Monitoring, AReplacementIsToldHoweverLateTheChangesCome) {
    platform.workspace.tellsAfter = 2s;
    start();
    keynote.launch();
    run(3s);
    Program second(platform, 101);
    keynote.quit();
    second.launch();
    const auto deck = second.open("b.key");
    ASSERT_EQ(second.model.startShow(deck, 1), nullptr);
    run(3s);
    EXPECT_EQ(host->calls, (Calls{"2000 launched", "5000 terminated", "5000 started P1 /decks/b.key P1.key ok",
                                  "5000 launched", "5125 slide P1 1 P1/slide.001.jpg"}));
}

TEST_F(Monitoring, ChangedProcessIdentifierIsFollowed) {
    keynote.launch();
    const auto deck = keynote.open("a.key");
    start();
    platform.scripting.detach(100);
    platform.scripting.attach(150, keynote.model);
    keynote.application->setProcessIdentifier(150);
    ASSERT_EQ(keynote.model.startShow(deck, 2), nullptr);
    run(500ms);
    EXPECT_EQ(host->calls.back(), "375 slide P1 2 P1/slide.002.jpg");
}

TEST_F(Monitoring, PollsKeepTheirScheduleAndSkipWhatTheyMissed) {
    keynote.launch();
    start();
    keynote.model.faults().answersLate = 400ms;
    run(10s);
    // A poll at t ends at t + 400 ms; the next tick of the 250 ms schedule is at t + 500 ms.
    EXPECT_EQ(platform.scripting.eventsSent(), 1 + 20);
    keynote.model.faults() = {};
    const auto deck = keynote.open("a.key");
    ASSERT_EQ(keynote.model.startShow(deck, 1), nullptr);
    run(1s);
    ASSERT_EQ(host->calls.size(), 3U);
    const double started = std::stod(host->calls[1]);
    EXPECT_EQ(started / 250, static_cast<int>(started / 250)) << "still on the schedule of the start";
}

TEST_F(Monitoring, SleepingMachineCostsOnePoll) {
    keynote.launch();
    start();
    run(1s);
    const int before = platform.scripting.eventsSent();
    platform.dispatch.stall(1h);
    platform.dispatch.runReady();
    EXPECT_EQ(platform.scripting.eventsSent() - before, 1);
}

}  // namespace
