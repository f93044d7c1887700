#include "tests/capture/Scenario.h"

#include <cmath>
#include <limits>

namespace {

using Control = Scenario;
using Path = std::filesystem::path;

constexpr const char* kReason = "Keynote Detection Started";

TEST_F(Control, StartRefusesWhatItCannotUse) {
    service = KeynoteCaptureService::initWithDelegate(host);
    ASSERT_EQ(platform.files.createFile("/file", "x"), nullptr);
    platform.files.readOnly = {"/"};
    struct Case {
        std::optional<Path> directory;
        std::optional<std::string> recordingID;
        std::int64_t code;
        std::string description;
    };
    const Case cases[] = {
        {std::nullopt, std::nullopt, 2,
         "Requested to start capturing with a nil file URL for the content capture directory."},
        {"/captures", std::nullopt, 2,
         "Requested to start capturing with a nil recording ID for the working directory."},
        {"/file", "R", 1, "File, rather than a directory, exists at specified capture directory"},
        {"/captures", "R", EACCES, "Permission denied"},
    };
    int starts = 0;
    for (const Case& test : cases) {
        ErrorPtr error;
        service->startDetectionAndCaptureTo(test.directory, test.recordingID, [&](const ErrorPtr& reply) {
            EXPECT_FALSE(error);
            error = reply;
        });
        platform.dispatch.runReady();
        ASSERT_TRUE(error) << test.description;
        EXPECT_EQ(error->code(), test.code);
        EXPECT_EQ(error->localizedDescription(), test.description);
        EXPECT_FALSE(service->isMonitoringActive());
        EXPECT_EQ(platform.processInfo.disables[kReason], ++starts) << "a failed start is not undone";
    }
    service->startDetectionAndCaptureTo(std::nullopt, std::nullopt, nullptr);
    platform.dispatch.runReady();
    EXPECT_EQ(service->baseCaptureDirectoryURL(), "/captures") << "kept from the last start that got that far";
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
    EXPECT_EQ(platform.processInfo.disables[kReason], 0);
}

TEST_F(Control, NoTemporaryDirectoryNoService) {
    platform.files.readOnly = {"/"};
    EXPECT_FALSE(KeynoteCaptureService::initWithDelegate(host));
    EXPECT_EQ(logged("Failed to create temporary directory: /home/lecturer/Library/"), 1U);
}

TEST_F(Control, SecondStartDetectsAgain) {
    keynote.launch();
    start();
    run(1s);
    start();
    EXPECT_EQ(host->calls, (Calls{"0 launched", "1000 launched"}));
    EXPECT_EQ(logged("Detection was already started! Stopping and restarting"), 1U);
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
    EXPECT_EQ(platform.processInfo.disables[kReason], 1);
    ASSERT_FALSE(other->calls.empty());
    EXPECT_TRUE(other->calls.back().ends_with("stopped P2 ok") || other->calls.back().ends_with("stopped P1 ok"));
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
