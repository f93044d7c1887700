#pragma once

#include "platform/linux/http/CurlLoop.h"
#include "ports/URLSessionDelegate.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

class CurlTask;

/// A session on libcurl: its tasks run as transfers on the thread of a loop of its own. That thread is the delegate's
/// queue too: a call costs no way to another thread, and while the delegate is busy the server's bytes wait in the
/// sockets.
class CurlSession final : public URLSession, public std::enable_shared_from_this<CurlSession> {
public:
    CurlSession(const URLSessionConfiguration& configuration, std::shared_ptr<URLSessionDelegate> delegate,
                std::shared_ptr<CurlLoop> loop);
    ~CurlSession() override { loop_->stop(); }
    CurlSession(const CurlSession&) = delete;
    CurlSession& operator=(const CurlSession&) = delete;

    [[nodiscard]] const URLSessionConfiguration& configuration() const override { return configuration_; }
    [[nodiscard]] std::shared_ptr<URLSessionDataTask> dataTaskWithRequest(URLRequest request) override;
    void invalidateAndCancel() override;

    /// Calls the delegate later, on the loop's thread; nothing once it has been released. Any thread.
    void tell(std::function<void(URLSessionDelegate&)> call);
    [[nodiscard]] CurlLoop& loop() { return *loop_; }
    /// A task that is to end with the session. The loop's thread.
    void begun(const std::shared_ptr<CurlTask>& task);

private:
    using Call = std::function<void(URLSessionDelegate&)>;

    class Turn;

    /// Whether there were any.
    bool makeCalls();
    std::vector<Call> takeCalls();

    const URLSessionConfiguration configuration_;
    const std::shared_ptr<CurlLoop> loop_;
    std::atomic<std::size_t> tasks_ = 0;
    std::atomic<bool> invalidated_ = false;
    std::shared_ptr<URLSessionDelegate> delegate_;  ///< the loop's thread only
    std::vector<std::weak_ptr<CurlTask>> begun_;    ///< the loop's thread only
    std::mutex mutex_;                              ///< guards what follows
    std::vector<Call> calls_;                       ///< what comes in a burst shares a turn of the loop
};
