#include "tests/capture/Scenario.h"

namespace {

constexpr const char* kMissing = "KeynoteCaptureServiceErrorDomain 5";

class Presenting : public Scenario {
protected:
    /// A program that runs, with one deck, followed by a started service. Polls come at 0, 250, 500, ….
    void SetUp() override {
        keynote.launch();
        deck = keynote.open("a.key");
        start();
        host->calls.clear();
    }

    void show(std::int64_t slide) { ASSERT_EQ(keynote.model.startShow(deck, slide), nullptr); }
    void go(std::int64_t slide) { ASSERT_EQ(keynote.model.goToSlide(slide), nullptr); }
    void end() { ASSERT_EQ(keynote.model.stopShow(), nullptr); }

    std::string deck;
};

TEST_F(Presenting, LectureFromStartToImages) {
    run(100ms);
    show(3);
    run(300ms);
    go(5);
    run(10s);
    go(3);
    run(250ms);
    end();
    run(30s);
    EXPECT_EQ(host->calls, (Calls{
                               "250 started P1 /decks/a.key P1.key ok",
                               "375 slide P1 3 P1/slide.003.jpg",
                               "625 slide P1 5 P1/slide.005.jpg",
                               "10625 slide P1 3 P1/slide.003.jpg",
                               "11250 stopped P1 ok",
                           }));
    EXPECT_EQ(platform.files.list(captureDirectory(1)),
              (Calls{SimulatedText::uuid(1) + ".key", "slide.003.jpg", "slide.005.jpg"}));
    EXPECT_EQ(platform.files.contents(captureDirectory(1) + "/slide.005.jpg"), "a.key 5");
    EXPECT_GT(platform.files.sizeOf(captureDirectory(1) + "/" + SimulatedText::uuid(1) + ".key"), 0U);
}

TEST_F(Presenting, TwoShowsAreTwoPresentations) {
    show(1);
    run(1s);
    end();
    run(500ms);
    show(2);
    run(1s);
    end();
    run(10s);
    EXPECT_EQ(host->calls, (Calls{
                               "250 started P1 /decks/a.key P1.key ok",
                               "375 slide P1 1 P1/slide.001.jpg",
                               "1750 stopped P1 ok",
                               "1750 started P2 /decks/a.key P2.key ok",
                               "1875 slide P2 2 P2/slide.002.jpg",
                               "3250 stopped P2 ok",
                           }));
}

TEST_F(Presenting, SlideSeenJustBeforeTheEndGoesOutWithoutPresentation) {
    show(1);
    run(250ms);
    // Seen at 500, told at 625; a shorter interval lets the end be seen before that.
    go(2);
    run(250ms);
    service->setKeynotePollingInterval(0.1);
    end();
    run(5s);
    EXPECT_EQ(host->calls, (Calls{
                               "250 started P1 /decks/a.key P1.key ok",
                               "375 slide P1 1 P1/slide.001.jpg",
                               "625 slide nil 2 P1/slide.002.jpg",
                               "1000 stopped P1 ok",
                           }));
}

TEST_F(Presenting, FirstDocumentCountsAsThePresentedOne) {
    keynote.open("front.key");
    show(4);  // of the document behind
    run(500ms);
    EXPECT_EQ(host->calls, (Calls{"250 started P1 /decks/front.key P1.key ok", "375 slide P1 1 P1/slide.001.jpg"}));
}

TEST_F(Presenting, SlideBelowOneIsAWarningOnly) {
    show(1);
    run(500ms);
    go(0);
    run(500ms);
    EXPECT_EQ(host->calls.size(), 2U);
    EXPECT_EQ(logged("Warning: erroneous slide 0 reported from Keynote presentation " + SimulatedText::uuid(1) +
                     " with running state 1 presenting state 1 and Keynote pid 100"),
              1U);
    go(1);
    run(500ms);
    EXPECT_EQ(host->calls.back(), "1375 slide P1 1 P1/slide.001.jpg");
}

TEST_F(Presenting, ProgramGoneEndsThePresentationAfterTheWait) {
    show(1);
    run(500ms);
    platform.scripting.detach(keynote.pid);
    platform.workspace.remove(keynote.application);
    run(100s);
    EXPECT_EQ(host->calls, (Calls{
                               "250 started P1 /decks/a.key P1.key ok",
                               "375 slide P1 1 P1/slide.001.jpg",
                               "500 terminated",
                               // Started to wait at 500; the tick at 90.5 s is the first beyond 90 s.
                               std::string("91000 stopped P1 ") + kMissing,
                           }));
    EXPECT_EQ(logged("files still missing:\n{(\n    \"slide.001.jpg\"\n)}"), 1U);
}

TEST_F(Presenting, MissingImagesAreToldAndTheOthersMoved) {
    keynote.model.faults().leftOutImages = {2};
    show(1);
    run(500ms);
    go(2);
    run(500ms);
    end();
    run(100s);
    EXPECT_EQ(host->calls.back(), std::string("91750 stopped P1 ") + kMissing);
    EXPECT_TRUE(platform.files.sizeOf(captureDirectory(1) + "/slide.001.jpg"));
}

TEST_F(Presenting, FailingEventsSkipPollsAndNothingElse) {
    show(1);
    run(500ms);
    host->calls.clear();
    keynote.model.faults().neverAnswers = true;
    run(5s);
    go(4);
    run(5s);
    EXPECT_EQ(host->calls, Calls{});
    EXPECT_GT(logged("<!> Got an AppleEvent timeout"), 5U);
    EXPECT_GT(logged("Skipping this polling update. Error Domain=NSOSStatusErrorDomain Code=-1712"), 5U);

    keynote.model.faults() = {};
    run(1s);
    ASSERT_EQ(host->calls.size(), 1U);
    EXPECT_TRUE(host->calls[0].ends_with("slide P1 4 P1/slide.004.jpg"));

    keynote.model.faults().refusedCalls = {"all"};
    end();
    run(5s);
    EXPECT_EQ(host->calls.size(), 1U);
    EXPECT_GT(logged("<!> Sending Apple Event to Keynote failed. Error:\nError Domain="), 5U);
}

TEST_F(Presenting, WithoutPlayingAFullScreenWindowTells) {
    keynote.model.faults().lacksPlaying = true;
    show(2);
    run(500ms);
    EXPECT_EQ(host->calls, Calls{});
    platform.windowServer.windowRecords = {{100, {5, 5, 1440, 900}, "Show", 1}, {7, {0, 0, 1440, 900}, "Other", 2}};
    run(500ms);
    EXPECT_EQ(host->calls, (Calls{"750 started P1 /decks/a.key P1.key ok", "875 slide P1 2 P1/slide.002.jpg"}));
    platform.windowServer.windowRecords.erase(platform.windowServer.windowRecords.begin());
    run(5s);
    EXPECT_EQ(host->calls.back(), "1750 stopped P1 ok");
    EXPECT_EQ(logged("Keynote does not have scripting property for 'playing'"), 24U);
}

TEST_F(Presenting, DirectoryThatCannotBePreparedIsToldAndSlidesGoOn) {
    platform.files.readOnly = {"/captures"};
    show(1);
    run(500ms);
    end();
    run(2s);
    EXPECT_EQ(host->calls, (Calls{
                               "250 started P1 /decks/a.key nil NSPOSIXErrorDomain 13",
                               "375 slide P1 1 P1/slide.001.jpg",
                               "1250 stopped P1 ok",
                           }));
}

TEST_F(Presenting, ArchiveThatCannotBeWrittenIsCodeThree) {
    platform.files.readOnly = {captureDirectory(1)};
    show(1);
    run(500ms);
    EXPECT_EQ(host->calls, (Calls{
                               "250 started P1 /decks/a.key nil KeynoteCaptureServiceErrorDomain 3",
                               "375 slide P1 1 P1/slide.001.jpg",
                           }));
    EXPECT_EQ(logged("Can not write file in capture directory (permissions?)"), 1U);
}

TEST_F(Presenting, PollCostsOneEvent) {
    show(1);
    run(500ms);
    const int before = platform.scripting.eventsSent();
    run(10s);
    EXPECT_EQ(platform.scripting.eventsSent() - before, 40);
}

}  // namespace
