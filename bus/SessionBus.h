#pragma once

#include "bus/Connection.h"
#include "bus/EventLoop.h"

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace bus {

/// The process's own connection to the session bus and the one thread that serves it. Hosts' calls and all signals
/// share it: fewer threads and wake-ups, and the daemon's order of messages holds between them.
///
/// Whoever may outlive the wiring (replies, proxies) shares the ownership and sends nothing after `stop`.
class SessionBus {
public:
    /// Connects to the session bus; null with a sentence in `problem` when that fails.
    [[nodiscard]] static std::shared_ptr<SessionBus> open(std::string& problem);
    /// Throws `Failure` when that fails.
    SessionBus() = default;
    ~SessionBus();
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;

    /// Send from any thread; calls that wait for a reply only on the bus thread, or before `start`.
    [[nodiscard]] Connection& connection() { return connection_; }
    /// Runs the task on the bus thread, outside the library's lock. Any thread.
    void post(EventLoop::Task task) { loop_.post(std::move(task)); }
    /// The same, not before the delay has passed.
    void after(EventLoop::Clock::duration delay, EventLoop::Task task) { loop_.after(delay, std::move(task)); }
    /// Starts the bus thread, which calls `onLost` when the bus has gone away. Once.
    void start(std::function<void()> onLost);
    /// Ends the bus thread after the task under way; nothing is sent any more. Not on the bus thread.
    void stop();
    [[nodiscard]] bool hasStopped() const { return stopped_; }

private:
    Connection connection_;
    EventLoop loop_{connection_.library()};
    std::atomic<bool> stopped_ = false;
    std::thread thread_;
};

}  // namespace bus
