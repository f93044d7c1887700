#pragma once

#include "platform/linux/http/CurlLoop.h"
#include "ports/URLSessionDelegate.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <utility>

namespace http {

class CurlTransfer;

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

/// A task as its user and its delegate see it; `CurlTransfer` does the work once it is resumed.
class CurlTask final : public URLSessionDataTask, public std::enable_shared_from_this<CurlTask> {
public:
    CurlTask(std::shared_ptr<CurlSession> session, std::size_t identifier, URLRequest request)
        : session_(std::move(session)), identifier_(identifier), request_(std::move(request)) {}

    void resume() override;
    void cancel() override;
    [[nodiscard]] std::size_t taskIdentifier() const override { return identifier_; }
    [[nodiscard]] const URLRequest& originalRequest() const override { return request_; }

    [[nodiscard]] CurlSession& session() { return *session_; }
    /// Calls one of the delegate's operations that hear of tasks, unless the task has been cancelled. The loop's
    /// thread. What the delegate throws ends the process.
    template <class Operation, class... Arguments>
    void tell(Operation operation, const Arguments&... arguments) noexcept {
        if (!cancelled_) std::invoke(operation, session_->delegate(), *session_, *this, arguments...);
    }
    /// The last that is told. The loop's thread, once.
    void complete(const ErrorPtr& error);

private:
    void begin();
    void end();

    const std::shared_ptr<CurlSession> session_;
    const std::size_t identifier_;
    const URLRequest request_;
    std::atomic<bool> resumed_ = false;
    std::atomic<bool> cancelled_ = false;
    bool completed_ = false;                ///< the loop's thread only
    std::weak_ptr<CurlTransfer> transfer_;  ///< the loop's thread only
};

}  // namespace http
