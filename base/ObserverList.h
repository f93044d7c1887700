#pragma once

#include "base/Registration.h"

#include <functional>
#include <list>
#include <memory>
#include <utility>

/// The observers of something, each registered by a handle. Used by one thread, also by its observers: one may register
/// others and drop handles, its own too.
class ObserverList {
public:
    /// Called at each change; it asks what has changed itself.
    using Observer = std::function<void()>;

    /// Registers the observer and calls it once right now. It is called until the handle is dropped, which may outlive
    /// the list.
    [[nodiscard]] Handle add(Observer observer) {
        auto entry = std::make_shared<Observer>(std::move(observer));
        observers_.emplace_back(entry);
        (*entry)();
        struct Entry final : Registration {
            explicit Entry(std::shared_ptr<Observer> owned) : observer(std::move(owned)) {}
            std::shared_ptr<Observer> observer;
        };
        return std::make_unique<Entry>(std::move(entry));
    }

    /// Calls every observer in the order in which they were added. Those added meanwhile are not called again.
    void notify() {
        std::erase_if(observers_, [](const auto& weak) { return weak.expired(); });
        for (const auto& weak : std::list(observers_)) {
            if (const auto observer = weak.lock()) (*observer)();
        }
    }

private:
    std::list<std::weak_ptr<Observer>> observers_;
};
