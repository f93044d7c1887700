#pragma once

#include "platform/linux/http/CurlSession.h"
#include "ports/URLSessionDelegate.h"

#include <atomic>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>

class CurlTransfer;

/// A task as its user and its delegate see it; `CurlTransfer` does the work once it is resumed.
///
/// What the transfer tells waits here while the delegate owes its answer to the response: so the transfer need not
/// wait for it. What waits keeps neither task nor transfer; the owed answer keeps the task.
class CurlTask final : public URLSessionDataTask, public std::enable_shared_from_this<CurlTask> {
public:
    CurlTask(std::shared_ptr<CurlSession> session, std::size_t identifier, URLRequest request)
        : session_(std::move(session)), identifier_(identifier), request_(std::move(request)) {}

    void resume() override;
    void cancel() override;
    [[nodiscard]] std::size_t taskIdentifier() const override { return identifier_; }
    [[nodiscard]] const URLRequest& originalRequest() const override { return request_; }

    [[nodiscard]] CurlSession& session() { return *session_; }
    /// Ends the task with its session: its completion is ready to be told, whatever the delegate owes. The loop's
    /// thread.
    void sessionEnded();
    /// Calls the delegate later on the loop's thread, unless the task has been cancelled by then. Any thread.
    void tell(std::function<void(URLSessionDelegate&, URLSession&, CurlTask&)> call);
    void tellResponse(HTTPURLResponse response);
    /// The last that is told. The loop's thread, once.
    void tellCompletion(const ErrorPtr& error);

    /// Whether the delegate owes its answer to the response, and when it gave it. Any thread.
    [[nodiscard]] bool isUndecided() const { return isUndecided_; }
    [[nodiscard]] Instant decidedAt() const { return decidedAt_; }

private:
    using Call = std::function<void(URLSessionDelegate&, CurlTask&)>;

    void announce();
    void begin();
    void end();
    void append(Call call);
    void callWaiting(URLSessionDelegate& delegate);
    void decided(URLSessionResponseDisposition disposition, URLSessionDelegate& delegate);

    const std::shared_ptr<CurlSession> session_;
    const std::size_t identifier_;
    const URLRequest request_;
    std::atomic<bool> resumed_ = false;
    std::atomic<bool> cancelled_ = false;
    std::atomic<bool> isUndecided_ = false;
    std::atomic<Instant> decidedAt_ = Instant{};
    std::deque<Call> waiting_;              ///< the loop's thread only
    bool announced_ = false;                ///< the loop's thread only
    bool completed_ = false;                ///< the loop's thread only
    std::weak_ptr<CurlTransfer> transfer_;  ///< the loop's thread only
};
