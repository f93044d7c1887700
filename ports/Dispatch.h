#pragma once

#include "base/Registration.h"
#include "base/Time.h"

#include <functional>
#include <memory>
#include <string>

/// A piece of work that is run once, or at each tick of a timer. It must not throw: that ends the process.
using Task = std::function<void()>;

/// The shortest period of a repeating timer; zero, negative and not-a-number periods become this, as on the platform.
inline constexpr Duration kShortestTimerPeriod = std::chrono::microseconds(100);

/// When a repeating timer fires: at `start + n * period` after it was made. A tick that comes late does not shift those
/// that follow, and those that were missed are skipped, so that a slow handler never piles up work.
struct TimerSchedule {
    /// From now to the first tick.
    Duration start{};
    /// Between ticks; less than `kShortestTimerPeriod` counts as that.
    Duration period{};
    /// How much later a tick may come, so that the system can wake up for several things at once.
    Duration leeway{};
};

/// A queue that runs tasks one at a time, in the order given. All operations may be called from any thread, also by a
/// task of this queue. A task that still waits when its queue is destroyed is dropped without having been run.
class DispatchQueue {
public:
    virtual ~DispatchQueue() = default;
    /// Runs the task later on this queue; returns at once. What the task uses must still be there then.
    virtual void async(Task task) = 0;
    /// Runs the task on this queue once the delay has passed, no sooner; returns at once. It cannot be taken back.
    virtual void after(Duration delay, Task task) = 0;
    /// Runs the task on this queue and returns when it has ended. A caller on this queue, or on one that this queue
    /// waits for, would wait for ever.
    virtual void sync(const Task& task) = 0;
    /// Starts a repeating timer whose handler runs on this queue, until the returned handle is dropped. The caller
    /// keeps the handle; `Registration` says what may still come after it was dropped.
    [[nodiscard]] virtual Handle makeTimer(const TimerSchedule& schedule, Task handler) = 0;
    /// The name that the queue was made with, for people who debug.
    [[nodiscard]] virtual const std::string& label() const = 0;
};

/// Where queues come from. Callable from any thread.
class Dispatch {
public:
    virtual ~Dispatch() = default;
    /// The main thread's queue: all detection state lives there. Lives as long as the process.
    [[nodiscard]] virtual DispatchQueue& mainQueue() = 0;
    /// A new serial queue; the label is for people who debug. Never null. Its tasks may share threads with those of
    /// other queues, so a task that waits for long may hold up others.
    [[nodiscard]] virtual std::shared_ptr<DispatchQueue> makeSerialQueue(std::string label) = 0;
};
