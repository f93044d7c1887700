#include "bus/EventLoop.h"

#include <poll.h>
#include <sdbus-c++/Error.h>
#include <sys/eventfd.h>
#include <array>
#include <cerrno>
#include <utility>

namespace bus {
namespace {

/// A message that cannot be served is dropped; so many in a row mean that the connection is broken.
constexpr int kMostFailures = 1000;

}  // namespace

EventLoop::EventLoop(sdbus::IConnection& connection)
    : connection_(connection), wakeUp_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), sdbus::adopt_fd) {
    if (!wakeUp_.isValid()) throw sdbus::createError(errno, "Failed to create an event descriptor");
}

bool EventLoop::run() {
    try {
        while (!stopped_) {
            runTasks();
            if (!processPending()) wait();
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

void EventLoop::runTasks() {
    std::vector<Task> tasks;
    {
        const std::lock_guard lock(mutex_);
        tasks.swap(tasks_);
    }
    for (auto& task : tasks) {
        if (stopped_) return;
        task();
        task = nullptr;
    }
}

/// Answers whether there may be more to do. Throws when the connection is closed.
bool EventLoop::processPending() {
    try {
        const bool processed = connection_.processPendingRequest();
        failures_ = 0;
        return processed;
    } catch (const sdbus::Error&) {
        if (++failures_ == kMostFailures) throw;
        static_cast<void>(connection_.getEventLoopPollData());  // throws when closed
        return true;
    }
}

void EventLoop::wait() {
    const auto data = connection_.getEventLoopPollData();
    std::array<pollfd, 2> descriptors{{{data.fd, data.events, 0}, {wakeUp_.get(), POLLIN, 0}}};
    const int ready = ::poll(descriptors.data(), descriptors.size(), data.getPollTimeout());
    if (ready > 0 && descriptors[1].revents != 0) {
        eventfd_t count = 0;
        static_cast<void>(::eventfd_read(wakeUp_.get(), &count));
    }
}

void EventLoop::wake() const {
    static_cast<void>(::eventfd_write(wakeUp_.get(), 1));
}

}  // namespace bus
