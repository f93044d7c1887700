#pragma once

#include "ports/Clock.h"
#include "ports/Dispatch.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace simulated {

/// Queues and timers in virtual time, all run by the thread that calls `runFor`: *run everything that is ready, jump to
/// the next deadline, repeat*. Ninety seconds of waiting take no time, and every run is the same.
class SimulatedDispatch final : public Dispatch, public Clock {
public:
    /// Civil time at the start: 5 March 2024, 13:07:09 UTC.
    static constexpr Date kStartDate{std::chrono::microseconds(1'709'644'029'000'000)};

    SimulatedDispatch();
    ~SimulatedDispatch() override;

    [[nodiscard]] DispatchQueue& mainQueue() override;
    [[nodiscard]] std::shared_ptr<DispatchQueue> makeSerialQueue(std::string label) override;
    [[nodiscard]] Date now() const override;
    [[nodiscard]] Instant steadyNow() const override { return now_; }

    /// Runs everything that becomes ready in this span, which then has passed.
    void runFor(Duration span);
    /// Runs the first task that is due by then, at its time. False when there is none: then it is `limit`.
    bool runNext(Instant limit);
    /// Runs what is ready now.
    void runReady() { runFor(Duration::zero()); }
    /// Time passes and nothing runs, as on a sleeping machine or in a blocking call. Timers skip what they missed.
    void stall(Duration span) { now_ += span; }
    /// Virtual time since the start.
    [[nodiscard]] Duration elapsed() const { return now_.time_since_epoch(); }
    /// When the next task is due; nothing when none waits.
    [[nodiscard]] std::optional<Instant> nextDeadline() const {
        return waiting_.empty() ? std::nullopt : std::optional(waiting_.begin()->first.first);
    }
    /// Somebody sets the clock of civil time, forward or back. Nothing else notices.
    void setClock(Duration by) { clockIsAhead_ += by; }
    /// How many serial queues there are.
    [[nodiscard]] long serialQueues() const { return queues_.use_count() - 1; }

private:
    class Queue;
    /// Deadline, then order of submission.
    using Key = std::pair<Instant, std::uint64_t>;

    void add(Instant deadline, Task task);
    void addTick(Instant due, Duration period, const std::weak_ptr<const bool>& queue,
                 const std::weak_ptr<const Task>& handler);

    Instant now_{};
    Duration clockIsAhead_{};
    std::uint64_t submitted_ = 0;
    std::map<Key, Task> waiting_;
    std::shared_ptr<const bool> queues_ = std::make_shared<const bool>(true);  ///< shared by the serial queues
    std::unique_ptr<Queue> mainQueue_;
};

}  // namespace simulated
