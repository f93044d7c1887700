#include "platform/simulated/SimulatedDispatch.h"

#include <algorithm>

namespace simulated {

/// A repeating timer: each tick puts the next one in.
class SimulatedDispatch::Timer final : public Registration, public std::enable_shared_from_this<Timer> {
public:
    Timer(SimulatedDispatch& dispatch, std::weak_ptr<const bool> queue, const TimerSchedule& schedule, Task handler)
        : dispatch_(dispatch),
          queue_(std::move(queue)),
          next_(dispatch.now_ + schedule.start),
          period_(std::clamp(schedule.period, kShortestTimerPeriod, kLongestDelay)),
          handler_(std::move(handler)) {}

    void arm() {
        dispatch_.add(next_, [weak = weak_from_this()] {
            const auto timer = weak.lock();
            if (timer && !timer->queue_.expired()) timer->fire();
        });
    }

private:
    void fire() {
        handler_();
        const auto missed = (dispatch_.now_ - next_) / period_;
        next_ += (missed + 1) * period_;
        arm();
    }

    SimulatedDispatch& dispatch_;
    const std::weak_ptr<const bool> queue_;  ///< expired: the queue is gone
    Instant next_;
    const Duration period_;
    const Task handler_;
};

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
        /// Owns the timer alone, so that dropping the handle ends it.
        struct TimerHandle final : Registration {
            explicit TimerHandle(std::shared_ptr<Timer> owned) : timer(std::move(owned)) {}
            std::shared_ptr<Timer> timer;
        };
        auto timer = std::make_shared<Timer>(dispatch_, alive_, schedule, std::move(handler));
        timer->arm();
        return std::make_unique<TimerHandle>(std::move(timer));
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
    return kStartDate + std::chrono::duration_cast<std::chrono::microseconds>(elapsed());
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
    auto node = waiting_.extract(waiting_.begin());
    now_ = std::max(now_, node.key().first);
    node.mapped()();
    return true;
}

void SimulatedDispatch::add(Instant deadline, Task task) {
    waiting_.emplace(Key{deadline, submitted_++}, std::move(task));
}

}  // namespace simulated
