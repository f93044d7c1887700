#pragma once

#include "ports/Dispatch.h"
#include "runtime/Report.h"

#include <chrono>
#include <cstddef>
#include <future>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

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
    [[nodiscard]] bool push(Task piece) { return push(std::move(piece), nullptr); }
    /// Adds a question as a piece, and waits for its result; nothing when it is not accepted, or no result has come
    /// within `limit`: a question that has not begun by then is dropped. What it throws is thrown here. Not from within
    /// a piece of this queue.
    template <typename Question>
    [[nodiscard]] auto ask(Question question, std::chrono::milliseconds limit)
        -> std::optional<std::invoke_result_t<Question>> {
        using Result = std::invoke_result_t<Question>;
        const auto task = std::make_shared<std::packaged_task<Result()>>(std::move(question));
        auto answer = task->get_future();
        if (!push([task] { (*task)(); }, task.get())) return std::nullopt;
        if (answer.wait_for(limit) == std::future_status::ready) return answer.get();
        drop(task.get());
        return std::nullopt;
    }
    /// Drops what waits and accepts nothing more; a piece under way goes on.
    void end();

private:
    friend class Workers;
    struct Pieces;
    struct Crew;
    WorkQueue(std::shared_ptr<Crew> crew, std::size_t capacity);
    [[nodiscard]] bool push(Task piece, const void* key);
    /// Takes the piece with this key back, if it waits.
    void drop(const void* key);

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
