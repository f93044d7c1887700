#pragma once

#include <mutex>
#include <utility>

namespace shared {

/// A property that several threads read and write: each single read and write is whole, nothing more.
template <class T>
class Atomic {
public:
    Atomic() = default;
    explicit Atomic(T value) : value_(std::move(value)) {}

    [[nodiscard]] T get() const {
        const std::lock_guard lock(mutex_);
        return value_;
    }

    /// The old value is destroyed after the lock is released, so its destructor may touch this property.
    void set(T value) {
        const std::lock_guard lock(mutex_);
        std::swap(value_, value);
    }

    /// Changes the value in place; the change must not touch this property again.
    template <class Change>
    void update(const Change& change) {
        const std::lock_guard lock(mutex_);
        change(value_);
    }

private:
    mutable std::mutex mutex_;
    T value_{};
};

}  // namespace shared
