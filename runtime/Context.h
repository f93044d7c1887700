#pragma once

#include "ports/Dispatch.h"
#include "runtime/Report.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <utility>

namespace runtime {

/// An event loop of Asio, and what its queues share. It lives as long as any of them, so that one which outlives the
/// loop's owner does no harm.
struct Context {
    Context(Report theReport, int theThreads) : threads(theThreads), report(std::move(theReport)), events(theThreads) {}

    /// For tasks that may own queues and timers of this loop, or of another that does the same: what waits goes before
    /// the loop does.
    struct Events : boost::asio::io_context {
        using io_context::io_context;
        void dropTasks() { shutdown(); }
    };

    void run(const Task& task, const std::string& label) const {
        runReporting(task,
                     [&](const std::string& what) { report("A task on the queue \"" + label + "\" failed: " + what); });
    }
    /// Whoever waits in `sync` returns. Once no thread runs the loop any more.
    void end() {
        const std::lock_guard lock(mutex);
        hasEnded = true;
        changed.notify_all();
    }

    const int threads;  ///< how many run the loop
    const Report report;
    Events events;
    const boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work{events.get_executor()};
    std::mutex mutex;
    std::condition_variable changed;  ///< a task of `sync` has ended, or the loop has
    bool hasEnded = false;            ///< guarded by `mutex`, as is the next one
    std::optional<int> status;        ///< with which the loop was told to stop
};

/// The handle of something that a loop does, and that ends with it.
class OnDrop final : public Registration {
public:
    OnDrop(std::shared_ptr<Context> context, Task end) : context_(std::move(context)), end_(std::move(end)) {}
    ~OnDrop() override { end_(); }
    OnDrop(const OnDrop&) = delete;
    OnDrop& operator=(const OnDrop&) = delete;

private:
    const std::shared_ptr<Context> context_;  // first, because what is ended needs it to the end
    const Task end_;
};

}  // namespace runtime
