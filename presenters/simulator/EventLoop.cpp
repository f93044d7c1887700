#include "presenters/simulator/EventLoop.h"

#include <unistd.h>
#include <algorithm>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <future>
#include <memory>
#include <utility>

namespace {

using Timer = boost::asio::steady_timer;
using Descriptor = boost::asio::posix::stream_descriptor;

/// A registration whose state the pending handlers hold weakly.
template <typename State>
class Owner : public Registration {
public:
    explicit Owner(std::shared_ptr<State> state) : state_(std::move(state)) {}

private:
    std::shared_ptr<State> state_;
};

class RepeatingTimer : public std::enable_shared_from_this<RepeatingTimer> {
public:
    RepeatingTimer(boost::asio::io_context& context, const TimerSchedule& schedule, Task handler)
        : timer_(context, std::clamp(schedule.start, Duration::zero(), kLongestDelay)),
          period_(std::clamp(schedule.period, kShortestTimerPeriod, kLongestDelay)),
          handler_(std::move(handler)) {}

    void arm() {
        timer_.async_wait([weak = weak_from_this()](const boost::system::error_code& error) {
            const auto self = weak.lock();
            if (!error && self) self->fire();
        });
    }

private:
    void fire() {
        const auto late = Timer::clock_type::now() - timer_.expiry();
        timer_.expires_at(timer_.expiry() + period_ * (late / period_ + 1));
        arm();
        handler_();
    }

    Timer timer_;
    Duration period_;
    Task handler_;
};

class Watch : public std::enable_shared_from_this<Watch> {
public:
    Watch(boost::asio::io_context& context, int descriptor, Task handler)
        : context_(context), descriptor_(context), handler_(std::move(handler)) {
        boost::system::error_code refused;
        descriptor_.assign(::dup(descriptor), refused);  // epoll refuses regular files
    }

    void arm() {
        auto ready = [weak = weak_from_this()](const boost::system::error_code& error) {
            const auto self = weak.lock();
            if (error || !self) return;
            self->handler_();
            self->arm();
        };
        if (descriptor_.is_open()) {
            descriptor_.async_wait(Descriptor::wait_read, std::move(ready));
        } else {
            boost::asio::post(context_, [ready] { ready({}); });
        }
    }

private:
    boost::asio::io_context& context_;
    Descriptor descriptor_;
    Task handler_;
};

}  // namespace

void EventLoop::async(Task task) {
    boost::asio::post(context_, std::move(task));
}

void EventLoop::after(Duration delay, Task task) {
    const auto timer = std::make_shared<Timer>(context_, std::clamp(delay, Duration::zero(), kLongestDelay));
    timer->async_wait([timer, task = std::move(task)](const boost::system::error_code& error) {
        if (!error) task();
    });
}

void EventLoop::sync(const Task& task) {
    std::promise<void> done;
    async([&] {
        task();
        done.set_value();
    });
    done.get_future().wait();
}

Handle EventLoop::makeTimer(const TimerSchedule& schedule, Task handler) {
    auto timer = std::make_shared<RepeatingTimer>(context_, schedule, std::move(handler));
    timer->arm();
    return std::make_unique<Owner<RepeatingTimer>>(std::move(timer));
}

Handle EventLoop::watch(int descriptor, Task handler) {
    auto watch = std::make_shared<Watch>(context_, descriptor, std::move(handler));
    watch->arm();
    return std::make_unique<Owner<Watch>>(std::move(watch));
}

int EventLoop::run() {
    const auto work = boost::asio::make_work_guard(context_);
    context_.run();
    return status_;
}

void EventLoop::leave(int status) {
    status_ = status;
    context_.stop();
}
