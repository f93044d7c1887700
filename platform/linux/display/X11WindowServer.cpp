#include "platform/linux/display/X11WindowServer.h"

#include "ports/Dispatch.h"
#include "ports/Log.h"

#include <system_error>
#include <utility>

namespace display {

namespace {

/// A display that is not there is likely to stay away; a poll asks four times a second.
constexpr std::chrono::seconds kRetryPeriod{3};
constexpr std::chrono::seconds kUnusedPeriod{5};
constexpr std::chrono::milliseconds kFirstLook{100};

}  // namespace

X11WindowServer::X11WindowServer(ConsoleLog& consoleLog, DispatchQueue& queue)
    : consoleLog_(consoleLog), queue_(queue) {}

X11WindowServer::~X11WindowServer() = default;

/// What the display shows, as far as that is known; else null.
std::shared_ptr<const X11Desktop> X11WindowServer::desktop() {
    const std::lock_guard lock(mutex_);
    const auto now = std::chrono::steady_clock::now();
    used_ = true;
    closeIfEnded();
    if (!watch_ && now >= nextAttempt_) open(now);
    auto desktop = watch_ ? watch_->seen().desktop : nullptr;
    const bool isOverdue = !watch_ || now >= nextAttempt_;
    if (!desktop && isOverdue && !std::exchange(reported_, true)) {
        consoleLog_.write("There is no X11 display that answers; windows and screens count as none.");
    }
    return desktop;
}

/// With the lock held, as the other functions that close.
void X11WindowServer::open(Instant now) {
    nextAttempt_ = now + kRetryPeriod;
    try {
        // The wait is for a first poll, which would otherwise see no windows, and take a show for none.
        watch_.emplace(kFirstLook);
    } catch (const std::system_error&) {
        return;  // no thread to be had: no display either
    }
    unusedTimer_ = queue_.makeTimer({kUnusedPeriod, kUnusedPeriod, {}}, [this] { closeWhenUnused(); });
    closeIfEnded();
}

void X11WindowServer::closeIfEnded() {
    if (watch_ && watch_->seen().hasEnded) close();
}

void X11WindowServer::closeWhenUnused() {
    const std::lock_guard lock(mutex_);
    if (std::exchange(used_, false)) return;
    // A thread that cannot be interrupted stays the only one.
    if (watch_ && watch_->seen().isConnecting) return;
    close();
    // Whoever asks next gets a connection at once.
    nextAttempt_ = {};
}

void X11WindowServer::close() {
    watch_.reset();
    unusedTimer_.reset();
}

std::vector<WindowRecord> X11WindowServer::windows() {
    const auto current = desktop();
    return current ? current->windows : std::vector<WindowRecord>();
}

std::vector<Rect> X11WindowServer::screens() {
    const auto current = desktop();
    return current ? current->screens : std::vector<Rect>();
}

}  // namespace display
