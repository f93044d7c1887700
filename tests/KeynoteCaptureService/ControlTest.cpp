#include "tests/KeynoteCaptureService/Scenario.h"

#include <cmath>
#include <limits>

namespace {

using Control = Scenario;
using Path = std::filesystem::path;

constexpr const char* kReason = "Keynote Detection Started";

TEST_F(Control, StartRefusesWhatItCannotUse) {
    service = KeynoteCaptureService::initWithDelegate(host);
    ASSERT_EQ(platform.files.createFile("/file", "x"), nullptr);
    ASSERT_EQ(platform.files.createFile(std::string(kSandbox) + "/file", "x"), nullptr);
    platform.files.readOnly = {"/"};
    static_cast<void>(takeLog());
    struct Case {
        std::optional<Path> directory;
        std::optional<std::string> recordingID;
        std::string error;
        std::optional<Path> kept;  ///< as the directory for captures
        Calls log;
    };
    const std::string domain = "KeynoteCaptureServiceErrorDomain ";
    const std::string request = "Start detection and capture requested to: ";
    const std::string occupied = "File, rather than a directory, exists at specified capture directory";
    const std::string occupiedLine = "Can't create capture directory, file with same name already exists";
    const Case cases[] = {
        {std::nullopt,
         std::nullopt,
         domain + "2 NSLocalizedDescription=Requested to start capturing with a nil file URL for the content capture "
                  "directory.",
         std::nullopt,
         {request + "(null)"}},
        {"/captures",
         std::nullopt,
         domain + "2 NSLocalizedDescription=Requested to start capturing with a nil recording ID for the working "
                  "directory.",
         std::nullopt,
         {request + "/captures"}},
        {"/file",
         "R",
         domain + "1 NSFilePath=/file NSLocalizedDescription=" + occupied,
         "/file",
         {request + "/file", occupiedLine}},
        {"/captures",
         "R",
         "NSPOSIXErrorDomain 13 NSFilePath=/captures NSLocalizedDescription=Permission denied",
         "/captures",
         {request + "/captures",
          "Could not create capture directory. Error: Error Domain=NSPOSIXErrorDomain Code=13 \"Permission denied\""}},
        {"/home",
         "file",
         domain + "1 NSFilePath=S/file NSLocalizedDescription=" + occupied,
         "/home",
         {request + "/home", occupiedLine}},
    };
    int starts = 0;
    for (const Case& test : cases) {
        Calls replies;
        service->startDetectionAndCaptureTo(test.directory, test.recordingID,
                                            [&](const ErrorPtr& reply) { replies.push_back(textOf(reply)); });
        platform.dispatch.runReady();
        EXPECT_EQ(replies, Calls{test.error});
        EXPECT_EQ(service->baseCaptureDirectoryURL(), test.kept) << test.error;
        EXPECT_EQ(takeLog(), test.log);
        EXPECT_FALSE(service->isMonitoringActive());
        EXPECT_EQ(platform.automaticTermination.disables[kReason], ++starts) << "a failed start is not undone";
    }
    service->startDetectionAndCaptureTo(std::nullopt, std::nullopt, nullptr);
    platform.dispatch.runReady();
    EXPECT_EQ(service->baseCaptureDirectoryURL(), "/home") << "kept from the last start that got that far";

    static_cast<void>(takeLog());
    ErrorPtr error;
    EXPECT_FALSE(KeynoteCaptureService::createDirectoryIfNeededAtFilePath(std::nullopt, error));
    EXPECT_EQ(textOf(error), domain + "4 NSLocalizedDescription=Unable to create directory, file path is nil.");
    EXPECT_EQ(takeLog(), Calls{"Can't create directory, specified path is nil."});
}

TEST_F(Control, RequestsAreLoggedAndWithoutAProgramNothingIsPolled) {
    start();
    service->setKeynotePollingInterval(0.1);
    service->setKeynotePollingInterval(0.25);
    service->stopPresenting();
    platform.dispatch.runReady();
    start();
    service->stopDetectionAndCapture();
    run(1s);
    EXPECT_EQ(takeLog(), (Calls{
                             "KeynoteCaptureService is initialized with sandbox directory: S",
                             "Start detection and capture requested to: /captures",
                             "Started monitoring...",
                             ">>> Running applications state has changed",
                             "polling of 0.100000 less than 0.25, not recommended",
                             "Stop presenting.",
                             "Start detection and capture requested to: /captures",
                             "Detection was already started! Stopping and restarting",
                             "Stopped monitoring...",
                             "Stopped polling keynote for status.",
                             "Started monitoring...",
                             ">>> Running applications state has changed",
                             "Stop detection and capture.",
                             "Stopped monitoring...",
                             "Stopped polling keynote for status.",
                         }));
}

TEST_F(Control, StartCreatesDirectoriesAndStopForgetsThem) {
    start();
    EXPECT_EQ(platform.files.kindOf("/captures"), FileKind::directory);
    const Path sandbox = "/home/lecturer/Library/Containers/com.apple.iWork.Keynote/Data/Documents/Veldrin";
    EXPECT_EQ(platform.files.kindOf(sandbox / "R"), FileKind::directory);
    EXPECT_EQ(platform.files.kindOf(sandbox / "temp"), FileKind::directory);
    EXPECT_TRUE(service->isMonitoringActive());
    service->stopDetectionAndCapture();
    platform.dispatch.runReady();
    EXPECT_FALSE(service->isMonitoringActive());
    EXPECT_FALSE(service->baseCaptureDirectoryURL());
    EXPECT_FALSE(service->baseWorkingDirectoryURL());
    EXPECT_EQ(platform.automaticTermination.disables[kReason], 0);
}

TEST_F(Control, NoTemporaryDirectoryNoService) {
    platform.files.readOnly = {"/"};
    EXPECT_FALSE(KeynoteCaptureService::initWithDelegate(host));
    EXPECT_EQ(takeLog().back(), "Failed to create temporary directory: S/temp");
}

TEST_F(Control, SecondStartBeginsAnewAndGivesUpWhatWasAwaited) {
    keynote.launch();
    start();
    ASSERT_EQ(keynote.model.startShow(keynote.open("a.key"), 1), nullptr);
    run(1s);
    service->startDetectionAndCaptureTo("/second", "R", nullptr);
    run(500ms);
    ASSERT_EQ(keynote.model.stopShow(), nullptr);
    run(100s);
    EXPECT_EQ(host->calls,
              (Calls{"0 launched", "250 started P1 /decks/a.key P1.key ok", "375 slide P1 1 P1/slide.001.jpg",
                     "1000 started P2 /decks/a.key P2.key ok", "1000 launched", "1125 slide P2 1 P2/slide.001.jpg"}));
    EXPECT_EQ(platform.files.list("/second"), Calls{simulated::SimulatedText::uuid(2)});
}

TEST_F(Control, StopDropsPendingImages) {
    keynote.launch();
    const auto deck = keynote.open("a.key");
    start();
    ASSERT_EQ(keynote.model.startShow(deck, 1), nullptr);
    run(500ms);
    service->stopDetectionAndCapture();
    run(100s);
    // Neither the end of the running show is told, nor, after another start, that of a later one.
    EXPECT_EQ(host->calls.size(), 3U);
    start();
    run(500ms);
    ASSERT_EQ(keynote.model.stopShow(), nullptr);
    run(100s);
    EXPECT_EQ(host->calls.back(), "100625 slide P2 1 P2/slide.001.jpg");
}

TEST_F(Control, StopPresentingEndsTheShow) {
    keynote.launch();
    const auto deck = keynote.open("a.key");
    start();
    service->stopPresenting();  // nothing presented yet: goes to nobody
    ASSERT_EQ(keynote.model.startShow(deck, 1), nullptr);
    run(500ms);
    service->stopPresenting();
    EXPECT_FALSE(keynote.model.presentedDocument());
    run(2s);
    EXPECT_EQ(host->calls.back(), "1250 stopped P1 ok");
    const int before = platform.scripting.eventsSent();
    service->stopPresenting();
    EXPECT_EQ(platform.scripting.eventsSent(), before) << "the document is no longer the current one";
}

TEST_F(Control, AnyIntervalIsSurvivedAndCanBeLeftAgain) {
    keynote.launch();
    start();
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double seconds : {0.0, -1.0, -infinity, std::nan(""), infinity, 1e300, 1e-300}) {
        service->setKeynotePollingInterval(seconds);
        run(10ms);
        service->setKeynotePollingInterval(0.25);
        platform.dispatch.runReady();
        const int before = platform.scripting.eventsSent();
        run(1s);
        EXPECT_EQ(platform.scripting.eventsSent() - before, 4) << seconds;
    }
    EXPECT_EQ(logged("polling of 0.000000 less than 0.25, not recommended"), 2U);
    EXPECT_EQ(logged("polling of 0.25"), 0U);
}

