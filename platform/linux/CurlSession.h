#pragma once

#include "platform/linux/CurlLoop.h"
#include "ports/Dispatch.h"
#include "ports/URLSessionDelegate.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

/// A session on libcurl: its tasks run as transfers on a loop of its own, and what they have to tell goes to the
/// delegate's queue.
class CurlSession final : public URLSession, public std::enable_shared_from_this<CurlSession> {
public:
    CurlSession(const URLSessionConfiguration& configuration, std::shared_ptr<URLSessionDelegate> delegate,
                std::shared_ptr<DispatchQueue> queue, std::shared_ptr<CurlLoop> loop);
    ~CurlSession() override { loop_->stop(); }
    CurlSession(const CurlSession&) = delete;
    CurlSession& operator=(const CurlSession&) = delete;

    [[nodiscard]] const URLSessionConfiguration& configuration() const override { return configuration_; }
    [[nodiscard]] std::shared_ptr<URLSessionDataTask> dataTaskWithRequest(URLRequest request) override;
    void invalidateAndCancel() override;

    /// Calls the delegate later, on its queue; nothing once it has been released. Any thread.
    void tell(std::function<void(URLSessionDelegate&)> call);
    [[nodiscard]] CurlLoop& loop() { return *loop_; }

private:
    using Call = std::function<void(URLSessionDelegate&)>;

    class Turn;

    void makeCalls();
    std::vector<Call> takeCalls();

    const URLSessionConfiguration configuration_;
    const std::shared_ptr<DispatchQueue> queue_;
    const std::shared_ptr<CurlLoop> loop_;
    std::atomic<std::size_t> tasks_ = 0;
    std::atomic<bool> invalidated_ = false;
    std::shared_ptr<URLSessionDelegate> delegate_;  ///< on its queue only
    std::mutex mutex_;                              ///< guards what follows
    std::vector<Call> calls_;                       ///< what comes in a burst shares a task of the queue
};
