#pragma once

#include "KeynoteCaptureService/KeynoteCaptureService.h"
#include "KeynoteCaptureService/ServiceDelegate.h"
#include "host/DelegateCalls.h"
#include "platform/simulated/SimulatedPlatform.h"
#include "ports/ServiceListener.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

using namespace std::chrono_literals;

/// Notes every call in order, one line each, beginning with the virtual time in milliseconds, and errors with all they
/// carry. Presentation identifiers appear as P1, P2, … in the order made, the sandbox as S.
class RecordingHost final : public host::DelegateCalls, public TimelineListener {
public:
    explicit RecordingHost(const simulated::SimulatedDispatch& dispatch) : dispatch_(dispatch) {}

    void timelineReport(const TimelineReport& report) override;

    void note(const std::string& what);

    std::vector<std::string> calls;
    std::vector<std::string> timeline;  ///< one line each: presentation, event, slide, bounds in milliseconds

private:
    void take(const host::DelegateCall& call) override;

    const simulated::SimulatedDispatch& dispatch_;
};

/// A presentation program on the simulated platform.
class Program {
public:
    Program(simulated::SimulatedPlatform& platform, pid_t pid, const std::string& version = "14.0");

    /// Appears among the running applications and answers events.
    void launch();
    void quit();
    /// Opens a deck in front of the others; answers its ID.
    std::string open(const std::string& name, std::int64_t slides = 8);

    simulated::SimulatedPlatform& platform;
    const pid_t pid;
    presenters::PresentationProgramModel model;
    std::shared_ptr<simulated::SimulatedApplication> application;
};

/// A connection as the listener makes them.
class SimulatedConnection final : public ServiceConnection {
public:
    explicit SimulatedConnection(std::shared_ptr<RecordingHost> host) : host_(std::move(host)) {}

    [[nodiscard]] std::shared_ptr<KeynoteCaptureServiceDelegate> remoteObjectProxy() override { return host_; }
    [[nodiscard]] std::shared_ptr<TimelineListener> timelineListener() override { return host_; }
    void setExportedObject(std::shared_ptr<KeynoteCaptureServiceProtocol> object) override {
        object_ = std::move(object);
    }
    [[nodiscard]] std::shared_ptr<KeynoteCaptureServiceProtocol> exportedObject() const override { return object_; }
    void setInvalidationHandler(std::function<void()> handler) override { invalidate = std::move(handler); }
    void resume() override { resumed = true; }

    std::function<void()> invalidate;
    bool resumed = false;

private:
    std::shared_ptr<RecordingHost> host_;
    std::shared_ptr<KeynoteCaptureServiceProtocol> object_;
};

/// Where the program may write.
inline constexpr const char* kSandbox =
    "/home/lecturer/Library/Containers/com.apple.iWork.Keynote/Data/Documents/Veldrin";

/// How an export of slide images ends, as the program is asked for it.
inline const std::string kAsImages =
    " Kimg allStages=false borders=false compressionFactor=0.8 date=false imageFormat=Kifj slideNumbers=false";

/// Domain, code and user information; "ok" without an error.
[[nodiscard]] std::string textOf(const ErrorPtr& error);

/// A service with its host and one program with pid 100, all in virtual time.
class Scenario : public testing::Test {
protected:
    using Calls = std::vector<std::string>;

    Scenario();

    /// Makes the service if need be, and starts it into /captures with the recording ID "R".
    void start();
    /// From now on the host's calls also hold what the program is asked, polls excepted, as "> event"; a save onto a
    /// file tells its size.
    void noteEvents();
    /// From now on the host's calls also hold the lines of the log, as "# line".
    void noteLog();
    /// The lines of the log since this was asked last.
    [[nodiscard]] Calls takeLog();
    void run(Duration span) { platform.dispatch.runFor(span); }
    /// How many log lines contain the text.
    [[nodiscard]] std::size_t logged(const std::string& text) const;
    [[nodiscard]] std::string captureDirectory(int presentation) const;

    simulated::SimulatedPlatform platform;
    Program keynote{platform, 100};
    std::shared_ptr<RecordingHost> host = std::make_shared<RecordingHost>(platform.dispatch);
    std::shared_ptr<KeynoteCaptureService> service;
};
