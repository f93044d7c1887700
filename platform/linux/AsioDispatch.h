#pragma once

#include "ports/Dispatch.h"

class ConsoleLog;

/// Queues in real time. The main queue is the loop of the thread that calls `run`; all serial queues share a pool of
/// two threads that starts with the first of them, and never run two tasks of one queue at a time.
///
/// Two threads are enough because tasks are short: nothing in the pool waits for a program, a display or a writer. A
/// task of a serial queue may `sync` onto the main queue, but not onto another serial queue, whose task could then wait
/// for the thread that its caller holds.
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

    /// Calls `ready` on the main queue each time the descriptor has something to read, until the handle is dropped.
    /// Whoever has the descriptor keeps it open for that long. Main queue, which also drops the handle.
    [[nodiscard]] Handle watch(int descriptor, Task ready);
    /// Lets go of an object that belongs to the main queue there; at once when that runs no more. Any thread.
    void dropOnMainQueue(std::shared_ptr<void> object);
    /// Runs one task of the main queue, or waits for one, on the thread that would call `run`: for those who measure
    /// and try. Not from within a task.
    void runOne();

    /// Runs the main queue on the calling thread until `stop`, and answers the status given there. SIGTERM and SIGINT
    /// stop it with status 0; a second signal ends the process the default way. Once.
    [[nodiscard]] int run();
    /// Called with the status at each `stop`, on its thread: makes what tasks wait for give up. Before `run`.
    void setStopHandler(std::function<void(int)> handler);
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
    class Watch;
    class WatchHandle;
    const std::shared_ptr<Core> core_;
    const std::unique_ptr<Queue> mainQueue_;
};
