#pragma once

#include "base/Time.h"
#include "ports/Dispatch.h"

#include <curl/curl.h>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

using CurlHandle = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;

/// What a loop drives. All calls come on the loop's thread, none after `remove`.
class CurlLoopClient {
public:
    virtual ~CurlLoopClient() = default;
    /// libcurl has ended the transfer on this handle, and the loop has taken the handle out.
    virtual void transferEnded(CURL* easy, CURLcode result) = 0;
    /// When `deadlinePassed` is due; nothing while there is no hurry.
    [[nodiscard]] virtual std::optional<Instant> deadline() const = 0;
    virtual void deadlinePassed() = 0;
};

/// The thread of a session: it owns libcurl's multi handle, and with it the session's connections, and drives the
/// transfers on them. One per session rather than per process, because connections of a multi handle are shared: one
/// whose certificate a delegate has accepted must not carry the requests of a session whose delegate would refuse it.
class CurlLoop {
public:
    explicit CurlLoop(int maximumConnectionsPerHost);
    /// Whoever holds it last must have joined it.
    ~CurlLoop() = default;
    CurlLoop(const CurlLoop&) = delete;
    CurlLoop& operator=(const CurlLoop&) = delete;

    /// Runs the task on the loop's thread, which starts with the first; any thread. Dropped once the loop has stopped.
    /// What it throws ends the process: nobody is there to hear of it. Throws `std::system_error` when the system has
    /// no thread to give; the task is then dropped.
    void post(Task task);
    /// Lets the thread end after the task under way; drops clients and tasks. Any thread, also the loop's own.
    void stop();
    /// Whether `stop` was called and the thread, if there was one, needs nothing but to be joined.
    [[nodiscard]] bool hasEnded() const;
    /// After `stop`, by one thread other than the loop's.
    void join();

    /// On the loop's thread: keeps the client until it is removed.
    void add(std::shared_ptr<CurlLoopClient> client);
    void remove(const CurlLoopClient& client);
    [[nodiscard]] CURLM* multi() const { return multi_.get(); }
    /// On the loop's thread: a handle without options, and a place for one that is no longer used. Making one and its
    /// buffers anew takes longer than setting it up.
    [[nodiscard]] CurlHandle takeHandle();
    void keepHandle(CurlHandle handle);

private:
    void run() noexcept;
    void runPosted();
    [[nodiscard]] bool beginPolling();
    void endTransfers();
    void watchDeadlines();
    [[nodiscard]] int pollTimeout() const;

    const std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)> multi_;
    std::vector<std::shared_ptr<CurlLoopClient>> clients_;
    CurlHandle spareHandle_{nullptr, &curl_easy_cleanup};

    mutable std::mutex mutex_;  ///< guards what follows
    std::vector<Task> posted_;
    bool isPolling_ = false;  ///< the thread waits, and has to be woken up
    bool stopped_ = false;
    bool ended_ = false;
    std::thread thread_;
};
