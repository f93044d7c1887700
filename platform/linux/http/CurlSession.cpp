#include "platform/linux/http/CurlSession.h"

#include "platform/linux/http/CurlError.h"
#include "platform/linux/http/CurlTransfer.h"

namespace http {

CurlSession::CurlSession(const URLSessionConfiguration& configuration, std::shared_ptr<URLSessionDelegate> delegate,
                         std::shared_ptr<CurlLoop> loop)
    : configuration_(configuration),
      loop_(std::move(loop)),
      delegate_(delegate ? std::move(delegate) : std::make_shared<URLSessionDelegate>()) {}

std::shared_ptr<URLSessionDataTask> CurlSession::dataTaskWithRequest(URLRequest request) {
    return std::make_shared<CurlTask>(shared_from_this(), ++tasks_, std::move(request));
}

void CurlSession::invalidateAndCancel() {
    if (invalidated_.exchange(true)) return;
    loop_->post([self = shared_from_this()] {
        self->loop_->cancelTransfers();
        // Out of the session before its last call, so that what the delegate holds may go with that.
        const auto delegate = std::exchange(self->delegate_, nullptr);
        delegate->URLSessionDidBecomeInvalidWithError(*self, nullptr);
        self->loop_->stop();
    });
}

void CurlTask::resume() {
    if (resumed_.exchange(true)) return;
    session_->loop().post([self = shared_from_this()] { self->begin(); });
}

void CurlTask::cancel() {
    if (cancelled_.exchange(true)) return;
    session_->loop().post([self = shared_from_this()] { self->end(); });
}

/// The delegate hears of a task only here: the session's thread would be woken up twice for each one made.
void CurlTask::begin() {
    if (cancelled_) return;  // its end comes next, or has come
    tell(&URLSessionDelegate::URLSessionDidCreateTask);
    const auto transfer = std::make_shared<CurlTransfer>(shared_from_this());
    transfer_ = transfer;
    transfer->start();
}

void CurlTask::end() {
    if (completed_) return;
    if (const auto transfer = transfer_.lock()) return transfer->cancelled();
    complete(nullptr);
}

void CurlTask::complete(const ErrorPtr& error) {
    completed_ = true;
    const auto told = cancelled_ ? makeURLError(NSURLErrorCancelled, request_.url) : error;
    session_->delegate().URLSessionTaskDidCompleteWithError(*session_, *this, told);
}

}  // namespace http
