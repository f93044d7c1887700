#pragma once

#include "ports/Dispatch.h"

#include <boost/asio/io_context.hpp>
#include <functional>
#include <string>

/// The process's one thread as a queue on real time, and a loop over file descriptors. Everything of the simulator runs
/// here, so that nothing needs a lock. The queue's operations may be called from any thread, the others from the
/// loop's.
class EventLoop : public DispatchQueue {
public:
    void async(Task task) override;
    void after(Duration delay, Task task) override;
    void sync(const Task& task) override;
    [[nodiscard]] Handle makeTimer(const TimerSchedule& schedule, Task handler) override;
    [[nodiscard]] const std::string& label() const override { return label_; }

    /// Calls the handler whenever the descriptor is readable, until the handle is dropped. The descriptor stays the
    /// caller's. A regular file counts as always readable.
    [[nodiscard]] Handle watch(int descriptor, Task handler);
    /// Runs tasks until `leave`; answers the status given there.
    int run();
    /// Makes `run` return after the task that is under way.
    void leave(int status);
    [[nodiscard]] boost::asio::io_context& context() { return context_; }

private:
    const std::string label_ = "main";
    int status_ = 0;
    boost::asio::io_context context_{1};
};
