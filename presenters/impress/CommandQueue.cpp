#include "presenters/impress/CommandQueue.h"

CommandQueue::CommandQueue() : thread_([this] { run(); }) {}

CommandQueue::~CommandQueue() {
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
    }
    changed_.notify_one();
    thread_.join();
}

bool CommandQueue::push(std::function<void()> command) {
    {
        const std::lock_guard lock(mutex_);
        if (commands_.size() >= kCapacity) return false;
        commands_.push_back(std::move(command));
    }
    changed_.notify_one();
    return true;
}

void CommandQueue::run() {
    std::unique_lock lock(mutex_);
    while (true) {
        changed_.wait(lock, [this] { return ended_ || !commands_.empty(); });
        if (ended_) return;
        const auto command = std::move(commands_.front());
        commands_.pop_front();
        lock.unlock();
        command();
        lock.lock();
    }
}
