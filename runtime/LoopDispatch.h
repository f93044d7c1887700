#pragma once

#include "runtime/Loop.h"

#include <functional>
#include <mutex>
#include <thread>
#include <vector>

class ConsoleLog;

namespace runtime {

/// Queues in real time. The main queue is the loop of the thread that calls `run`; all serial queues share a pool of
/// two threads that starts with the first of them, and never run two tasks of one queue at a time.
///
/// Two threads are enough because tasks are short: nothing in the pool waits for a program, a display or a writer. A
/// task of a serial queue may `sync` onto the main queue, but not onto another serial queue, whose task could then wait
/// for the thread that its caller holds.
///
/// A task that throws is reported on the console log and otherwise ignored. Queues and timers that are still held when
/// the dispatch has finished never run again.
class LoopDispatch final : public Dispatch {
public:
    /// The console log must outlive the dispatch. `onStop` is called with the status at each `stop`, on its thread:
    /// makes what tasks wait for give up.
    explicit LoopDispatch(ConsoleLog& consoleLog, std::function<void(int)> onStop = {});
    ~LoopDispatch() override;
    LoopDispatch(const LoopDispatch&) = delete;
    LoopDispatch& operator=(const LoopDispatch&) = delete;

    [[nodiscard]] Loop& mainQueue() override { return main_; }
    [[nodiscard]] std::shared_ptr<DispatchQueue> makeSerialQueue(std::string label) override;

    /// Runs the main queue on the calling thread until `stop`, and returns the status given there. SIGTERM and SIGINT
    /// stop it with status 0; a second signal ends the process the default way. Once.
    [[nodiscard]] int run();
    /// Makes `run` return, as the loop's `stop` does. Any thread.
    void stop(int status);
    /// Waits for tasks that are under way; no other runs any more. Foreign threads may still hand in tasks until
    /// `finish`.
    void joinThreads();
    /// Waits for tasks that are under way and drops the others. After `run`, by whoever owns what tasks use; at the
    /// latest when the dispatch is destroyed.
    void finish();

private:
    const Report report_;
    const std::function<void(int)> onStop_;
    const std::shared_ptr<Context> pool_;
    Loop main_;
    std::mutex mutex_;
    std::vector<std::thread> threads_;  ///< of the pool; guarded by `mutex_`
};

}  // namespace runtime
