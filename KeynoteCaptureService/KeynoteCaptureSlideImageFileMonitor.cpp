#include "KeynoteCaptureService/KeynoteCaptureSlideImageFileMonitor.h"

#include "KeynoteCaptureService/KeynoteCaptureConstants.h"
#include "KeynoteCaptureService/KeynoteCaptureServiceErrors.h"
#include "MacShared/NSBundle+VELLogAdditions.h"
#include "ports/Clock.h"
#include "ports/FileManager.h"
#include "ports/Platform.h"

#include <chrono>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace {

constexpr Duration kVerificationInterval = 500ms;
/// Nobody waits for the single image, so wake-ups may be shared.
constexpr Duration kVerificationLeeway = 100ms;

/// The name with every ".jpg" replaced by ".jpeg".
/// Some versions of the program write that extension; the capture directory knows one only.
std::string jpegName(std::string name) {
    for (auto at = name.find(".jpg"); at != std::string::npos; at = name.find(".jpg", at + 5)) {
        name.replace(at, 4, ".jpeg");
    }
    return name;
}

bool isBusy(const Error& error) {
    return error.domain() == NSPOSIXErrorDomain && error.code() == static_cast<int>(std::errc::device_or_resource_busy);
}

}  // namespace

KeynoteCaptureSlideImageFileMonitor::KeynoteCaptureSlideImageFileMonitor(std::set<std::string> imageFileNames,
                                                                         std::optional<fs::path> inDirectory,
                                                                         std::optional<fs::path> toTargetDirectory)
    : filesLeftToVerify_(std::move(imageFileNames)),
      inDirectoryURL_(std::move(inDirectory)),
      targetDirectoryURL_(std::move(toTargetDirectory)),
      moveImageFileQueue_(platform().dispatch.makeSerialQueue("KeynoteCaptureSlideImageFileMonitor file queue")) {}

KeynoteCaptureSlideImageFileMonitor::~KeynoteCaptureSlideImageFileMonitor() {
    giveUp(takeBusyMoves());
}

Duration KeynoteCaptureSlideImageFileMonitor::timeout() {
    return std::chrono::duration_cast<Duration>(KeynoteCaptureSlideImageFileMonitorTimeout);
}

void KeynoteCaptureSlideImageFileMonitor::startWithCompletion(Completion completion) {
    completion_ = std::move(completion);
    VELLog("Image File Monitor - Waiting for these expected slide images:\n%@", filesLeftToVerify());
    start_ = platform().clock.steadyNow();
    startTimerLater();
}

void KeynoteCaptureSlideImageFileMonitor::startTimerLater() {
    // Made on the main queue: a tick, which may end the timer, then comes after the timer is stored.
    platform().dispatch.mainQueue().async([weak = weak_from_this()] {
        if (const auto monitor = weak.lock()) monitor->startTimer();
    });
}

void KeynoteCaptureSlideImageFileMonitor::startTimer() {
    imageFileVerificationTimer_ = createDispatchTimerWithInterval(kVerificationInterval, [weak = weak_from_this()] {
        if (const auto monitor = weak.lock()) monitor->verify();
    });
}

Handle KeynoteCaptureSlideImageFileMonitor::createDispatchTimerWithInterval(Duration interval, Task block) {
    return platform().dispatch.mainQueue().makeTimer({interval, interval, kVerificationLeeway}, std::move(block));
}

void KeynoteCaptureSlideImageFileMonitor::verify() {
    // By the clock rather than by counting ticks: a machine that was busy has skipped some.
    if (platform().clock.steadyNow() - start_ > timeout()) {
        VELLog("Image File Monitor - timeout waiting for files");
        didReachTimeout();
        return;
    }
    // What was still being written at the last look may be whole by now.
    for (Move& move : takeBusyMoves()) moveLater(std::move(move));
    std::set<std::string> missing = filesLeftToVerify();
    std::erase_if(missing, [this](const std::string& name) { return findAndMove(name); });
    const bool complete = missing.empty();
    filesLeftToVerify_.set(std::move(missing));
    // All have been seen, but the moves are still under way on the other queue.
    if (complete) finishUnlessBusy();
}

bool KeynoteCaptureSlideImageFileMonitor::findAndMove(const std::string& name) {
    if (!inDirectoryURL_ || !targetDirectoryURL_) return false;
    for (const std::string& candidate : {name, jpegName(name)}) {
        const fs::path file = *inDirectoryURL_ / candidate;
        if (platform().fileManager.kindOf(file) != FileKind::file) continue;
        moveLater({file, *targetDirectoryURL_ / name, nullptr});
        return true;
    }
    return false;
}

void KeynoteCaptureSlideImageFileMonitor::moveLater(Move move) {
    // The task keeps its queue: what was seen is moved even when the monitor is dropped meanwhile.
    moveImageFileQueue_->async(
        [queue = moveImageFileQueue_, weak = weak_from_this(), move = std::move(move)]() mutable {
            move.error = platform().fileManager.moveItem(move.from, move.to);
            if (!move.error) return;
            const auto monitor = weak.lock();
            if (!monitor || !isBusy(*move.error)) return giveUp({move});
            monitor->busyMoves_.update([&](Moves& moves) { moves.push_back(std::move(move)); });
        });
}

void KeynoteCaptureSlideImageFileMonitor::giveUp(const Moves& moves) {
    for (const auto& [from, to, error] : moves) {
        VELLog("Image File Monitor - Could not move slide image file from:%@ to:%@\nError: %@", from, to, error);
    }
}

KeynoteCaptureSlideImageFileMonitor::Moves KeynoteCaptureSlideImageFileMonitor::takeBusyMoves() {
    Moves taken;
    busyMoves_.update([&](Moves& moves) { moves.swap(taken); });
    return taken;
}

void KeynoteCaptureSlideImageFileMonitor::finishUnlessBusy() {
    imageFileVerificationTimer_.reset();
    moveImageFileQueue_->async([monitor = shared_from_this()] {
        if (monitor->busyMoves_.get().empty()) {
            monitor->monitorDidFinishWithSuccess(true);
        } else {
            // Some turned out to be busy: later looks try them again until time is up.
            monitor->startTimerLater();
        }
    });
}

void KeynoteCaptureSlideImageFileMonitor::didReachTimeout() {
    imageFileVerificationTimer_.reset();
    const auto missing = filesLeftToVerify();
    if (!missing.empty()) VELLog("Image File Monitor - files still missing:\n%@", missing);
    moveImageFileQueue_->async([monitor = shared_from_this(), success = missing.empty()] {
        giveUp(monitor->takeBusyMoves());
        monitor->monitorDidFinishWithSuccess(success);
    });
}

void KeynoteCaptureSlideImageFileMonitor::monitorDidFinishWithSuccess(bool success) {
    VELLog("Image File Monitor - monitor did finish with success: %d", success);
    const ErrorPtr error = success ? nullptr : captureError(KeynoteCaptureServiceError::slideImagesMissing);
    // Taken out first: the completion may drop what it holds, this monitor included.
    if (const auto completion = std::exchange(completion_, nullptr)) completion(error);
}
