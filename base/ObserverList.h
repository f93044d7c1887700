#pragma once

#include "base/Registration.h"

#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

/// The observers of something, each registered by a handle and told the values. Any thread; handles may outlive the
/// list. A handle that is dropped while observers are told may come too late for a call on another thread.
template <typename... Values>
class ObserverList {
public:
    using Observer = std::function<void(const Values&...)>;

    [[nodiscard]] Handle add(Observer observer) {
        struct Entry final : Registration {
            explicit Entry(Observer call) : observer(std::make_shared<const Observer>(std::move(call))) {}
            const std::shared_ptr<const Observer> observer;
        };
        auto entry = std::make_unique<Entry>(std::move(observer));
        const std::lock_guard lock(mutex_);
        std::erase_if(observers_, [](const auto& weak) { return weak.expired(); });
        observers_.push_back(entry->observer);
        return entry;
    }
    /// Registers the observer and tells it right now.
    [[nodiscard]] Handle addAndTell(const Observer& observer, const Values&... values) {
        auto handle = add(observer);
        observer(values...);
        return handle;
    }

    /// Calls every observer right now, on the calling thread; those that are added meanwhile come next time.
    void notify(const Values&... values) {
        std::unique_lock lock(mutex_);
        const auto observers = observers_;
        lock.unlock();
        for (const auto& weak : observers) {
            if (const auto observer = weak.lock()) (*observer)(values...);
        }
    }

private:
    std::mutex mutex_;
    std::vector<std::weak_ptr<const Observer>> observers_;  ///< guarded by `mutex_`
};
