#include "platform/linux/BlockingCalls.h"

#include "ports/Log.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <utility>

namespace {

constexpr std::size_t kMostWaiting = 32;

}  // namespace

bool BlockingCalls::add(const std::string& host, Call call) {
    const std::lock_guard lock(mutex_);
    if (stopped_ || waiting_.size() == kMostWaiting) return false;
    waiting_.push_back({host, std::move(call)});
    if (!thread_.joinable()) thread_ = std::thread([this] { run(); });
    changed_.notify_one();
    return true;
}

void BlockingCalls::drop(const std::string& host) {
    std::deque<Waiting> dropped;  // what the calls own is freed outside the lock
    const std::lock_guard lock(mutex_);
    const auto first = std::stable_partition(waiting_.begin(), waiting_.end(),
                                             [&host](const Waiting& each) { return each.host != host; });
    dropped.assign(std::make_move_iterator(first), std::make_move_iterator(waiting_.end()));
    waiting_.erase(first, waiting_.end());
}

void BlockingCalls::stop() {
    std::thread thread;
    std::deque<Waiting> dropped;
    {
        const std::lock_guard lock(mutex_);
        stopped_ = true;
        dropped.swap(waiting_);
        thread.swap(thread_);
    }
    changed_.notify_one();
    if (thread.joinable()) thread.join();
}

void BlockingCalls::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return stopped_ || !waiting_.empty(); });
        if (stopped_) return;
        auto next = std::exchange(waiting_.front(), {});
        waiting_.pop_front();
        lock.unlock();
        make(next.call);
        next = {};
        lock.lock();
    }
}

void BlockingCalls::make(const Call& call) const {
    try {
        call();
    } catch (const std::exception& error) {
        consoleLog_.write(std::string("An extraction failed: ") + error.what());
    } catch (...) {
        consoleLog_.write("An extraction failed for an unknown reason.");
    }
}
