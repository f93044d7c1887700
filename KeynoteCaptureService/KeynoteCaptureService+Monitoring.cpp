#include "KeynoteCaptureService/KeynoteCaptureConstants.h"
#include "KeynoteCaptureService/KeynoteCaptureService.h"
#include "MacShared/NSBundle+VELLogAdditions.h"
#include "ports/Bundle.h"
#include "ports/Platform.h"
#include "recorder-shared/KeynoteInstallHelper.h"

#include <chrono>
#include <utility>

namespace {

constexpr std::string_view kRunningApplicationsKeyPath = "runningApplications";
constexpr std::string_view kProcessIdentifierKeyPath = "processIdentifier";

bool isSupportedKeynote(const RunningApplication& application) {
    // The cheap question first: the list has every program of the session, and what follows reads a file.
    if (application.bundleIdentifier() != kKeynoteBundleIdentifier) return false;
    const auto url = application.bundleURL();
    if (!url) return false;
    const auto bundle = platform().bundles.bundleAtPath(*url);
    return KeynoteInstallHelper::isSupportedKeynoteVersionForNewPlugin(
        bundle ? bundle->infoString("CFBundleShortVersionString") : std::nullopt);
}

}  // namespace

Workspace* KeynoteCaptureService::observedWorkspace() const {
    const std::lock_guard lock(workspaceMutex_);
    return observedWorkspace_;
}

void KeynoteCaptureService::setObservedWorkspace(Workspace* workspace) {
    const std::lock_guard lock(workspaceMutex_);
    // Ended before another begins, so that no change of the list is heard twice.
    workspaceObservation_.reset();
    observedWorkspace_ = workspace;
    if (workspace == nullptr) return;
    // Weakly: the workspace outlives every host. It calls at once, so programs that run already are found here.
    workspaceObservation_ = workspace->observeRunningApplications([weak = weak_from_this(), workspace] {
        if (const auto service = weak.lock()) service->observeValueForKeyPath(kRunningApplicationsKeyPath, workspace);
    });
}

void KeynoteCaptureService::observeValueForKeyPath(std::string_view keyPath, const void* object) {
    if (keyPath == kRunningApplicationsKeyPath) {
        handleRunningApplicationsChanged();
    } else if (keyPath == kProcessIdentifierKeyPath && object == currentKeynoteRunningApplication_.get().get()) {
        handleKeynotePIDChanged();
    }
}

void KeynoteCaptureService::handleRunningApplicationsChanged() {
    VELLog(">>> Running applications state has changed");
    auto keynotes = platform().workspace.runningApplications();
    std::erase_if(keynotes, [](const auto& application) { return !isSupportedKeynote(*application); });
    if (keynotes.size() > 1) VELLog("More than 1 running Keynote application? Using the last.");

    if (keynotes.empty()) {
        if (!isKeynoteRunning()) return;
        handleKeynoteStopped();
        VELLog("Notifying that Keynote terminated");
        if (const auto host = delegate()) host->detectedKeynoteTerminated();
        return;
    }
    // The program found first stays the followed one until none is left in the list.
    if (isKeynoteRunning()) return;
    currentKeynoteRunningApplication_.set(keynotes.back());
    launchIsUntold_ = true;
    handleKeynoteStarted();
    // Otherwise the answer tells the launch: what the first poll finds is told before it.
    if (!isPollUnderWay()) notifyLaunched();
}

void KeynoteCaptureService::notifyLaunched() {
    if (!std::exchange(launchIsUntold_, false)) return;
    VELLog("Notifying that Keynote launched");
    if (const auto host = delegate()) host->detectedKeynoteLaunched();
}

void KeynoteCaptureService::handleKeynoteStarted() {
    const auto application = currentKeynoteRunningApplication_.get();
    // The observation is told apart by its program, in case a late one of an earlier program comes in.
    processIdentifierObservation_ =
        application->observeProcessIdentifier([weak = weak_from_this(), observed = application.get()] {
            if (const auto service = weak.lock()) service->observeValueForKeyPath(kProcessIdentifierKeyPath, observed);
        });
    scheduleTimer();
}

void KeynoteCaptureService::handleKeynotePIDChanged() {
    // The connection names a process that is gone; the next poll makes one for its successor.
    VELLog(">>> Running Keynote Application process ID changed.");
    keynoteApplication_.set(nullptr);
}

/// The order counts: a launch that is still untold comes before the end of its program, and the last update, which
/// finds no program, ends a show that was running.
void KeynoteCaptureService::handleKeynoteStopped() {
    notifyLaunched();
    processIdentifierObservation_.reset();
    keynoteApplication_.set(nullptr);
    currentKeynoteRunningApplication_.set(nullptr);
    removeTimer();
    updateKeynotePresentingState();
}

void KeynoteCaptureService::updateScriptingApplicationIfNeeded() {
    if (keynoteApplication_.get()) return;
    auto application =
        platform().scripting.applicationForProcess(currentKeynoteRunningApplication_.get()->processIdentifier());
    // A program that hangs is skipped after half a second, not after the usual minute.
    application->setTimeout(kReplyTimeout);
    application->setDelegate(weak_from_this());
    keynoteApplication_.set(std::move(application));
}

std::shared_ptr<ScriptingApplication> KeynoteCaptureService::replaceKeynoteApplication() {
    // By its kind, not its process: the program may only be starting.
    auto application = platform().scripting.applicationForBundleIdentifier(kKeynoteBundleIdentifier);
    keynoteApplication_.set(application);
    return application;
}

void KeynoteCaptureService::scheduleTimer() {
    periodicTimer_.reset();
    if (!isKeynoteRunning()) return;
    VELLog("Started polling Keynote for status...");
    const Duration period = delayFromSeconds(pollingInterval());
    const auto tick = [weak = weak_from_this()] {
        if (const auto service = weak.lock()) service->performPeriodicTask();
    };
    // The first tick comes after a whole period, and the look below in its place: a host hears at once.
    periodicTimer_ = platform().dispatch.mainQueue().makeTimer({period, period, Duration::zero()}, tick);
    performPeriodicTask();
}

void KeynoteCaptureService::removeTimer() {
    periodicTimer_.reset();
    VELLog("Stopped polling keynote for status.");
}

void KeynoteCaptureService::performPeriodicTask() {
    if (!isKeynoteRunning()) return;
    updateScriptingApplicationIfNeeded();
    if (keynoteApplication_.get()->isRunning()) {
        updateKeynotePresentingState();
        return;
    }
    // A program is listed as soon as it is on the bus and may leave again. The next tick connects anew.
    VELLog("Scripting Application is not running yet.");
    keynoteApplication_.set(nullptr);
}
