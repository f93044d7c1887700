#include "platform/simulated/SimulatedThreads.h"

#include "platform/simulated/SimulatedDispatch.h"

#include <algorithm>
#include <deque>
#include <exception>
#include <semaphore>
#include <thread>

namespace simulated {

class SimulatedThreads::OneThread final : public Thread, public std::enable_shared_from_this<OneThread> {
public:
    explicit OneThread(SimulatedThreads& threads) : threads_(threads) {}

    void start(const Main& main) {
        thread_ = std::thread([this, main] {
            turn_.acquire();
            try {
                main(shared_from_this());
            } catch (const std::exception& error) {
                threads_.deadly.emplace_back(error.what());
            }
            hasEnded_ = true;
            // Work may own the thread itself.
            waiting_.clear();
            others_.release();
        });
    }

    /// Lets it run until it waits or ends. By the thread that runs the dispatch.
    void takeTurn() {
        if (hasEnded_) return;
        turn_.release();
        others_.acquire();
        // It has given the turn back for the last time; nothing of it runs any more after this.
        if (hasEnded_) thread_.join();
    }

    void perform(Task work) override {
        if (hasEnded_) return;
        waiting_.push_back(std::move(work));
        threads_.dispatch_.mainQueue().async([self = shared_from_this()] { self->takeTurn(); });
    }

    bool performAndWait(const Task& work) override {
        bool done = false;
        std::exception_ptr thrown;
        waiting_.emplace_back([&] {
            try {
                work();
            } catch (...) {
                thrown = std::current_exception();
            }
            done = true;
        });
        // Other work may stand before this one, a piece a turn.
        while (!done && !hasEnded_) takeTurn();
        if (thrown) std::rethrow_exception(thrown);
        return done;
    }

    bool runLoopRunOnce() override {
        if (threads_.runLoopsFail) return false;
        // The others go on first: they may still be in the call that hands the work over.
        do {
            others_.release();
            turn_.acquire();
        } while (waiting_.empty());
        const auto work = std::move(waiting_.front());
        waiting_.pop_front();
        work();
        return true;
    }

    [[nodiscard]] bool isCurrentThread() const override { return std::this_thread::get_id() == thread_.get_id(); }
    [[nodiscard]] bool hasEnded() const { return hasEnded_; }
    /// Never runs again.
    void abandon() { thread_.detach(); }

private:
    SimulatedThreads& threads_;
    std::thread thread_;
    std::binary_semaphore turn_{0};
    std::binary_semaphore others_{0};
    std::deque<Task> waiting_;
    bool hasEnded_ = false;
};

class SimulatedThreads::OneCondition final : public Condition {
public:
    explicit OneCondition(SimulatedDispatch& dispatch) : dispatch_(dispatch) {}

    void lock() override {}  // nobody runs beside the holder
    void unlock() override {}
    bool waitUntilDate(Instant limit) override {
        // A signal that nobody waits for is lost, as with real conditions.
        isSignalled_ = false;
        while (!isSignalled_ && dispatch_.runNext(limit)) {
        }
        return isSignalled_;
    }
    void signal() override { isSignalled_ = true; }

private:
    SimulatedDispatch& dispatch_;
    bool isSignalled_ = false;
};

SimulatedThreads::~SimulatedThreads() {
    // What still waits has nobody to wake it any more; it stays asleep, with all it owns, until the process ends.
    for (const auto& thread : threads_) {
        if (!thread->hasEnded()) thread->abandon();
    }
}

void SimulatedThreads::detachNewThread(std::string /*label*/, Main main) {
    const auto thread = std::make_shared<OneThread>(*this);
    threads_.push_back(thread);
    thread->start(main);
    dispatch_.mainQueue().after(startDelay, [thread] { thread->takeTurn(); });
}

std::shared_ptr<Condition> SimulatedThreads::makeCondition() {
    return std::make_shared<OneCondition>(dispatch_);
}

std::size_t SimulatedThreads::running() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(threads_, [](const auto& thread) { return !thread->hasEnded(); }));
}

}  // namespace simulated
