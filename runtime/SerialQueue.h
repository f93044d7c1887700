#pragma once

#include "ports/Dispatch.h"

namespace runtime {

struct Context;

/// A queue in real time, served by an event loop: a timer's leeway is not used, a tick comes as soon as it is due. What
/// a task throws goes to the loop's report. Tasks and timers that wait end with their queue, and never run once the
/// loop has ended; then `sync` returns without its task.
class SerialQueue : public DispatchQueue {
public:
    SerialQueue(const std::shared_ptr<Context>& context, std::string label);

    void async(Task task) final;
    void after(Duration delay, Task task) final;
    void sync(const Task& task) final;
    [[nodiscard]] Handle makeTimer(const TimerSchedule& schedule, Task handler) final;
    [[nodiscard]] const std::string& label() const final;

private:
    class Timer;
    struct Self;
    using Weak = std::weak_ptr<const Self>;
    static void run(const Weak& queue, const Task& task);

    const std::shared_ptr<const Self> self_;  ///< tasks know it weakly
};

}  // namespace runtime
