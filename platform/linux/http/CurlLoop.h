#pragma once

#include "base/Time.h"
#include "platform/linux/http/CurlHandle.h"
#include "ports/Dispatch.h"

#include <curl/curl.h>
#include <semaphore.h>
#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace http {

class CurlTransfer;

/// The thread of a session: it owns libcurl's multi handle, and with it the session's connections, and drives the
/// transfers on them. One per session rather than per process, because connections of a multi handle are shared: one
/// whose certificate a delegate has accepted must not carry the requests of a session whose delegate would refuse it.
class CurlLoop {
public:
    /// The last that the loop's thread does is to call `atEnd`.
    CurlLoop(int maximumConnectionsPerHost, Task atEnd);
    /// Whoever holds it last must have joined it.
    ~CurlLoop();
    CurlLoop(const CurlLoop&) = delete;
    CurlLoop& operator=(const CurlLoop&) = delete;

    /// Runs the task on the loop's thread, which starts with the first; any thread. Dropped once the loop has stopped.
    /// What it throws ends the process: nobody is there to hear of it. Throws `std::system_error` when the system has
    /// no thread to give; the task is then dropped.
    void post(Task task);
    /// As `post`, but on the loop's thread the task runs at once, perhaps while libcurl is at work: it must not call
    /// libcurl or a delegate.
    template <class Call>
    void run(const Call& task) {
        if (isCurrentThread()) return task();
        post(task);
    }
    /// Lets the thread end after the task under way; drops transfers, connections and tasks. Any thread, also the
    /// loop's own.
    void stop();
    /// Whether `stop` was called and the thread, if there was one, needs nothing but to be joined.
    [[nodiscard]] bool hasEnded() const { return ended_; }
    /// After `stop`, by one thread other than the loop's.
    void join();

    /// On the loop's thread: keeps the transfer until it is removed.
    void add(std::shared_ptr<CurlTransfer> transfer);
    void remove(const CurlTransfer& transfer);
    void cancelTransfers();
    [[nodiscard]] CURLM* multi() const { return multi_.get(); }
    /// On the loop's thread: a handle, and a place for one that is no longer used. Making one and its buffers anew
    /// takes longer than setting it up.
    [[nodiscard]] std::unique_ptr<CurlHandle> takeHandle();
    void keepHandle(std::unique_ptr<CurlHandle> handle) { spareHandle_ = std::move(handle); }

private:
    /// What the thread does until somebody wakes it up; `idle` when there is nothing to ask libcurl about, because
    /// that takes more system calls.
    enum class Waiting { no, idle, inLibcurl };

    [[nodiscard]] bool isCurrentThread() const;
    void wake(std::unique_lock<std::mutex> lock);
    void drive() noexcept;
    void runPosted();
    void endTransfers();
    void watchDeadlines(Instant now);
    void wait();
    [[nodiscard]] int pollTimeout() const;

    const Task atEnd_;
    std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)> multi_;
    std::vector<std::shared_ptr<CurlTransfer>> transfers_;
    std::unique_ptr<CurlHandle> spareHandle_;

    std::atomic<bool> stopped_ = false;
    std::atomic<bool> ended_ = false;
    std::mutex mutex_;  ///< guards what follows
    std::vector<Task> posted_;
    Waiting waiting_ = Waiting::no;
    std::thread thread_;
    /// Given when `idle` ends, by who ends it. Those of the standard library give the processor away before they wait,
    /// to whoever else is busy.
    sem_t awakened_;
};

}  // namespace http
