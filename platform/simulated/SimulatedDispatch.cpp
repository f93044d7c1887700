#include "platform/simulated/SimulatedDispatch.h"

#include <algorithm>

namespace simulated {

class SimulatedDispatch::Queue final : public DispatchQueue {
public:
    Queue(SimulatedDispatch& dispatch, std::string label, std::shared_ptr<const bool> counted)
        : dispatch_(dispatch),
          label_(std::move(label)),
          counted_(std::move(counted)),
          alive_(std::make_shared<const bool>(true)) {}

    void async(Task task) override { after(Duration::zero(), std::move(task)); }

    void after(Duration delay, Task task) override {
        dispatch_.add(dispatch_.now_ + std::clamp(delay, Duration::zero(), kLongestDelay),
                      [weak = std::weak_ptr(alive_), task = std::move(task)] {
                          if (!weak.expired()) task();
                      });
    }

    void sync(const Task& task) override { task(); }

    [[nodiscard]] Handle makeTimer(const TimerSchedule& schedule, Task handler) override {
        /// Owns the handler alone, so that dropping the handle ends the timer.
        struct Timer final : Registration {
            explicit Timer(Task task) : handler(std::make_shared<const Task>(std::move(task))) {}
            const std::shared_ptr<const Task> handler;
        };
        auto timer = std::make_unique<Timer>(std::move(handler));
        const auto period = std::clamp(schedule.period, kShortestTimerPeriod, kLongestDelay);
        dispatch_.addTick(dispatch_.now_ + schedule.start, period, alive_, timer->handler);
        return timer;
    }

    [[nodiscard]] const std::string& label() const override { return label_; }

private:
    SimulatedDispatch& dispatch_;
    const std::string label_;
    const std::shared_ptr<const bool> counted_;
    const std::shared_ptr<const bool> alive_;
};

SimulatedDispatch::SimulatedDispatch() : mainQueue_(std::make_unique<Queue>(*this, "main", nullptr)) {}

SimulatedDispatch::~SimulatedDispatch() = default;

DispatchQueue& SimulatedDispatch::mainQueue() {
    return *mainQueue_;
}

std::shared_ptr<DispatchQueue> SimulatedDispatch::makeSerialQueue(std::string label) {
    return std::make_shared<Queue>(*this, std::move(label), queues_);
}

Date SimulatedDispatch::now() const {
    return kStartDate + std::chrono::duration_cast<std::chrono::microseconds>(elapsed() + clockIsAhead_);
}

void SimulatedDispatch::runFor(Duration span) {
    const Instant end = now_ + span;
    while (runNext(end)) {
    }
}

bool SimulatedDispatch::runNext(Instant limit) {
    if (waiting_.empty() || waiting_.begin()->first.first > limit) {
        now_ = std::max(now_, limit);
        return false;
    }
    // Taken out before it runs, since it may add others.
    auto node = waiting_.extract(waiting_.begin());
    // A task may be late, after a stall; time never goes back.
    now_ = std::max(now_, node.key().first);
    node.mapped()();
    return true;
}

/// Each tick puts the next one in; those that were missed are skipped.
void SimulatedDispatch::addTick(Instant due, Duration period, const std::weak_ptr<const bool>& queue,
                                const std::weak_ptr<const Task>& handler) {
    add(due, [this, due, period, queue, handler] {
        const auto task = handler.lock();
        if (!task || queue.expired()) return;
        (*task)();
        const auto missed = (now_ - due) / period;
        addTick(due + (missed + 1) * period, period, queue, handler);
    });
}

void SimulatedDispatch::add(Instant deadline, Task task) {
    waiting_.emplace(Key{deadline, submitted_++}, std::move(task));
}

}  // namespace simulated
