#include "platform/linux/LinuxThreads.h"

#include "runtime/Loop.h"

#include <pthread.h>
#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

namespace {

class LinuxCondition final : public Condition {
public:
    void lock() override { mutex_.lock(); }
    void unlock() override { mutex_.unlock(); }
    bool waitUntilDate(Instant limit) override {
        std::unique_lock lock(mutex_, std::adopt_lock);
        ++waiting_;
        const bool signalled = changed_.wait_until(lock, limit, [this] { return signals_ > 0; });
        --waiting_;
        if (signalled) --signals_;
        static_cast<void>(lock.release());  // it stays the caller's
        return signalled;
    }
    void signal() override {
        // Lost when nobody waits, as the port says: a later waiter must not take it.
        if (signals_ == waiting_) return;
        ++signals_;
        changed_.notify_one();
    }

private:
    std::mutex mutex_;  ///< guards what follows
    std::condition_variable changed_;
    int waiting_ = 0;
    int signals_ = 0;  ///< given and not yet taken; never more than threads wait
};

class LinuxThread final : public Thread {
public:
    void perform(Task work) override { loop_.async(std::move(work)); }

    bool performAndWait(const Task& work) override {
        bool isDone = false;
        // Caught here, because the loop would throw it on its own thread and the caller would hear nothing.
        std::exception_ptr thrown;
        loop_.sync([&] {
            isDone = true;
            try {
                work();
            } catch (...) {
                thrown = std::current_exception();
            }
        });
        if (thrown) std::rethrow_exception(thrown);
        return isDone;
    }

    bool runLoopRunOnce() override {
        loop_.runOne();
        return true;
    }

    [[nodiscard]] bool isCurrentThread() const override { return std::this_thread::get_id() == id_; }

    /// The thread's whole life.
    void run(const Threads::Main& main, const std::shared_ptr<Thread>& self) {
        id_ = std::this_thread::get_id();
        main(self);
        loop_.finish();
    }

private:
    std::atomic<std::thread::id> id_;
    runtime::Loop loop_{[](const std::string&) { throw; }};  ///< work that throws ends the process
};

}  // namespace

void LinuxThreads::detachNewThread(std::string label, Main main) {
    // Linux refuses longer names altogether.
    constexpr std::size_t kLongestName = 15;
    label.resize(std::min(label.size(), kLongestName));
    std::thread([label = std::move(label), main = std::move(main)] {
        pthread_setname_np(pthread_self(), label.c_str());
        const auto thread = std::make_shared<LinuxThread>();
        thread->run(main, thread);
    }).detach();
}

std::shared_ptr<Condition> LinuxThreads::makeCondition() {
    return std::make_shared<LinuxCondition>();
}