TEST_F(Control, EachConnectionHasItsOwnServiceAndInvalidationEndsIt) {
    ServiceDelegate listenerDelegate;
    auto other = std::make_shared<RecordingHost>(platform.dispatch);
    const auto first = std::make_shared<SimulatedConnection>(host);
    const auto second = std::make_shared<SimulatedConnection>(other);
    for (const auto& connection : {first, second}) {
        ASSERT_TRUE(listenerDelegate.listenerShouldAcceptNewConnection(connection));
        EXPECT_TRUE(connection->resumed);
        connection->exportedObject()->startDetectionAndCaptureTo("/captures", "R", nullptr);
    }
    ASSERT_NE(first->exportedObject(), second->exportedObject());
    keynote.launch();
    const auto deck = keynote.open("a.key");
    run(1s);
    ASSERT_EQ(keynote.model.startShow(deck, 1), nullptr);
    run(500ms);

    const std::weak_ptr<KeynoteCaptureServiceProtocol> gone = first->exportedObject();
    host->calls.clear();
    first->invalidate();
    EXPECT_FALSE(first->exportedObject());
    run(1s);
    ASSERT_EQ(keynote.model.stopShow(), nullptr);
    run(100s);
    EXPECT_EQ(host->calls, Calls{});
    EXPECT_TRUE(gone.expired()) << "nothing keeps the service of a lost host";
    EXPECT_EQ(platform.automaticTermination.disables[kReason], 1);
    EXPECT_EQ(other->calls, (Calls{"0 launched", "1250 started P2 /decks/a.key P2.key ok",
                                   "1375 slide P2 1 P2/slide.001.jpg", "3250 stopped P2 ok"}));
}

TEST_F(Control, AStartOnItsWayWhenTheHostLeavesTellsNothing) {
    ServiceDelegate listenerDelegate;
    const auto connection = std::make_shared<SimulatedConnection>(host);
    ASSERT_TRUE(listenerDelegate.listenerShouldAcceptNewConnection(connection));
    keynote.launch();
    connection->exportedObject()->startDetectionAndCaptureTo("/captures", "R", nullptr);
    connection->invalidate();
    run(1s);
    EXPECT_EQ(logged("Notifying that Keynote launched"), 1U);
    EXPECT_EQ(host->calls, Calls{});
}

TEST_F(Control, LateSlideOutlivesServiceAndHost) {
    keynote.launch();
    const auto deck = keynote.open("a.key");
    start();
    ASSERT_EQ(keynote.model.startShow(deck, 1), nullptr);
    run(250ms);  // seen, to be told in 125 ms
    service->setDelegate(nullptr);
    host.reset();
    service.reset();
    run(1s);
    EXPECT_EQ(logged("Notifying of transition"), 0U);
}

}  // namespace
