#include "platform/linux/http/CurlTask.h"

#include "platform/linux/http/CurlError.h"
#include "platform/linux/http/CurlTransfer.h"

#include <utility>

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
