#pragma once

#include "base/Registration.h"
#include "base/Time.h"

#include <functional>
#include <memory>
#include <string>

using Task = std::function<void()>;

/// The shortest period of a repeating timer; zero, negative and not-a-number periods become this, as on the platform.
inline constexpr Duration kShortestTimerPeriod = std::chrono::microseconds(100);
/// When a repeating timer fires. The schedule is `start + n * period` of its creation: late ticks do not shift it and
/// missed ones are skipped. A period below `kShortestTimerPeriod` counts as that.
struct TimerSchedule {
    Duration start{};   ///< from now to the first tick
    Duration period{};  ///< between ticks
    Duration leeway{};  ///< how much later a tick may come so that wake-ups can be shared
};

/// A queue that runs tasks one at a time, in the order given. All operations may be called from any thread.
/// Tasks must not throw. A task that is still waiting when its queue is destroyed is dropped.
class DispatchQueue {
public:
    virtual ~DispatchQueue() = default;
    /// Runs the task later on this queue; returns at once.
    virtual void async(Task task) = 0;
    /// Runs the task on this queue once the delay has passed; returns at once.
    virtual void after(Duration delay, Task task) = 0;
    /// Runs the task on this queue and returns when it has ended. The caller must not be on this queue, nor on one
    /// that this queue waits for.
    virtual void sync(const Task& task) = 0;
    /// Starts a repeating timer whose handler runs on this queue, until the returned handle is dropped.
    [[nodiscard]] virtual Handle makeTimer(const TimerSchedule& schedule, Task handler) = 0;
    [[nodiscard]] virtual const std::string& label() const = 0;
};

/// Where queues come from. Callable from any thread.
class Dispatch {
public:
    virtual ~Dispatch() = default;
    /// The main thread's queue: all detection state lives there. Lives as long as the process.
    [[nodiscard]] virtual DispatchQueue& mainQueue() = 0;
    /// A new serial queue; the label is for people who debug. Never null.
    [[nodiscard]] virtual std::shared_ptr<DispatchQueue> makeSerialQueue(std::string label) = 0;
};
