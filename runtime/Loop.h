#pragma once

#include "runtime/Report.h"
#include "runtime/SerialQueue.h"

#include <memory>
#include <string>
#include <vector>

namespace runtime {

/// The loop of a thread: a queue whose tasks run on the thread that calls `run`, and that watches descriptors. The
/// queue's operations may be called from any thread.
class Loop final : public SerialQueue {
public:
    /// What the report throws comes out of `run`.
    explicit Loop(Report report, std::string label = "main");
    ~Loop() override;
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    /// Calls `ready` each time the descriptor has something to read, until the handle is dropped, which may happen in
    /// the call itself. A regular file counts as always readable. Whoever has the descriptor keeps it open for that
    /// long. Throws `std::exception` when the system cannot watch one more. Any thread; while the loop runs, the handle
    /// is dropped on its thread.
    [[nodiscard]] Handle watch(int descriptor, Task ready);
    /// Runs the task at the first of these signals, instead of what they do by default; a second one does that. Until
    /// the loop is destroyed. Any thread.
    void onSignals(const std::vector<int>& signals, Task task);
    /// Lets go of an object that belongs to the loop's thread there; at once when the loop has ended. Any thread.
    using Dropper = std::function<void(std::shared_ptr<void> object)>;
    /// May outlive the loop.
    [[nodiscard]] Dropper dropper() const;

    /// Runs tasks on the calling thread until `stop`; returns the status given there. Once.
    [[nodiscard]] int run();
    /// Runs one task, or waits for one, on the thread that would call `run`: for those who measure and try. Not from
    /// within a task.
    void runOne();
    /// Makes `run` return after the task under way. Tasks that wait run no more, and those who wait for one in `sync`
    /// return without it. The first call's status counts, also when it comes before `run`. Any thread.
    void stop(int status);
    /// Drops the tasks that wait, and sees to it that none runs any more; whoever waits in `sync` returns. Once the
    /// loop runs no more; at the latest when it is destroyed.
    void finish();

private:
    friend class LoopDispatch;
    class Watch;
    Loop(const std::shared_ptr<Context>& context, std::string label);

    const std::shared_ptr<Context> context_;
};

}  // namespace runtime
