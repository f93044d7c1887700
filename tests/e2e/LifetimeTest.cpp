/// How the service comes and goes: by activation, by idleness and with the bus.

#include "tests/e2e/CaptureTest.h"
#include "tests/support/Deadline.h"

#include <csignal>
#include <cstdlib>

namespace fs = std::filesystem;

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* kActivationFile = "dbus-1/services/com.veldrin.KeynoteCaptureService.service";

TEST(LifetimeTest, EndsWithoutHostsAndComesBackByActivation) {
    const TestHome home;
    writeFile(home.path() / "share" / kActivationFile,
              "[D-BUS Service]\nName=com.veldrin.KeynoteCaptureService\nExec=" + std::string(KEYNOTE_CAPTURE_SERVICE) +
                  " --exit-when-idle 1\n");
    const PrivateBus bus(home.path() / "share");
    std::vector<pid_t> processes;
    for (const auto* const recording : {"one", "two"}) {
        Host host;
        host.record(home.path() / recording, recording);
        ChildProcess program({KEYNOTE_SIMULATOR, "-", "--no-window"});
        program.play("launch");
        host.waitFor("launched");
        for (const auto* const command : {"open Optics slides 2", "start"}) program.play(command);
        host.waitFor("P1 slide 1");
        const auto process = serviceProcess();
        ASSERT_TRUE(process);
        processes.push_back(*process);
        program.play("wait 1.5");  // longer than the service would be idle
        program.play("stop");
        EXPECT_THAT(host.waitFor("P1 stopped"), ElementsAre("launched", "P1 started", "P1 slide 1", "P1 stopped"));
        program.closeInput();
        EXPECT_EQ(host.waitFor("terminated").back(), "terminated");
    }
    EXPECT_NE(processes.at(0), 0);
    ASSERT_TRUE(eventually([] { return !isServiceThere(); })) << "it stays although nobody needs it";
    EXPECT_TRUE(eventually([&] { return kill(processes.at(1), 0) != 0; })) << "it left the bus but did not end";

    Host host;
    host.record(home.path() / "three");
    EXPECT_TRUE(eventually(isServiceThere));
    EXPECT_NE(serviceProcess(), processes.at(1));
    EXPECT_THAT(host.settled(), testing::IsEmpty());
}

class BusEndTest : public CaptureTest {};

TEST_F(BusEndTest, ServiceAndRecorderEndWithAMessageWhenTheBusIsGone) {
    startService();
    ChildProcess recorder({KEYNOTE_CAPTURE, "record", "--to", captures().string(), "--json"});
    Host host;
    host.record(captures("second"));
    const auto program = present(host);
    recorder.waitForLine(R"({"event":"slideDeckPresentedSlide")");
    host.waitFor("P1 slide 1");
    bus_.end();
    EXPECT_EQ(service_->exitStatus(), 1);
    EXPECT_THAT(service_->complaints(),
                HasSubstr("Lost the connection to the session bus; the capture service ends.\n"));
    EXPECT_EQ(recorder.exitStatus(), 3);
    EXPECT_EQ(recorder.complaints(),
              "keynote-capture: The capture service has gone; starting it again.\n"
              "keynote-capture: The session bus has gone; the recording has ended.\n");
    EXPECT_EQ(program->exitStatus(), 3);
    host.waitFor("lost");
    host.record(captures());
    host.waitFor("start failed, error 1");
    service_.reset();

    ChildProcess homeless({KEYNOTE_CAPTURE_SERVICE});
    EXPECT_EQ(homeless.exitStatus(), 1);
    EXPECT_THAT(homeless.complaints(), HasSubstr("Cannot reach the session bus"));
}

TEST_F(BusEndTest, ASecondServiceLeavesAtOnce) {
    startService();
    ChildProcess second({KEYNOTE_CAPTURE_SERVICE});
    EXPECT_EQ(second.exitStatus(), 1);
    EXPECT_THAT(second.complaints(), HasSubstr("Is another capture service running?"));
    EXPECT_TRUE(isServiceThere());
}

}  // namespace
