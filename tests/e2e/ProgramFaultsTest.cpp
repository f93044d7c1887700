/// Presentation programs that hang, refuse and vanish.

#include "tests/e2e/CaptureTest.h"

#include <csignal>

namespace {

using testing::ElementsAre;

constexpr const char* kSkipped = "Skipping this polling update";

class ProgramFaultsTest : public CaptureTest {
protected:
    void SetUp() override {
        startService();
        host_.record(captures());
    }

    /// Waits until polls are skipped, more than were skipped before.
    void waitForSkippedPolls(int count) const { waitForLog(kSkipped, countInLog(kSkipped) + count); }

    Host host_;
};

TEST_F(ProgramFaultsTest, AProgramThatHangsOrRefusesIsFollowedAgainAfterwards) {
    const auto program = present(host_);
    host_.waitFor("P1 slide 1");

    program->send(SIGSTOP);
    waitForSkippedPolls(2);
    waitForLog("<!> Got an AppleEvent timeout");
    program->send(SIGCONT);
    program->play("next");
    host_.waitFor("P1 slide 2");

    program->play("fault refuses presentingState,windows");
    program->play("next");
    waitForSkippedPolls(2);
    waitForLog("<!> Sending Apple Event to Keynote failed. Error:");
    program->play("heal");
    host_.waitFor("P1 slide 3");

    program->play("stop");
    EXPECT_THAT(host_.waitFor("P1 stopped"),
                ElementsAre("launched", "P1 started", "P1 slide 1", "P1 slide 2", "P1 slide 3", "P1 stopped"));
    program->closeInput();
    host_.waitFor("terminated");
    EXPECT_EQ(filesIn(directoryOf(host_)).size(), 4U) << "the archive and three images";
}

TEST_F(ProgramFaultsTest, AnArchiveThatTheProgramRefusesLeavesAnEmptyFileAndTheShowGoesOn) {
    const auto program = launchProgram();
    host_.waitFor("launched");
    program->play("open Optics slides 2");
    program->play("fault refuses save");
    program->play("start");
    host_.waitFor("P1 slide 1");
    program->play("stop");
    EXPECT_THAT(host_.waitFor("P1 stopped"), ElementsAre("launched", "P1 started", "P1 slide 1", "P1 stopped"));
    EXPECT_EQ(contentsOf(directoryOf(host_) / *host_.presentation(1).archive), "");
    EXPECT_TRUE(isWholeImage(directoryOf(host_) / "slide.001.jpg"));
}

}  // namespace
