#include "platform/linux/IdleTermination.h"

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <utility>

/// Shared weakly with the delayed checks, which may come after this object is gone.
struct IdleTermination::State : std::enable_shared_from_this<State> {
    State(Dispatch& theDispatch, std::optional<Duration> time, Task task)
        : dispatch(theDispatch), idleTime(time), onIdle(std::move(task)) {}

    [[nodiscard]] bool isIdle() const { return hosts == 0 && disables <= 0; }

    /// Counts, and begins to wait when the process has become idle by it.
    void count(std::int64_t newDisables, std::int64_t newHosts) {
        const std::lock_guard lock(mutex);
        const bool wasIdle = isIdle();
        disables += newDisables;
        hosts += newHosts;
        if (hosts == 0) disables = std::min(disables, std::int64_t{0});  // whoever is to enable has gone
        if (isIdle() == wasIdle) return;
        // A wait that is under way finds out by this number that it no longer counts.
        ++changes;
        if (!wasIdle) wait();
    }

    void wait() {
        if (!idleTime) return;
        dispatch.mainQueue().after(*idleTime, [weak = weak_from_this(), seen = changes] {
            if (const auto state = weak.lock()) state->endIfStillIdle(seen);
        });
    }

    void endIfStillIdle(std::uint64_t seen) {
        {
            const std::lock_guard lock(mutex);
            if (changes != seen) return;
        }
        onIdle();
    }

    Dispatch& dispatch;
    const std::optional<Duration> idleTime;
    const Task onIdle;
    std::mutex mutex;           ///< guards what follows
    std::int64_t disables = 0;  ///< minus enables
    std::int64_t hosts = 0;
    std::uint64_t changes = 0;  ///< how often the process became idle or busy
};

IdleTermination::IdleTermination(Dispatch& dispatch, std::optional<Duration> idleTime, Task onIdle)
    : state_(std::make_shared<State>(dispatch, idleTime, std::move(onIdle))) {
    state_->wait();
}

IdleTermination::~IdleTermination() = default;

void IdleTermination::disable(const std::string&) {
    state_->count(1, 0);
}
void IdleTermination::enable(const std::string&) {
    state_->count(-1, 0);
}
void IdleTermination::hostConnected() {
    state_->count(0, 1);
}
void IdleTermination::hostLeft() {
    state_->count(0, -1);
}
