/// A program that does not tell whether it plays: its full-screen window does.

#include "tests/e2e/CaptureTest.h"

#include <csignal>
#include <cstdlib>

namespace {

using testing::ElementsAre;

class WindowsFallbackTest : public CaptureTest, public testing::WithParamInterface<bool> {
protected:
    void SetUp() override {
        screen_ = std::make_unique<ChildProcess>(std::vector<std::string>{
            XVFB, "-displayfd", "1", "-screen", "0", "1280x722x24", "-nolisten", "tcp", "-noreset"});
        setenv("DISPLAY", (":" + screen_->readLine().value()).c_str(), 1);
        if (GetParam()) {
            windowManager_ =
                std::make_unique<ChildProcess>(std::vector<std::string>{WINDOW_MANAGER, "--startup", "echo ready"});
            windowManager_->waitForLine("ready");
        }
        startService();
        host_ = std::make_unique<Host>();
        host_->record(captures());
        program_ = launchProgram(true);
        host_->waitFor("launched");
        program_->play("fault lacks-playing");
        program_->play("open Optics slides 4");
    }
    void TearDown() override {
        CaptureTest::TearDown();
        unsetenv("DISPLAY");
    }

    std::unique_ptr<ChildProcess> screen_;
    std::unique_ptr<ChildProcess> windowManager_;
    std::unique_ptr<ChildProcess> program_;
    std::unique_ptr<Host> host_;
};

INSTANTIATE_TEST_SUITE_P(Screens, WindowsFallbackTest, testing::Bool(),
                         [](const auto& suite) { return suite.param ? "WithWindowManager" : "WithoutWindowManager"; });

TEST_P(WindowsFallbackTest, AFullScreenWindowIsAShow) {
    waitForLog("falling back to detecting presentation window.");
    EXPECT_THAT(host_->settled(), ElementsAre("launched")) << "the deck's own window is no show";
    program_->play("start");
    host_->waitFor("P1 slide 1");
    program_->play("next");
    host_->waitFor("P1 slide 2");
    program_->play("stop");
    EXPECT_THAT(host_->waitFor("P1 stopped"),
                ElementsAre("launched", "P1 started", "P1 slide 1", "P1 slide 2", "P1 stopped"));
    EXPECT_TRUE(isWholeImage(directoryOf(*host_) / "slide.002.jpg"));

    program_->play("start at 3");
    host_->waitFor("P2 slide 3");
    screen_->send(SIGKILL);
    host_->waitFor("P2 stopped");
    program_->play("heal");
    host_->waitFor("P3 slide 3");
    EXPECT_THAT(host_->settled(), ElementsAre("launched", "P1 started", "P1 slide 1", "P1 slide 2", "P1 stopped",
                                              "P2 started", "P2 slide 3", "P2 stopped", "P3 started", "P3 slide 3"));
}

}  // namespace
