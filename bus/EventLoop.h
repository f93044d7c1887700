#pragma once

#include <sdbus-c++/IConnection.h>
#include <sdbus-c++/Types.h>
#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <vector>

namespace bus {

/// Serves a connection: runs its callbacks, and tasks that anybody posts, on the thread that calls `run`.
///
/// The bus library holds a lock of the connection while a callback runs, so a slow callback would block every thread
/// that sends. Callbacks therefore only take what came and post a task: tasks run outside that lock, on the same
/// thread, in the order of the messages that caused them.
class EventLoop {
public:
    using Task = std::function<void()>;
    using Clock = std::chrono::steady_clock;

    /// The connection must outlive the loop. Throws `Failure` when the process has no descriptor left.
    explicit EventLoop(sdbus::IConnection& connection);

    /// Serves the connection until `stop` (true) or until the bus has gone away (false). Once.
    [[nodiscard]] bool run();
    /// Makes `run` return after the callback or task under way. Any thread, also before `run`.
    void stop();
    /// Runs the task, guarded, in `run`, after those posted earlier. Tasks left when the loop is destroyed are dropped.
    /// Any thread.
    void post(Task task);
    /// The same, not before the delay has passed. Any thread.
    void after(Clock::duration delay, Task task);

private:
    void runTasks();
    void wait();
    [[nodiscard]] int timeoutOfWait(int timeout);
    void wake() const;

    sdbus::IConnection& connection_;
    const sdbus::UnixFd wakeUp_;
    std::atomic<bool> stopped_ = false;
    std::mutex mutex_;
    std::vector<Task> tasks_;                              ///< guarded by `mutex_`
    std::multimap<Clock::time_point, Task> delayedTasks_;  ///< guarded by `mutex_`
};

}  // namespace bus
