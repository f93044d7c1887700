#pragma once

#include "base/Time.h"
#include "ports/Dispatch.h"

#include <functional>
#include <memory>
#include <string>

/// A lock with a signal that threads can wait for. A `std::lock_guard` can hold it; it is not recursive.
class Condition {
public:
    virtual ~Condition() = default;
    virtual void lock() = 0;
    virtual void unlock() = 0;
    /// Lets go of the lock, waits for a signal or until the steady clock shows `limit`, and takes the lock again. True
    /// when a signal came. The caller holds the lock; a signal that nobody waited for is lost.
    virtual bool waitUntilDate(Instant limit) = 0;
    /// Wakes one thread that waits, if there is one. The caller holds the lock.
    virtual void signal() = 0;
};

/// A thread with a run loop: others hand it work, which it takes up in the order given whenever it runs the loop.
class Thread {
public:
    virtual ~Thread() = default;
    /// Hands over work and returns at once; work that the thread never comes to is dropped when it ends. What the work
    /// throws comes out of `runLoopRunOnce`. Any thread.
    virtual void perform(Task work) = 0;
    /// Hands over work and waits until it has been done; what it throws comes out here. False when the thread ended
    /// without it. Any other thread.
    virtual bool performAndWait(const Task& work) = 0;
    /// Waits for work and does the first piece of it; what that throws comes out here, unless somebody waits for it.
    /// False when the loop cannot run. The thread itself.
    [[nodiscard]] virtual bool runLoopRunOnce() = 0;
    [[nodiscard]] virtual bool isCurrentThread() const = 0;
};

/// Where threads come from. Callable from any thread.
class Threads {
public:
    using Main = std::function<void(const std::shared_ptr<Thread>&)>;

    virtual ~Threads() = default;
    /// Starts a thread that nobody waits for; it ends when `main` returns. What `main` throws ends the process. The
    /// label is for people who debug. Throws `std::system_error` when the system has no thread to give.
    virtual void detachNewThread(std::string label, Main main) = 0;
    /// Never null.
    [[nodiscard]] virtual std::shared_ptr<Condition> makeCondition() = 0;
};
