#pragma once

#include "MacShared/Atomic.h"
#include "ports/Thread.h"

#include <memory>
#include <stdexcept>

/// A worker thread's run loop did not run. Nobody catches it: the process ends.
class VeldrinSoapException : public std::runtime_error {
public:
    VeldrinSoapException() : std::runtime_error("VeldrinSoapException: NSRunLoop failed to run") {}
};

/// A thread that does what it is handed until it is closed. It keeps this object until it has ended. What its work
/// throws ends the process, unless somebody waits for that work. All operations may be called from any thread.
class WorkerThread : public std::enable_shared_from_this<WorkerThread> {
public:
    /// `init`: the thread starts at once. Throws `std::system_error` when the system has no thread to give.
    [[nodiscard]] static std::shared_ptr<WorkerThread> init();

    /// `done`: the thread has been asked to end.
    [[nodiscard]] bool done() const { return done_.get(); }
    /// `thread`: the running thread; null before it has started and after it has ended.
    [[nodiscard]] std::shared_ptr<Thread> thread() const { return thread_.get(); }
    /// `waitForStart`: returns once the thread runs, however long that takes, or has been asked to end.
    void waitForStart() const;
    /// `closeThread`: lets the thread end once it has done what it was handed before. Returns at once.
    void closeThread();

private:
    WorkerThread();
    /// `threadMain`: the thread's body.
    void threadMain(const std::shared_ptr<Thread>& thread);

    const std::shared_ptr<Condition> threadStartCondition_;  ///< `threadStartCondition`: the thread has started
    shared::Atomic<bool> done_;
    shared::Atomic<std::shared_ptr<Thread>> thread_;
};
