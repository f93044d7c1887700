#pragma once

#include "MacShared/Atomic.h"
#include "base/Error.h"
#include "ports/Dispatch.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// Waits for slide images that the presentation program exports, and moves each into the capture directory.
///
/// Every half second, on the main queue, it looks for the names that are still missing. A name is found once its file
/// has been seen, as ".jpg" or ".jpeg"; the move follows on the monitor's own serial queue, and so does the completion:
/// after all moves. An image that is *busy*, because somebody still writes it, is moved by a later look. The monitor
/// finishes when all names were found and no image is busy, or when `timeout` has passed: then busy images stay where
/// they are, and only names that were not found make the error, code 5.
/// Whoever wants it to finish keeps it alive: dropping the monitor ends it without a completion.
class KeynoteCaptureSlideImageFileMonitor : public std::enable_shared_from_this<KeynoteCaptureSlideImageFileMonitor> {
public:
    using Completion = std::function<void(const ErrorPtr&)>;

    /// `initWithImageFileNames:inDirectory:toTargetDirectory:`
    KeynoteCaptureSlideImageFileMonitor(std::set<std::string> imageFileNames,
                                        std::optional<std::filesystem::path> inDirectory,
                                        std::optional<std::filesystem::path> toTargetDirectory);
    ~KeynoteCaptureSlideImageFileMonitor();
    KeynoteCaptureSlideImageFileMonitor(const KeynoteCaptureSlideImageFileMonitor&) = delete;
    KeynoteCaptureSlideImageFileMonitor& operator=(const KeynoteCaptureSlideImageFileMonitor&) = delete;

    /// `startWithCompletion:`: begins to wait. The completion runs at most once, on the monitor's queue. Any
    /// thread.
    void startWithCompletion(Completion completion);

    /// The names not yet found. Any thread.
    [[nodiscard]] std::set<std::string> filesLeftToVerify() const { return filesLeftToVerify_.get(); }

    [[nodiscard]] static Duration timeout();

private:
    struct Move {
        std::filesystem::path from;
        std::filesystem::path to;
        ErrorPtr error;  ///< of the latest try
    };
    using Moves = std::vector<Move>;

    [[nodiscard]] static Handle createDispatchTimerWithInterval(Duration interval, Task block);
    void startTimer();
    void startTimerLater();
    void verify();
    [[nodiscard]] bool findAndMove(const std::string& name);
    void moveLater(Move move);
    static void giveUp(const Moves& moves);
    /// The moves of busy images, which now are the caller's.
    [[nodiscard]] Moves takeBusyMoves();
    /// Stops looking until the moves under way have ended; then finishes, or goes on when an image was busy.
    void finishUnlessBusy();
    void didReachTimeout();
    void monitorDidFinishWithSuccess(bool success);

    shared::Atomic<std::set<std::string>> filesLeftToVerify_;
    const std::optional<std::filesystem::path> inDirectoryURL_;
    const std::optional<std::filesystem::path> targetDirectoryURL_;
    const std::shared_ptr<DispatchQueue> moveImageFileQueue_;
    shared::Atomic<Moves> busyMoves_;  ///< added on the monitor's queue, taken on the main queue or at the end
    Completion completion_;
    Instant start_;
    Handle imageFileVerificationTimer_;
};
