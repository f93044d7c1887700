#include "tools/keynote-capture/Inbox.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <utility>

namespace keynote_capture {
namespace {

sigset_t interruptions() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}

int openSignals() {
    const sigset_t set = interruptions();
    // Before other threads are made, which inherit it: the signals come through the descriptor alone.
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    // A reader that has gone is an event like others, and must not end the process.
    std::signal(SIGPIPE, SIG_IGN);
    return signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

/// Only a pipe or a socket tells that its reader has gone.
bool tellsWhenItsReaderGoes(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
}

/// Milliseconds to wait, rounded up so that a deadline is never met too early; -1 for ever.
int millisecondsUntil(const std::optional<Instant>& deadline) {
    if (!deadline) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 1'000'000));
}

}  // namespace

Inbox::Inbox()
    : signals_(openSignals()),
      wakeUp_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      watchOutput_(tellsWhenItsReaderGoes(STDOUT_FILENO)) {
    if (signals_ < 0 || wakeUp_ < 0) std::abort();  // out of descriptors before anything was opened
}

Inbox::~Inbox() {
    close(wakeUp_);
    close(signals_);
    const sigset_t set = interruptions();
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

void Inbox::post(Event event) {
    const std::lock_guard lock(mutex_);
    events_.push_back(std::move(event));
    eventfd_write(wakeUp_, 1);
}

Event Inbox::next(std::optional<Instant> deadline) {
    for (;;) {
        if (auto event = waitForOne(millisecondsUntil(deadline))) return *std::move(event);
        if (deadline && std::chrono::steady_clock::now() >= *deadline) return TimedOut{};
    }
}

std::optional<Event> Inbox::waitForOne(int milliseconds) {
    std::array<pollfd, 3> ends = {pollfd{signals_, POLLIN, 0}, pollfd{wakeUp_, POLLIN, 0},
                                  pollfd{watchOutput_ ? STDOUT_FILENO : -1, 0, 0}};
    if (poll(ends.data(), ends.size(), milliseconds) <= 0) return std::nullopt;
    // Interruptions first: a flood of events must not keep people from stopping.
    if (ends[0].revents != 0) {
        signalfd_siginfo info{};
        if (read(signals_, &info, sizeof info) == sizeof info) return Interrupted{};
    }
    if (ends[1].revents != 0) return takeFirst();
    if (ends[2].revents != 0) {
        // Told once; poll would report it without end.
        watchOutput_ = false;
        return OutputClosed{};
    }
    return std::nullopt;
}

std::optional<Event> Inbox::takeFirst() {
    const std::lock_guard lock(mutex_);
    if (events_.empty()) return std::nullopt;
    Event first = std::move(events_.front());
    events_.pop_front();
    eventfd_t count = 0;
    // Read when the last is taken, so that poll wakes up for each.
    if (events_.empty()) eventfd_read(wakeUp_, &count);
    return first;
}

}  // namespace keynote_capture
