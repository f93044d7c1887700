/// Programs and displays that do not answer: whoever waits for them holds up nobody else.

#include "tests/e2e/CaptureTest.h"
#include "tests/support/Deadline.h"

#include <atomic>

namespace {

using testing::ElementsAre;

class StallsTest : public CaptureTest {
protected:
    void SetUp() override { startService(); }
};

/// All that a host can ask of a program that never answers, several times over: its queue is busy for minutes.
TEST_F(StallsTest, AProgramThatNeverAnswersHoldsUpItsOwnHostOnly) {
    Host host;
    host.record(captures());
    const auto program = present(host, "Optics slides 3");
    host.waitFor("P1 slide 1");

    const auto hung = launchProgram();
    waitForLog("More than 1 running Keynote application? Using the last.");
    Host other;
    other.record(captures("other"), "other");
    other.waitFor("launched");
    hung->play("open Acoustics slides 2");
    hung->play("start");
    other.waitFor("P1 slide 1");
    hung->play("fault never-answers");
    std::atomic<bool> isAnswered = false;
    auto& service = other.service();
    for (int i = 0; i < 5; ++i) {
        service.stopPresenting();
        service.descriptionOfScriptableWindowsWithReply([](const auto&) {});
        service.descriptionOfKeynoteWindowsWithReply([](const auto&) {});
    }
    service.waitForSavingToCompleteAsync();
    for (int i = 0; i < 2; ++i) service.extractSlideFiles({"slide.001.jpg"}, (home_.path() / "deck.key").string());
    service.descriptionOfKeynoteWindowsWithReply([&](const auto&) { isAnswered = true; });
    waitForLog("<!> Got an AppleEvent timeout");

    host.service().setKeynotePollingInterval(0.3);
    program->play("next");
    host.waitFor("P1 slide 2");
    program->play("stop");
    EXPECT_THAT(host.waitFor("P1 stopped"),
                ElementsAre("launched", "P1 started", "P1 slide 1", "P1 slide 2", "P1 stopped"));
    std::atomic<bool> isDescribed = false;
    host.service().descriptionOfScriptableWindowsWithReply([&](const auto&) { isDescribed = true; });
    EXPECT_TRUE(eventually([&] { return isDescribed.load(); }));
    host.record(captures("again"));
    host.waitFor("launched", 2);
    EXPECT_FALSE(isAnswered) << "the other host's calls did not wait for anything";
}

}  // namespace
