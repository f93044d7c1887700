#include "bus/EventLoop.h"

#include "bus/BusConnection.h"
#include "bus/Callbacks.h"
#include "bus/Failure.h"

#include <poll.h>
#include <sdbus-c++/Error.h>
#include <sys/eventfd.h>
#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace bus {

EventLoop::EventLoop(sdbus::IConnection& connection)
    : connection_(connection), wakeUp_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), sdbus::adopt_fd) {
    if (!wakeUp_.isValid()) throw Failure(kFailed, "there is no event descriptor left");
}

bool EventLoop::run() {
    try {
        while (!stopped_) {
            runTasks();
            if (!processPending(connection_)) wait();
        }
        return true;
    } catch (const sdbus::Error&) {
        return false;
    }
}

void EventLoop::stop() {
    stopped_ = true;
    wake();
}

void EventLoop::post(Task task) {
    {
        const std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
    }
    wake();
}

void EventLoop::after(Clock::duration delay, Task task) {
    {
        const std::lock_guard lock(mutex_);
        delayedTasks_.emplace(Clock::now() + delay, std::move(task));
    }
    wake();
}

void EventLoop::runTasks() {
    std::vector<Task> tasks;
    {
        const std::lock_guard lock(mutex_);
        tasks.swap(tasks_);
        const auto due = delayedTasks_.upper_bound(Clock::now());
        for (auto each = delayedTasks_.begin(); each != due; ++each) tasks.push_back(std::move(each->second));
        delayedTasks_.erase(delayedTasks_.begin(), due);
    }
    for (auto& task : tasks) {
        if (stopped_) return;
        guarded(task);
        task = nullptr;
    }
}

/// Milliseconds until the next delayed task, or the given ones if those are fewer; negative for no end.
int EventLoop::timeoutOfWait(int timeout) {
    const std::lock_guard lock(mutex_);
    if (delayedTasks_.empty()) return timeout;
    const auto delay = std::chrono::ceil<std::chrono::milliseconds>(delayedTasks_.begin()->first - Clock::now());
    const auto limit = std::chrono::milliseconds(timeout < 0 ? std::numeric_limits<int>::max() : timeout);
    return static_cast<int>(std::clamp(delay, std::chrono::milliseconds::zero(), limit).count());
}

void EventLoop::wait() {
    const auto data = connection_.getEventLoopPollData();
    std::array<pollfd, 2> descriptors{{{data.fd, data.events, 0}, {wakeUp_.get(), POLLIN, 0}}};
    const int ready = ::poll(descriptors.data(), descriptors.size(), timeoutOfWait(data.getPollTimeout()));
    if (ready > 0 && descriptors[1].revents != 0) {
        eventfd_t count = 0;
        static_cast<void>(::eventfd_read(wakeUp_.get(), &count));
    }
}

void EventLoop::wake() const {
    static_cast<void>(::eventfd_write(wakeUp_.get(), 1));
}

}  // namespace bus
