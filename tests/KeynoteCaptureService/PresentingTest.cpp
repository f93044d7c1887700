#include "tests/KeynoteCaptureService/Scenario.h"

namespace {

using Trace = Scenario;
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

/// Two shows, the second one ended by the program's own end, and everything that anybody hears of it.
TEST_F(Trace, OfALecture) {
    const std::string transition = " # \nNotifying of transition to\n\tslide: ";
    const std::string waiting = " # Image File Monitor - Waiting for these expected slide images:\n{(\n    ";
    noteLog();
    noteEvents();
    start();
    run(100ms);
    keynote.launch();
    const auto deck = keynote.open("a.key");
    ASSERT_EQ(keynote.model.startShow(deck, 3), nullptr);
    run(1s);
    for (const std::int64_t slide : {5, 3}) {
        ASSERT_EQ(keynote.model.goToSlide(slide), nullptr);
        run(500ms);
    }
    ASSERT_EQ(keynote.model.stopShow(), nullptr);
    run(1s);
    EXPECT_EQ(host->calls,
              (Calls{
                  "0 # KeynoteCaptureService is initialized with sandbox directory: S",
                  "0 # Start detection and capture requested to: /captures",
                  "0 # Started monitoring...",
                  "0 # >>> Running applications state has changed",
                  "100 # >>> Running applications state has changed",
                  "100 # >>> Running Keynote Application process ID changed.",
                  "100 # Started polling Keynote for status...",
                  "100 # Notifying that Keynote launched",
                  "100 launched",
                  "350 > save document-1 /captures/P1/P1.key onto 0 bytes",
                  "350 # Notifying that Keynote STARTED presenting.",
                  "350 started P1 /decks/a.key P1.key ok",
                  "475" + transition + "3\n\tat: 2024-03-05 13:07:09 +0000\n\twith image file: slide.003.jpg",
                  "475 slide P1 3 P1/slide.003.jpg",
                  "1475" + transition + "5\n\tat: 2024-03-05 13:07:10 +0000\n\twith image file: slide.005.jpg",
                  "1475 slide P1 5 P1/slide.005.jpg",
                  "1975" + transition + "3\n\tat: 2024-03-05 13:07:10 +0000\n\twith image file: slide.003.jpg",
                  "1975 slide P1 3 P1/slide.003.jpg",
                  "2350 # Starting export of slide images...",
                  "2350 > export document-1 S/R/P1/slide" + kAsImages,
                  "2350" + waiting + "\"slide.003.jpg\",\n    \"slide.005.jpg\"\n)}",
                  "2850 # Image File Monitor - monitor did finish with success: 1",
                  "2850 # Finished verification of captured slide images.",
                  "2850 # Notifying that Keynote STOPPED presenting.",
                  "2850 stopped P1 ok",
              }));
    EXPECT_EQ(platform.files.list(captureDirectory(1)),
              (Calls{simulated::SimulatedText::uuid(1) + ".key", "slide.003.jpg", "slide.005.jpg"}));
    EXPECT_EQ(platform.files.contents(captureDirectory(1) + "/slide.005.jpg"), "a.key 5 0.8");
    EXPECT_GT(platform.files.sizeOf(captureDirectory(1) + "/" + simulated::SimulatedText::uuid(1) + ".key"), 0U);

    host->calls.clear();
    const auto other = keynote.open("b.key");
    ASSERT_EQ(keynote.model.startShow(other, 1), nullptr);
    run(500ms);
    keynote.quit();
    run(500ms);
    service->stopDetectionAndCapture();
    run(100s);
    EXPECT_EQ(host->calls,
              (Calls{
                  "3350 > save document-2 /captures/P2/P2.key onto 0 bytes",
                  "3350 # Notifying that Keynote STARTED presenting.",
                  "3350 started P2 /decks/b.key P2.key ok",
                  "3475" + transition + "1\n\tat: 2024-03-05 13:07:12 +0000\n\twith image file: slide.001.jpg",
                  "3475 slide P2 1 P2/slide.001.jpg",
                  "3600 # >>> Running applications state has changed",
                  "3600 # Stopped polling keynote for status.",
                  "3600 # Starting export of slide images...",
                  "3600" + waiting + "\"slide.001.jpg\"\n)}",
                  "3600 # Notifying that Keynote terminated",
                  "3600 terminated",
                  "4100 # Stop detection and capture.",
                  "4100 # Stopped monitoring...",
                  "4100 # Stopped polling keynote for status.",
              }));
}

TEST_F(Presenting, TwoShowsAreTwoPresentations) {
    const auto queues = platform.dispatch.serialQueues();
    show(1);
    run(1s);
    end();
    run(500ms);
    show(2);
    run(1s);
    end();
    run(10s);
    EXPECT_EQ(platform.dispatch.serialQueues(), queues) << "the monitors of ended shows are still there";
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
    ASSERT_EQ(keynote.model.activateDocument(deck), nullptr);
    run(500ms);
    EXPECT_EQ(host->calls.back(), "875 slide P1 4 P1/slide.004.jpg");
    end();
    run(2s);
    EXPECT_EQ(platform.files.contents(captureDirectory(1) + "/slide.001.jpg"), "a.key 1 0.8")
        << "the images come from the document that was last polled";
}

TEST_F(Presenting, SlideBelowOneIsAWarningOnly) {
    show(1);
    run(500ms);
    go(0);
    run(500ms);
    EXPECT_EQ(host->calls.size(), 2U);
    EXPECT_EQ(
        logged("Warning: erroneous slide 0 reported from Keynote presentation " + simulated::SimulatedText::uuid(1) +
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

TEST_F(Presenting, FailingEventsSkipPollsAndNothingElse) {
    show(1);
    run(500ms);
    host->calls.clear();
    go(4);
    keynote.model.faults().answersLate = 700ms;  // half a second is what a poll waits
    run(5s);
    keynote.model.faults().neverAnswers = true;
    run(5s);
    EXPECT_EQ(host->calls, Calls{});
    EXPECT_EQ(logged("<!> Got an AppleEvent timeout"), 19U);
    EXPECT_EQ(logged("Apple Event error occured when checking Keynote presenting state. Skipping this polling update. "
                     "Error Domain=NSOSStatusErrorDomain Code=-1712 \"The reply took too long.\" The reply took too "
                     "long. (-1712)"),
              19U);

    keynote.model.faults() = {};
    run(1s);
    ASSERT_EQ(host->calls.size(), 1U);
    EXPECT_TRUE(host->calls[0].ends_with("slide P1 4 P1/slide.004.jpg"));

    keynote.model.faults().refusedCalls = {"all"};
    end();
    run(5s);
    EXPECT_EQ(host->calls.size(), 1U);
    EXPECT_EQ(
        logged("<!> Sending Apple Event to Keynote failed. Error:\nError Domain=NSOSStatusErrorDomain Code=-10000 "
               "\"The program refuses \"presentingState\".\""),
        20U);
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

TEST_F(Presenting, TheWindowsAreThoseOfTheQuestion) {
    keynote.model.faults().lacksPlaying = true;
    keynote.model.faults().answersLate = 400ms;
    go(5);
    run(350ms);  // asked at 250, answered at 650
    show(2);
    platform.windowServer.windowRecords = {{100, {0, 0, 1440, 900}, "Show", 1}};
    run(1s);
    EXPECT_EQ(host->calls, (Calls{"1150 started P1 /decks/a.key P1.key ok", "1275 slide P1 2 P1/slide.002.jpg"}))
        << "a poll that is left out must not make a show of the slide that was edited before";
}

TEST_F(Presenting, AFileInPlaceOfTheDirectoryIsToldAndTheSecondOneNotMade) {
    ASSERT_EQ(platform.files.createFile(captureDirectory(1), "x"), nullptr);
    show(1);
    run(250ms);
    EXPECT_EQ(host->calls, (Calls{"250 started P1 /decks/a.key nil KeynoteCaptureServiceErrorDomain 1 "
                                  "NSFilePath=/captures/P1 NSLocalizedDescription=File, rather than a directory, "
                                  "exists at specified capture directory"}));
    EXPECT_EQ(platform.files.list(std::string(kSandbox) + "/R"), Calls{});
}

TEST_F(Presenting, DirectoryThatCannotBePreparedIsToldAndSlidesGoOn) {
    platform.files.readOnly = {"/captures"};
    show(1);
    run(500ms);
    end();
    run(2s);
    EXPECT_EQ(host->calls, (Calls{
                               "250 started P1 /decks/a.key nil NSPOSIXErrorDomain 13 NSFilePath=/captures/P1 "
                               "NSLocalizedDescription=Permission denied",
                               "375 slide P1 1 P1/slide.001.jpg",
                               "1250 stopped P1 ok",
                           }));
}

TEST_F(Presenting, ArchiveThatCannotBeWrittenIsCodeThree) {
    platform.files.readOnly = {captureDirectory(1)};
    show(1);
    run(500ms);
    EXPECT_EQ(host->calls, (Calls{
                               "250 started P1 /decks/a.key nil KeynoteCaptureServiceErrorDomain 3 "
                               "NSLocalizedDescription=Keynote document could not be saved as to the content capture "
                               "directory.",
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
