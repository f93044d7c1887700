#include "runtime/Loop.h"

#include "runtime/Context.h"

#include <fcntl.h>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <cstdlib>
#include <utility>

namespace asio = boost::asio;

namespace runtime {

/// Asio closes what it watches, so it watches a copy. The wait under way keeps it alive.
class Loop::Watch : public std::enable_shared_from_this<Watch> {
public:
    Watch(Loop& loop, int descriptor, Task ready)
        : context_(*loop.context_),
          label_(loop.label()),
          ready_(std::move(ready)),
          descriptor_(context_.events, ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0)) {}

    void wait() {
        descriptor_.async_wait(asio::posix::stream_descriptor::wait_read,
                               [self = shared_from_this()](const boost::system::error_code& error) {
                                   // The system tells nothing of regular files, which never make anybody wait.
                                   if (!error || error == asio::error::operation_not_supported) self->tell();
                               });
    }
    void cancel() {
        cancelled_ = true;
        descriptor_.close();
    }

private:
    void tell() {
        if (cancelled_) return;
        context_.run(ready_, label_);
        if (!cancelled_) wait();
    }

    Context& context_;
    const std::string label_;
    const Task ready_;
    asio::posix::stream_descriptor descriptor_;
    bool cancelled_ = false;
};

Loop::Loop(Report report, std::string label)
    : Loop(std::make_shared<Context>(std::move(report), 1), std::move(label)) {}

Loop::Loop(const std::shared_ptr<Context>& context, std::string label)
    : SerialQueue(context, std::move(label)), context_(context) {}

Loop::~Loop() {
    finish();
}

Handle Loop::watch(int descriptor, Task ready) {
    const auto watch = std::make_shared<Watch>(*this, descriptor, std::move(ready));
    watch->wait();
    return std::make_unique<OnDrop>(context_, [watch] { watch->cancel(); });
}

void Loop::onSignals(const std::vector<int>& signals, Task task) {
    const auto set = std::make_shared<asio::signal_set>(context_->events);
    for (const int signal : signals) set->add(signal);
    set->async_wait([this, set, task = std::move(task)](const boost::system::error_code& error, int) {
        if (error) return;
        // From here on the signals do what they do by default: a second one ends a process that hangs.
        set->clear();
        context_->run(task, label());
    });
}

Loop::Dropper Loop::dropper() const {
    return [context = context_](std::shared_ptr<void> object) {
        std::unique_lock lock(context->mutex);
        // The object is freed without the lock, because what it owns may come back for the loop.
        if (context->hasEnded) lock.unlock();
        if (lock) asio::post(context->events, [object = std::move(object)] {});
    };
}

int Loop::run() {
    struct End {
        ~End() { context.end(); }
        Context& context;
        // Also when the report throws: nobody may wait for a loop that runs no more.
    } const end{*context_};
    context_->events.run();
    const std::lock_guard lock(context_->mutex);
    return context_->status.value_or(EXIT_FAILURE);
}

void Loop::runOne() {
    context_->events.run_one();
}

void Loop::stop(int status) {
    const std::lock_guard lock(context_->mutex);
    if (!context_->status) context_->status = status;
    context_->events.stop();
}

void Loop::finish() {
    context_->end();
    context_->events.dropTasks();
}

}  // namespace runtime
