#include "platform/linux/AsioDispatch.h"

#include "ports/Log.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <algorithm>
#include <atomic>
#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace asio = boost::asio;

namespace {

constexpr int kPoolThreads = 2;

/// An event loop that can drop its tasks before it goes: a task of one loop may own queues and timers of the other.
struct EventLoop : asio::io_context {
    using io_context::io_context;
    void dropTasks() { shutdown(); }
};

/// The one place where an exception that escapes a task ends.
void runTask(const Task& task, const std::string& label, ConsoleLog& consoleLog) {
    try {
        task();
    } catch (const std::exception& error) {
        consoleLog.write(fmt::format("A task on the queue \"{}\" failed: {}", label, error.what()));
    } catch (...) {
        consoleLog.write(fmt::format("A task on the queue \"{}\" failed with an unknown exception", label));
    }
}

Duration clampedDelay(Duration delay) {
    return std::clamp(delay, Duration::zero(), kLongestDelay);
}

}  // namespace

/// What queues share. It lives as long as any of them, so that one which outlives the dispatch does no harm.
struct AsioDispatch::Core {
    explicit Core(ConsoleLog& log) : consoleLog(log) {}

    void startPool() {
        if (!threads.empty()) return;
        for (int i = 0; i < kPoolThreads; ++i) threads.emplace_back([this] { pool.run(); });
    }
    void endMainLoop() {
        const std::lock_guard lock(mutex);
        mainLoopEnded = true;
        syncChanged.notify_all();
    }

    ConsoleLog& consoleLog;
    EventLoop main{1};
    EventLoop pool{kPoolThreads};
    const asio::executor_work_guard<asio::io_context::executor_type> mainWork{main.get_executor()};
    const asio::executor_work_guard<asio::io_context::executor_type> poolWork{pool.get_executor()};

    std::mutex mutex;                     ///< guards what follows
    std::condition_variable syncChanged;  ///< a task of `sync` has ended, or the main loop has
    bool mainLoopEnded = false;
    std::optional<int> status;
    std::function<void(int)> stopHandler;
    std::vector<std::thread> threads;
};

/// A queue: a serial executor with a label. Tasks know the queue weakly, so they end with it.
class AsioDispatch::Queue final : public DispatchQueue {
public:
    Queue(std::shared_ptr<Core> core, asio::any_io_executor executor, std::string label, bool isMain = false)
        : self_(std::make_shared<const Self>(Self{std::move(core), std::move(executor), std::move(label), isMain})) {}

    void async(Task task) override {
        asio::post(self_->executor, [queue = Weak(self_), task = std::move(task)] { run(queue, task); });
    }
    void after(Duration delay, Task task) override;
    void sync(const Task& task) override;
    [[nodiscard]] Handle makeTimer(const TimerSchedule& schedule, Task handler) override;
    [[nodiscard]] const std::string& label() const override { return self_->label; }

private:
    friend class Timer;
    friend class TimerHandle;

    struct Self {
        std::shared_ptr<Core> core;  // before the executor, which needs it to the end
        asio::any_io_executor executor;
        std::string label;
        bool isMain = false;
    };
    using Weak = std::weak_ptr<const Self>;

    static void run(const Weak& queue, const Task& task) {
        if (const auto self = queue.lock()) runTask(task, self->label, self->core->consoleLog);
    }

    const std::shared_ptr<const Self> self_;
};

/// A repeating timer. The wait under way keeps it alive; only `cancelled_` is used off its queue.
class AsioDispatch::Timer : public std::enable_shared_from_this<Timer> {
public:
    Timer(const std::shared_ptr<const Queue::Self>& queue, const TimerSchedule& schedule, Task handler)
        : queue_(queue),
          period_(std::clamp(schedule.period, kShortestTimerPeriod, kLongestDelay)),
          handler_(std::move(handler)),
          timer_(queue->executor, Instant::clock::now() + clampedDelay(schedule.start)) {}

    void wait() {
        timer_.async_wait([self = shared_from_this()](const boost::system::error_code& error) {
            if (!error) self->tick();
        });
    }
    void cancel() { cancelled_ = true; }
    void stopWaiting() { timer_.cancel(); }

private:
    void tick() {
        if (cancelled_ || queue_.expired()) return;
        Queue::run(queue_, handler_);
        if (cancelled_) return;
        // From deadline to deadline: neither a late tick nor missed ones move the schedule.
        const auto deadline = timer_.expiry();
        const auto missed = std::max(Instant::clock::now() - deadline, Duration::zero()) / period_;
        timer_.expires_at(deadline + (missed + 1) * period_);
        wait();
    }

    const Queue::Weak queue_;
    const Duration period_;
    const Task handler_;
    asio::steady_timer timer_;
    std::atomic<bool> cancelled_ = false;
};

class AsioDispatch::TimerHandle final : public Registration {
public:
    TimerHandle(const Queue::Self& queue, std::shared_ptr<Timer> timer)
        : core_(queue.core), executor_(queue.executor), timer_(std::move(timer)) {}
    ~TimerHandle() override {
        timer_->cancel();
        // The wait ends on the queue, which also frees the handler there, never in the middle of its own call.
        asio::post(executor_, [timer = std::move(timer_)] { timer->stopWaiting(); });
    }
    TimerHandle(const TimerHandle&) = delete;
    TimerHandle& operator=(const TimerHandle&) = delete;

private:
    const std::shared_ptr<Core> core_;  // first, because the others need it to the end
    const asio::any_io_executor executor_;
    std::shared_ptr<Timer> timer_;
};

