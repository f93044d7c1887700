#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

/// Runs accepted commands one after the other, in the order received, on a thread of its own.
class CommandQueue {
public:
    /// Commands that may wait; a caller that sends more without waiting for results is refused.
    static constexpr std::size_t kCapacity = 32;

    CommandQueue();
    /// Waits for the running command; those behind it are dropped.
    ~CommandQueue();
    CommandQueue(const CommandQueue&) = delete;
    CommandQueue& operator=(const CommandQueue&) = delete;

    /// False when `kCapacity` commands are waiting already. `command` must not throw. Any thread.
    [[nodiscard]] bool push(std::function<void()> command);

private:
    void run();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> commands_;
    bool ended_ = false;
    std::thread thread_;
};
