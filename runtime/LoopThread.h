#pragma once

#include "runtime/Loop.h"

#include <cstdlib>
#include <string>
#include <thread>
#include <utility>

namespace runtime {

/// A loop on a thread of its own, for what must go on whatever other threads wait for.
class LoopThread {
public:
    /// The report must not throw. Throws `std::system_error` when the system has no thread to give.
    LoopThread(Report report, std::string label)
        : loop_(std::move(report), std::move(label)), thread_([this] { static_cast<void>(loop_.run()); }) {}
    ~LoopThread() { stop(); }
    LoopThread(const LoopThread&) = delete;
    LoopThread& operator=(const LoopThread&) = delete;

    [[nodiscard]] Loop& loop() { return loop_; }
    /// Waits for the task under way and drops the others; at the latest when this is destroyed. Not on the loop's
    /// thread.
    void stop() {
        loop_.stop(EXIT_SUCCESS);
        if (thread_.joinable()) thread_.join();
        loop_.finish();
    }

private:
    Loop loop_;
    std::thread thread_;
};

}  // namespace runtime
