#include "runtime/SerialQueue.h"

#include "runtime/Context.h"

#include <algorithm>
#include <atomic>
#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <utility>

namespace asio = boost::asio;

namespace runtime {
namespace {

Duration clampedDelay(Duration delay) {
    return std::clamp(delay, Duration::zero(), kLongestDelay);
}

/// One thread runs one task at a time anyway.
asio::any_io_executor serialExecutor(Context& context) {
    if (context.threads == 1) return context.events.get_executor();
    return asio::make_strand(context.events);
}

}  // namespace

struct SerialQueue::Self {
    std::shared_ptr<Context> context;  // before the executor, which needs it to the end
    asio::any_io_executor executor;
    std::string label;
};

/// A repeating timer. The wait under way keeps it alive; only `cancelled_` is used off its queue.
class SerialQueue::Timer : public std::enable_shared_from_this<Timer> {
public:
    Timer(const std::shared_ptr<const Self>& queue, const TimerSchedule& schedule, Task handler)
        : queue_(queue),
          period_(std::clamp(schedule.period, kShortestTimerPeriod, kLongestDelay)),
          handler_(std::move(handler)),
          timer_(queue->executor, Instant::clock::now() + clampedDelay(schedule.start)) {}

    void wait() {
        timer_.async_wait([self = shared_from_this()](const boost::system::error_code& error) {
            if (!error) self->tick();
        });
    }
    void cancel() { cancelled_ = true; }
    void stopWaiting() { timer_.cancel(); }

private:
    void tick() {
        if (cancelled_ || queue_.expired()) return;
        run(queue_, handler_);
        if (cancelled_) return;
        // From deadline to deadline: neither a late tick nor missed ones move the schedule.
        const auto deadline = timer_.expiry();
        const auto missed = std::max(Instant::clock::now() - deadline, Duration::zero()) / period_;
        timer_.expires_at(deadline + (missed + 1) * period_);
        wait();
    }

    const Weak queue_;
    const Duration period_;
    const Task handler_;
    asio::steady_timer timer_;
    std::atomic<bool> cancelled_ = false;
};

SerialQueue::SerialQueue(const std::shared_ptr<Context>& context, std::string label)
    : self_(std::make_shared<const Self>(Self{context, serialExecutor(*context), std::move(label)})) {}

void SerialQueue::run(const Weak& queue, const Task& task) {
    if (const auto self = queue.lock()) self->context->run(task, self->label);
}

void SerialQueue::async(Task task) {
    Context& context = *self_->context;
    // Asio takes no task while it drops those that wait, which it does once the loop has ended; the task then goes
    // here, without the lock.
    const std::unique_lock lock(context.mutex);
    if (context.hasEnded) return;
    asio::post(self_->executor, [queue = Weak(self_), task = std::move(task)] { run(queue, task); });
}

void SerialQueue::after(Duration delay, Task task) {
    const auto timer = std::make_shared<asio::steady_timer>(self_->executor, clampedDelay(delay));
    timer->async_wait([queue = Weak(self_), task = std::move(task), timer](const boost::system::error_code& error) {
        if (!error) run(queue, task);
    });
}

void SerialQueue::sync(const Task& task) {
    Context& context = *self_->context;
    bool done = false;
    std::unique_lock lock(context.mutex);
    if (context.hasEnded) return;
    asio::post(self_->executor, [&] {
        context.run(task, self_->label);
        const std::lock_guard doneLock(context.mutex);
        done = true;
        context.changed.notify_all();
    });
    // One condition for all queues of a loop: waiting so is rare, and a queue needs none of its own.
    context.changed.wait(lock, [&] { return done || context.hasEnded; });
}

Handle SerialQueue::makeTimer(const TimerSchedule& schedule, Task handler) {
    auto timer = std::make_shared<Timer>(self_, schedule, std::move(handler));
    timer->wait();
    return std::make_unique<OnDrop>(self_->context, [executor = self_->executor, timer = std::move(timer)]() mutable {
        timer->cancel();
        // The wait ends on the queue, which also frees the handler there, never in the
        // middle of its own call.
        asio::post(executor, [timer = std::move(timer)] { timer->stopWaiting(); });
    });
}

const std::string& SerialQueue::label() const {
    return self_->label;
}

}  // namespace runtime
