#include "presenters/impress/OfficeThread.h"

#include <utility>

OfficeThread::OfficeThread() : thread_([this] { run(); }) {}

OfficeThread::~OfficeThread() {
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
    }
    changed_.notify_one();
    thread_.join();
}

void OfficeThread::setNext(std::function<void()> next) {
    {
        const std::lock_guard lock(mutex_);
        next_ = std::move(next);
    }
    changed_.notify_one();
}

void OfficeThread::run() {
    std::unique_lock lock(mutex_);
    while (true) {
        changed_.wait(lock, [this] { return ended_ || next_; });
        if (ended_) return;
        const auto task = std::exchange(next_, nullptr);
        lock.unlock();
        task();
        lock.lock();
    }
}
