#pragma once

#include "bus/Connection.h"

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace bus {

/// A connection to the session bus and the one thread that serves it. What shares it needs fewer threads and wake-ups,
/// and the daemon's order of messages holds between hosts' calls and all signals.
///
/// The bus library holds a lock of the connection while a callback runs, so a slow callback would block every thread
/// that sends. Callbacks therefore only take what came and post a task: tasks run outside that lock, on the same
/// thread, in the order of the messages that caused them.
///
/// Whoever may outlive the wiring (replies, proxies) shares the ownership and sends nothing after `stop`.
class SessionBus {
public:
    /// Connects to the session bus; null with a sentence in `problem` when that fails.
    [[nodiscard]] static std::shared_ptr<SessionBus> open(std::string& problem);
    /// Throws `Failure` when that fails.
    SessionBus();
    ~SessionBus();
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;

    [[nodiscard]] Connection& connection() { return connection_; }
    /// Runs the task, guarded, on the bus thread, outside the library's lock and after those posted earlier. Tasks left
    /// at the end are dropped. Any thread.
    void post(Task task);
    /// The same, not before the delay has passed.
    void after(Duration delay, Task task);
    /// Starts the bus thread, which calls `onLost` when the bus has gone away. Once.
    void start(std::function<void()> onLost);
    /// Ends the bus thread after the task under way; nothing is sent any more. Not on the bus thread.
    void stop();
    [[nodiscard]] bool hasStopped() const { return stopped_; }

private:
    Connection connection_;
    runtime::Loop loop_{[](const std::string&) {}, "bus"};  ///< tasks are guarded
    std::atomic<bool> stopped_ = false;
    std::function<void()> onLost_;
    std::thread thread_;
};

}  // namespace bus
