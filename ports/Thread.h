#pragma once

#include "base/Time.h"
#include "ports/Dispatch.h"

#include <functional>
#include <memory>
#include <string>

/// A lock with a signal that threads can wait for. A `std::lock_guard` can hold it. Any thread.
class Condition {
public:
    virtual ~Condition() = default;
    /// Waits for the lock and takes it. A thread that holds it already would wait for ever.
    virtual void lock() = 0;
    /// Gives the lock back. The caller holds it.
    virtual void unlock() = 0;
    /// Lets go of the lock, waits for a signal or until the steady clock shows `limit`, and takes the lock again. True
    /// when a signal came. The caller holds the lock. A signal that came while nobody waited is lost, so the caller
    /// looks at what it waits for before.
    virtual bool waitUntilDate(Instant limit) = 0;
    /// Wakes one thread that waits, if there is one. The caller holds the lock.
    virtual void signal() = 0;
};

/// A thread with a run loop: others hand it work, which it does in the order given whenever it runs the loop.
class Thread {
public:
    virtual ~Thread() = default;
    /// Hands over work and returns at once. Work that the thread has not begun when it ends is dropped. What the work
    /// throws comes out of `runLoopRunOnce`. Any thread.
    virtual void perform(Task work) = 0;
    /// Hands over work and waits until it has been done; what it throws comes out here. False when the thread ended
    /// without it. Any other thread.
    virtual bool performAndWait(const Task& work) = 0;
    /// Waits for work and does the first piece of it; what that throws comes out here, unless somebody waits for it.
    /// False when the loop cannot run. The thread itself.
    [[nodiscard]] virtual bool runLoopRunOnce() = 0;
    /// Whether the caller runs on this thread.
    [[nodiscard]] virtual bool isCurrentThread() const = 0;
};

/// Where threads come from. Callable from any thread.
class Threads {
public:
    /// What a thread does; it is handed itself, and may keep it for others to hand it work.
    using Main = std::function<void(const std::shared_ptr<Thread>&)>;

    virtual ~Threads() = default;
    /// Starts a thread that nobody waits for; it ends when `main` returns. What `main` throws ends the process. The
    /// label is for people who debug. Throws `std::system_error` when the system has no thread to give.
    virtual void detachNewThread(std::string label, Main main) = 0;
    /// A new lock with its signal. Never null.
    [[nodiscard]] virtual std::shared_ptr<Condition> makeCondition() = 0;
};
