#pragma once

#include "ports/Dispatch.h"

class ConsoleLog;

/// Queues in real time. The main queue is the loop of the thread that calls `run`; all serial queues share a pool of
/// two threads that starts with the first of them, and never run two tasks of one queue at a time.
///
/// Two threads are enough because tasks are short, with one exception: moving a file across file systems may wait for
/// its writer. A task of a serial queue may `sync` onto the main queue, but not onto another serial queue, whose
/// task could then wait for the thread that its caller holds.
///
/// A task that throws is reported on the console log and otherwise ignored. A timer's leeway is not used: a tick comes
/// as soon as it is due. Queues and timers that are still held when the dispatch has finished never run again.
class AsioDispatch final : public Dispatch {
public:
    /// The console log must outlive the dispatch.
    explicit AsioDispatch(ConsoleLog& consoleLog);
    ~AsioDispatch() override;
    AsioDispatch(const AsioDispatch&) = delete;
    AsioDispatch& operator=(const AsioDispatch&) = delete;

    [[nodiscard]] DispatchQueue& mainQueue() override;
    [[nodiscard]] std::shared_ptr<DispatchQueue> makeSerialQueue(std::string label) override;

    /// Runs the main queue on the calling thread until `stop`, and answers the status given there. SIGTERM and SIGINT
    /// stop it with status 0; a second signal ends the process the default way. Once.
    [[nodiscard]] int run();
    /// Called at each `stop`, on its thread: makes what tasks wait for give up. Before `run`.
    void setStopHandler(Task handler);
    /// Makes `run` return after the task under way; main tasks that wait are dropped, and those who wait for one in
    /// `sync` return without it. Any thread; the first call's status counts, also when it comes before `run`.
    void stop(int status);
    /// Waits for tasks that are under way; no other runs any more. Foreign threads may still hand in tasks until
    /// `finish`.
    void joinThreads();
    /// Waits for tasks that are under way and drops the others. After `run`, by whoever owns what tasks use; at the
    /// latest when the dispatch is destroyed.
    void finish();

private:
    struct Core;
    class Queue;
    class Timer;
    class TimerHandle;
    const std::shared_ptr<Core> core_;
    const std::unique_ptr<Queue> mainQueue_;
};
