#pragma once

#include "platform/linux/bus/DBusServiceListener.h"
#include "tests/platform/linux/bus/BusTest.h"

#include <fmt/format.h>
#include <atomic>

inline constexpr const char* kProtocol = "com.veldrin.KeynoteCaptureServiceProtocol";

/// Serves a host by noting what it asks, with the host's number in front.
class NotingService final : public KeynoteCaptureServiceProtocol {
public:
    NotingService(int number, Notes& notes, std::shared_ptr<KeynoteCaptureServiceDelegate> host,
                  std::vector<ErrorReply>& held, const std::atomic<bool>& blocked)
        : number_(number), notes_(notes), host_(std::move(host)), held_(held), blocked_(blocked) {}
    ~NotingService() override { note("freed"); }

    /// The recording's name tells how to answer.
    void startDetectionAndCaptureTo(const std::optional<std::filesystem::path>& captureDirectoryURL,
                                    const std::optional<std::string>& withRecordingId,
                                    ErrorReply withErrorReply) override {
        // Before it is noted: a test answers it then.
        if (withRecordingId == "hold") held_.push_back(std::move(withErrorReply));
        note("start " + captureDirectoryURL.value_or("none").string() + " " + withRecordingId.value_or("none"));
        if (withRecordingId == "fail") withErrorReply(makeError("Domain", -5, "No \xFF directory."));
        if (withRecordingId == "fail twice") {
            withErrorReply(makeError("Domain", 1, "first"));
            withErrorReply(makeError("Domain", 2, "second"));
        }
        if (withRecordingId == "throw") throw std::runtime_error("\xFF broke");
        if (withRecordingId == "throw oddly") throw 1;
    }
    void stopDetectionAndCapture() override { note("stop"); }
    void stopPresenting() override { note("stopPresenting"); }
    void setKeynotePollingInterval(double seconds) override { note(fmt::format("interval {}", seconds)); }
    void extractSlideFiles(const std::vector<std::string>& names, const std::string& forPresentationAt) override {
        note(fmt::format("extract {} of {}", fmt::join(names, ","), forPresentationAt));
        blocked_.wait(true);
    }
    void waitForSavingToCompleteAsync() override { note("wait for saving"); }
    void descriptionOfScriptableWindowsWithReply(TextReply reply) override { reply("some \xFF text"); }
    void descriptionOfKeynoteWindowsWithReply(TextReply reply) override { reply(std::nullopt); }

    [[nodiscard]] KeynoteCaptureServiceDelegate& host() const { return *host_; }

private:
    void note(const std::string& what) { notes_.add(fmt::format("{} {}", number_, what)); }

    const int number_;
    Notes& notes_;
    const std::shared_ptr<KeynoteCaptureServiceDelegate> host_;
    std::vector<ErrorReply>& held_;
    const std::atomic<bool>& blocked_;
};

/// Accepts every host and serves it with a noting service.
class NotingListenerDelegate final : public ServiceListenerDelegate {
public:
    bool listenerShouldAcceptNewConnection(const std::shared_ptr<ServiceConnection>& newConnection) override {
        const int number = ++accepted;
        {
            const std::lock_guard lock(mutex_);
            hosts.push_back(newConnection->remoteObjectProxy());
        }
        if (!refuses) {
            newConnection->setExportedObject(
                std::make_shared<NotingService>(number, notes, newConnection->remoteObjectProxy(), held, blocked));
        }
        newConnection->setInvalidationHandler([this, number, weak = std::weak_ptr(newConnection)] {
            notes.add(fmt::format("{} invalidated", number));
            weak.lock()->setExportedObject(nullptr);
        });
        newConnection->resume();
        return true;
    }

    Notes notes;
    std::atomic<int> accepted = 0;
    std::atomic<bool> refuses = false;
    std::vector<std::shared_ptr<KeynoteCaptureServiceDelegate>> hosts;  ///< read once the listener has ended or is idle
    std::vector<ErrorReply> held;
    std::atomic<bool> blocked = false;  ///< extractions do not end

private:
    std::mutex mutex_;
};

/// A host without an event loop.
struct TestHost {
    std::unique_ptr<sdbus::IConnection> connection = sdbus::createSessionBusConnection();
    std::unique_ptr<sdbus::IProxy> service = bus::createProxy(*connection, bus::kServiceName, bus::kServicePath);
    std::string message;

    template <typename... Arguments>
    std::string call(const std::string& method, const Arguments&... arguments) {
        return outcomeOf(*service, kProtocol, method, &message, arguments...);
    }
    std::string extract(const std::string& path, const std::vector<std::string>& names = {"slide.001.jpg"}) {
        return call("extractSlideFiles", names, path);
    }
    std::string start(const std::string& recordingId) {
        return call("startDetectionAndCaptureTo", std::string("file:///tmp/c"), recordingId);
    }
};

/// A listener that runs.
class ListenerTest : public testing::Test {
protected:
    void SetUp() override {
        listener.setDelegate(&delegate);
        runner = std::thread([this] { status = listener.resume(); });
        ASSERT_TRUE(eventually([this] { return isNameOwned() || status >= 0; }));
    }
    void TearDown() override { end(); }

    int end() {
        dispatch.stop(0);
        if (runner.joinable()) runner.join();
        return status;
    }
    bool isNameOwned() const {
        const auto connection = sdbus::createSessionBusConnection();
        const auto proxy = bus::createProxy(*connection, bus::kBusDaemon, bus::kBusDaemonPath);
        bool owned = false;
        proxy->callMethod("NameHasOwner")
            .onInterface(bus::kBusDaemon)
            .withArguments(std::string(bus::kServiceName))
            .storeResultsTo(owned);
        return owned;
    }

    PrivateBus daemon;
    NotedConsoleLog consoleLog;
    runtime::LoopDispatch dispatch{consoleLog};
    NotingListenerDelegate delegate;
    std::atomic<int> came = 0;
    std::atomic<int> left = 0;
    std::string problem;
    bus::DBusServiceListener listener{
        SessionBus::open(problem), dispatch, consoleLog, {[this] { ++came; }, [this] { ++left; }}};
    std::atomic<int> status = -1;
    std::thread runner;
};