void AsioDispatch::Queue::after(Duration delay, Task task) {
    const auto timer = std::make_shared<asio::steady_timer>(self_->executor, clampedDelay(delay));
    timer->async_wait([queue = Weak(self_), task = std::move(task), timer](const boost::system::error_code& error) {
        if (!error) run(queue, task);
    });
}

void AsioDispatch::Queue::sync(const Task& task) {
    Core& core = *self_->core;
    bool done = false;
    asio::post(self_->executor, [&] {
        runTask(task, self_->label, core.consoleLog);
        const std::lock_guard lock(core.mutex);
        done = true;
        core.syncChanged.notify_all();
    });
    std::unique_lock lock(core.mutex);
    core.syncChanged.wait(lock, [&] { return done || (self_->isMain && core.mainLoopEnded); });
}

Handle AsioDispatch::Queue::makeTimer(const TimerSchedule& schedule, Task handler) {
    auto timer = std::make_shared<Timer>(self_, schedule, std::move(handler));
    timer->wait();
    return std::make_unique<TimerHandle>(*self_, std::move(timer));
}

/// A descriptor watched on the main queue. Asio closes what it watches, so it watches a copy. The wait under way keeps
/// it alive.
class AsioDispatch::Watch : public std::enable_shared_from_this<Watch> {
public:
    Watch(Core& core, int descriptor, Task ready)
        : core_(core), ready_(std::move(ready)), descriptor_(core.main, ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0)) {}

    void wait() {
        descriptor_.async_wait(asio::posix::stream_descriptor::wait_read,
                               [self = shared_from_this()](const boost::system::error_code& error) {
                                   if (!error) self->tell();
                               });
    }
    void cancel() {
        cancelled_ = true;
        descriptor_.close();
    }

private:
    void tell() {
        if (cancelled_) return;
        runTask(ready_, "main", core_.consoleLog);
        if (!cancelled_) wait();
    }

    Core& core_;
    const Task ready_;
    asio::posix::stream_descriptor descriptor_;
    bool cancelled_ = false;
};

class AsioDispatch::WatchHandle final : public Registration {
public:
    WatchHandle(std::shared_ptr<Core> core, std::shared_ptr<Watch> watch)
        : core_(std::move(core)), watch_(std::move(watch)) {}
    ~WatchHandle() override { watch_->cancel(); }
    WatchHandle(const WatchHandle&) = delete;
    WatchHandle& operator=(const WatchHandle&) = delete;

private:
    const std::shared_ptr<Core> core_;  // first, because the watch needs it to the end
    const std::shared_ptr<Watch> watch_;
};

AsioDispatch::AsioDispatch(ConsoleLog& consoleLog)
    : core_(std::make_shared<Core>(consoleLog)),
      mainQueue_(std::make_unique<Queue>(core_, core_->main.get_executor(), "main", true)) {}

AsioDispatch::~AsioDispatch() {
    finish();
}

void AsioDispatch::joinThreads() {
    core_->endMainLoop();
    core_->pool.stop();
    for (auto& thread : std::exchange(core_->threads, {})) thread.join();
}

void AsioDispatch::finish() {
    joinThreads();
    core_->main.dropTasks();
    core_->pool.dropTasks();
}

DispatchQueue& AsioDispatch::mainQueue() {
    return *mainQueue_;
}

std::shared_ptr<DispatchQueue> AsioDispatch::makeSerialQueue(std::string label) {
    const std::lock_guard lock(core_->mutex);
    core_->startPool();
    return std::make_shared<Queue>(core_, asio::make_strand(core_->pool.get_executor()), std::move(label));
}

Handle AsioDispatch::watch(int descriptor, Task ready) {
    const auto watch = std::make_shared<Watch>(*core_, descriptor, std::move(ready));
    watch->wait();
    return std::make_unique<WatchHandle>(core_, watch);
}

void AsioDispatch::dropOnMainQueue(std::shared_ptr<void> object) {
    std::unique_lock lock(core_->mutex);
    if (core_->mainLoopEnded) lock.unlock();
    if (lock) asio::post(core_->main, [object = std::move(object)] {});
}

void AsioDispatch::runOne() {
    core_->main.run_one();
}

int AsioDispatch::run() {
    // On a thread of their own: the main one may be waiting for a program that does not answer.
    asio::io_context signalLoop{1};
    asio::signal_set signals(signalLoop, SIGTERM, SIGINT);
    signals.async_wait([&](const boost::system::error_code& error, int) {
        if (error) return;
        signals.clear();
        stop(EXIT_SUCCESS);
    });
    std::thread signalThread([&] { signalLoop.run(); });
    core_->main.run();
    signalLoop.stop();
    signalThread.join();
    core_->endMainLoop();
    const std::lock_guard lock(core_->mutex);
    return core_->status.value_or(EXIT_FAILURE);
}

void AsioDispatch::setStopHandler(std::function<void(int)> handler) {
    const std::lock_guard lock(core_->mutex);
    core_->stopHandler = std::move(handler);
}

void AsioDispatch::stop(int status) {
    std::function<void(int)> handler;
    {
        const std::lock_guard lock(core_->mutex);
        if (!core_->status) core_->status = status;
        handler = core_->stopHandler;
    }
    core_->main.stop();
    if (handler) handler(status);
}
