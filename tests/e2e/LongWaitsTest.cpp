/// Shows whose images never come: the host hears it after ninety seconds. Their waits run at the same time.

#include "tests/e2e/CaptureTest.h"
#include "tests/support/Deadline.h"

#include <chrono>
#include <csignal>

namespace {

using testing::ElementsAre;
using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

class LongWaitsTest : public CaptureTest {
protected:
    void SetUp() override {
        startService();
        host_.record(captures());
    }

    /// Shows slides 1 and 2 of an open deck.
    void showTwoSlides(ChildProcess& program, const std::string& presentation) {
        program.play("start");
        host_.waitFor(presentation + " slide 1");
        program.play("next");
        host_.waitFor(presentation + " slide 2");
    }

    Host host_;
};

TEST_F(LongWaitsTest, MissingImagesAreToldAfterNinetySecondsAndHarmNoOtherShow) {
    auto program = launchProgram();
    host_.waitFor("launched");
    program->play("open Optics slides 3");
    showTwoSlides(*program, "P1");
    program->play("stop");
    host_.waitFor("P1 stopped");
    const auto complete = filesIn(directoryOf(host_, 1));
    EXPECT_EQ(complete.size(), 3U);

    program->play("fault leaves-out 2");
    showTwoSlides(*program, "P2");
    program->play("stop");
    program->waitForLine("event exported 2 images");
    program->play("heal");

    program->play("fault exports-jpeg");
    showTwoSlides(*program, "P3");
    program->play("stop");
    host_.waitFor("P3 stopped");
    EXPECT_TRUE(isWholeImage(directoryOf(host_, 3) / "slide.002.jpg"));
    program->play("heal");

    showTwoSlides(*program, "P4");
    program->send(SIGKILL);
    EXPECT_EQ(host_.waitFor("terminated").back(), "terminated");

    program = launchProgram();
    host_.waitFor("launched", 2);
    program->play("open Acoustics slides 3");
    program->play("fault dies-in-export 1");
    showTwoSlides(*program, "P5");
    const auto stopped = SteadyClock::now();
    program->play("stop");
    EXPECT_EQ(program->exitStatus(), 128 + SIGKILL);

    host_.waitFor("P5 stopped, error 5", 1, 90s + kDeadline);
    EXPECT_GE(SteadyClock::now() - stopped, 90s);
    EXPECT_THAT(host_.settled(),
                ElementsAre("launched",                                                          //
                            "P1 started", "P1 slide 1", "P1 slide 2", "P1 stopped",              //
                            "P2 started", "P2 slide 1", "P2 slide 2",                            //
                            "P3 started", "P3 slide 1", "P3 slide 2", "P3 stopped",              //
                            "P4 started", "P4 slide 1", "P4 slide 2", "terminated",              //
                            "launched", "P5 started", "P5 slide 1", "P5 slide 2", "terminated",  //
                            "P2 stopped, error 5", "P4 stopped, error 5", "P5 stopped, error 5"));
    EXPECT_EQ(filesIn(directoryOf(host_, 2)), (std::set<std::string>{*host_.presentation(2).archive, "slide.001.jpg"}));
    EXPECT_EQ(filesIn(directoryOf(host_, 4)), std::set<std::string>{*host_.presentation(4).archive});
    EXPECT_EQ(filesIn(directoryOf(host_, 5)), (std::set<std::string>{*host_.presentation(5).archive, "slide.001.jpg"}));
    EXPECT_EQ(filesIn(directoryOf(host_, 1)), complete);
    EXPECT_EQ(countInLog("Image File Monitor - timeout waiting for files"), 3);
}

}  // namespace
