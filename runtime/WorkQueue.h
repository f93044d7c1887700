#pragma once

#include "ports/Dispatch.h"
#include "runtime/Report.h"

#include <cstddef>
#include <memory>

/// How work gets onto a thread where it may wait for somebody.
namespace runtime {

/// Work that is done one piece at a time, in the order given, on threads of `Workers`. Whoever waits here holds up only
/// the pieces behind it. Any thread.
class WorkQueue {
public:
    /// Ends the queue.
    ~WorkQueue() { end(); }
    WorkQueue(const WorkQueue&) = delete;
    WorkQueue& operator=(const WorkQueue&) = delete;

    /// Adds a piece behind those that wait. False, and nothing is kept, when as many as the capacity wait already, when
    /// no thread can be had, or after the end.
    [[nodiscard]] bool push(Task piece);
    /// Drops what waits and accepts nothing more; a piece under way goes on.
    void end();

private:
    friend class Workers;
    struct Pieces;
    struct Crew;
    WorkQueue(std::shared_ptr<Crew> crew, std::size_t capacity);

    const std::shared_ptr<Crew> crew_;
    const std::shared_ptr<Pieces> pieces_;
};

/// The threads behind work queues: as many as there are queues with something to do, so that no queue waits for
/// another. A thread that finds nothing to do for some seconds ends.
class Workers {
public:
    /// The report must not throw.
    explicit Workers(Report report);
    /// Ends, waits for the pieces under way, and drops the others.
    ~Workers();
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    /// A new queue in which at most `capacity` pieces wait. It may outlive the workers; it does nothing then.
    [[nodiscard]] std::unique_ptr<WorkQueue> makeQueue(std::size_t capacity) const;
    /// No piece begins any more, and none is accepted. Whoever owns what those under way wait for makes them give up.
    /// Any thread.
    void stop() const;
    /// After `stop`: waits for the pieces under way.
    void join() const;

private:
    const std::shared_ptr<WorkQueue::Crew> crew_;
};

}  // namespace runtime
