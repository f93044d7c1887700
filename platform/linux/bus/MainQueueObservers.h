#pragma once

#include "ports/Dispatch.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

/// The observers of something, called on the main queue. Shared, because handles and notifications under way may
/// outlive what is observed. Handles may be dropped on any thread.
class MainQueueObservers : public std::enable_shared_from_this<MainQueueObservers> {
public:
    explicit MainQueueObservers(DispatchQueue& mainQueue) : mainQueue_(mainQueue) {}

    /// Registers the observer and calls it once right now. Main queue only.
    [[nodiscard]] Handle add(std::function<void()> observer) {
        auto entry = std::make_unique<Entry>(std::move(observer));
        {
            const std::lock_guard lock(mutex_);
            std::erase_if(observers_, [](const auto& weak) { return weak.expired(); });
            observers_.push_back(entry->observer);
        }
        (*entry->observer)();
        return entry;
    }

    /// Calls every observer on the main queue, later. Any thread.
    void notify() {
        mainQueue_.async([weak = weak_from_this()] {
            if (const auto self = weak.lock()) self->callAll();
        });
    }
    /// Calls every observer right now. Main queue only.
    void callAll() {
        std::unique_lock lock(mutex_);
        const auto observers = observers_;
        lock.unlock();
        for (const auto& weak : observers) {
            if (const auto observer = weak.lock()) (*observer)();
        }
    }

private:
    struct Entry final : Registration {
        explicit Entry(std::function<void()> call)
            : observer(std::make_shared<std::function<void()>>(std::move(call))) {}
        const std::shared_ptr<std::function<void()>> observer;
    };

    DispatchQueue& mainQueue_;
    std::mutex mutex_;
    std::vector<std::weak_ptr<std::function<void()>>> observers_;  ///< guarded by `mutex_`
};
