#pragma once

#include "bus/EventLoop.h"

#include <sdbus-c++/IConnection.h>
#include <functional>
#include <memory>
#include <string>
#include <thread>

/// The process's own connection to the session bus and the one thread that serves it. Hosts' calls and all signals
/// share it: fewer threads and wake-ups, and the daemon's order of messages holds between them.
///
/// Whoever may outlive the wiring (replies, proxies) shares the ownership and sends nothing after `stop`.
class SessionBus {
public:
    /// Connects to the session bus; null with a sentence in `problem` when that fails.
    [[nodiscard]] static std::shared_ptr<SessionBus> open(std::string& problem);
    explicit SessionBus(std::unique_ptr<sdbus::IConnection> connection);
    ~SessionBus();
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;

    /// Send from any thread; calls that wait for a reply only on the bus thread, or before `start`.
    [[nodiscard]] sdbus::IConnection& connection() { return *connection_; }
    /// Runs the task on the bus thread, outside the library's lock. Any thread.
    void post(bus::EventLoop::Task task) { loop_.post(std::move(task)); }
    /// The same, not before the delay has passed.
    void after(bus::EventLoop::Clock::duration delay, bus::EventLoop::Task task) {
        loop_.after(delay, std::move(task));
    }
    /// Starts the bus thread, which calls `onLost` when the bus has gone away. Once.
    void start(std::function<void()> onLost);
    /// Ends the bus thread after the task under way; nothing is sent any more. Not on the bus thread.
    void stop();
    [[nodiscard]] bool hasStopped() const { return stopped_; }

private:
    const std::unique_ptr<sdbus::IConnection> connection_;
    bus::EventLoop loop_;
    std::atomic<bool> stopped_ = false;
    std::thread thread_;
};

/// The bus daemon's own name, object and interface.
inline constexpr const char* kBusDaemon = "org.freedesktop.DBus";
inline constexpr const char* kBusDaemonPath = "/org/freedesktop/DBus";

/// Names of the errors that calls of hosts get.
inline constexpr const char* kLimitsExceeded = "org.freedesktop.DBus.Error.LimitsExceeded";
inline constexpr const char* kFailed = "org.freedesktop.DBus.Error.Failed";
