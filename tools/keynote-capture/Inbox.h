#pragma once

#include "tools/keynote-capture/Event.h"

#include <deque>
#include <mutex>

namespace keynote_capture {

/// Everything that happens to a command, one event after the other: delegate calls, entries of the timeline and answers
/// from the client's thread, signals, the end of standard output, and the passing of a deadline.
///
/// While it lives, SIGINT and SIGTERM are blocked and arrive as `Interrupted`, and SIGPIPE is ignored. Make it before
/// any other thread. One at a time in a process.
class Inbox final : public host::DelegateCalls, public TimelineListener {
public:
    Inbox();
    ~Inbox() override;
    Inbox(const Inbox&) = delete;
    Inbox& operator=(const Inbox&) = delete;

    /// Adds an event. Any thread.
    void post(Event event);
    /// Waits for the next event; `TimedOut` once the deadline has passed, without one it waits for ever.
    /// `OutputClosed` comes once. Main thread.
    [[nodiscard]] Event next(std::optional<Instant> deadline = std::nullopt);

private:
    void take(const host::DelegateCall& call) override { post(call); }
    void timelineReport(const TimelineReport& report) override { post(report); }
    std::optional<Event> waitForOne(int milliseconds);
    std::optional<Event> takeFirst();

    std::mutex mutex_;
    std::deque<Event> events_;  ///< guarded by `mutex_`
    const int signals_;         ///< a signalfd
    const int wakeUp_;          ///< an eventfd that is readable while events wait
    bool watchOutput_;
};

}  // namespace keynote_capture
