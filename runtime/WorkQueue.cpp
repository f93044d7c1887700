#include "runtime/WorkQueue.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace runtime {
namespace {

/// Long enough for the calls of one host to share a thread, short enough that nothing is kept for nobody.
constexpr std::chrono::seconds kLongestRest{5};

}  // namespace

/// Guarded by the crew's mutex.
struct WorkQueue::Pieces {
    explicit Pieces(std::size_t theCapacity) : capacity(theCapacity) {}

    struct Piece {
        Task task;
        const void* key;
    };

    const std::size_t capacity;
    std::deque<Piece> waiting;
    bool isServed = false;  ///< a thread has it, or it stands among those that are ready
    bool hasEnded = false;
};

/// What queues and threads share.
struct WorkQueue::Crew : std::enable_shared_from_this<Crew> {
    explicit Crew(Report theReport) : report(std::move(theReport)) {}

    bool push(const std::shared_ptr<Pieces>& pieces, Pieces::Piece piece) {
        const std::lock_guard lock(mutex);
        if (hasStopped || pieces->hasEnded || pieces->waiting.size() == pieces->capacity) return false;
        if (!pieces->isServed && !offer(pieces)) return false;
        pieces->waiting.push_back(std::move(piece));
        return true;
    }

    /// Puts a queue where a thread finds it, and sees to it that one does. With the lock held.
    bool offer(const std::shared_ptr<Pieces>& pieces) {
        // Each queue that is ready takes a resting thread; when none is left over for this one, another is hired.
        if (resting <= ready.size() && !hire()) return false;
        pieces->isServed = true;
        ready.push_back(pieces);
        changed.notify_one();
        return true;
    }

    bool hire() {
        try {
            // Detached, because a thread ends by itself when it has rested for long; `join` waits until none is left.
            std::thread([self = shared_from_this()] { self->serve(); }).detach();
        } catch (const std::system_error&) {
            return false;
        }
        ++threads;
        ++resting;
        return true;
    }

    void drop(Pieces& pieces, const void* key) {
        const std::lock_guard lock(mutex);
        std::erase_if(pieces.waiting, [key](const auto& piece) { return piece.key == key; });
    }

    void end(const std::shared_ptr<Pieces>& pieces) {
        std::deque<Pieces::Piece> dropped;  // what pieces own is freed outside the lock
        const std::lock_guard lock(mutex);
        pieces->hasEnded = true;
        dropped.swap(pieces->waiting);
    }

    void stop() {
        const std::lock_guard lock(mutex);
        hasStopped = true;
        changed.notify_all();
    }

    void join() {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return threads == 0; });
    }

    /// After `join`: frees the pieces that were not begun, which may own the queue that they wait in.
    void drop() {
        std::vector<std::deque<Pieces::Piece>> dropped;
        const std::lock_guard lock(mutex);
        for (const auto& pieces : ready) dropped.push_back(std::exchange(pieces->waiting, {}));
        ready.clear();
    }

    /// What a thread does. It counts as resting from its start on.
    void serve() {
        std::unique_lock lock(mutex);
        while (changed.wait_for(lock, kLongestRest, [this] { return hasStopped || !ready.empty(); }) && !hasStopped) {
            const auto pieces = std::move(ready.front());
            ready.pop_front();
            --resting;
            serve(*pieces, lock);
            if (!pieces->waiting.empty()) ready.push_back(pieces);  // stopped
            ++resting;
        }
        --resting;
        --threads;
        changed.notify_all();
    }

    void serve(Pieces& pieces, std::unique_lock<std::mutex>& lock) {
        while (!pieces.waiting.empty() && !hasStopped) {
            auto piece = std::move(pieces.waiting.front().task);
            pieces.waiting.pop_front();
            lock.unlock();
            runReporting(piece, report);
            // Without the lock, because what the piece owns may push more.
            piece = nullptr;
            lock.lock();
        }
        pieces.isServed = false;
    }

    const Report report;
    std::mutex mutex;  ///< guards what follows
    std::condition_variable changed;
    std::deque<std::shared_ptr<Pieces>> ready;
    std::size_t threads = 0;
    std::size_t resting = 0;  ///< threads that have nothing to do
    bool hasStopped = false;
};

WorkQueue::WorkQueue(std::shared_ptr<Crew> crew, std::size_t capacity)
    : crew_(std::move(crew)), pieces_(std::make_shared<Pieces>(capacity)) {}

bool WorkQueue::push(Task piece, const void* key) {
    return crew_->push(pieces_, {std::move(piece), key});
}

void WorkQueue::drop(const void* key) {
    crew_->drop(*pieces_, key);
}

void WorkQueue::end() {
    crew_->end(pieces_);
}

Workers::Workers(Report report) : crew_(std::make_shared<WorkQueue::Crew>(std::move(report))) {}

Workers::~Workers() {
    stop();
    join();
    crew_->drop();
}

std::unique_ptr<WorkQueue> Workers::makeQueue(std::size_t capacity) const {
    return std::unique_ptr<WorkQueue>(new WorkQueue(crew_, capacity));
}

void Workers::stop() const {
    crew_->stop();
}

void Workers::join() const {
    crew_->join();
}

}  // namespace runtime
