#pragma once

#include "platform/linux/http/CurlLoop.h"
#include "ports/URLSessionDelegate.h"

#include <atomic>
#include <memory>

/// A session on libcurl: its tasks run as transfers on the thread of a loop of its own. That thread is the delegate's
/// queue too, and the delegate is called where libcurl calls us: a call costs no way to another thread, bytes are not
/// copied, and while the delegate is busy the server's wait in the sockets. Nothing that a delegate can do there calls
/// libcurl at once.
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

    [[nodiscard]] CurlLoop& loop() { return *loop_; }
    /// The loop's thread, on which nothing is told any more once the session is invalid.
    [[nodiscard]] URLSessionDelegate& delegate() { return *delegate_; }

private:
    const URLSessionConfiguration configuration_;
    const std::shared_ptr<CurlLoop> loop_;
    std::atomic<std::size_t> tasks_ = 0;
    std::atomic<bool> invalidated_ = false;
    std::shared_ptr<URLSessionDelegate> delegate_;  ///< the loop's thread only
};
