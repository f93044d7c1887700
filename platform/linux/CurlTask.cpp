#include "platform/linux/CurlTask.h"

#include "platform/linux/CurlError.h"
#include "platform/linux/CurlTransfer.h"

#include <utility>

void CurlTask::resume() {
    if (resumed_.exchange(true)) return;
    session_->loop().post([self = shared_from_this()] { self->begin(); });
}

void CurlTask::cancel() {
    if (cancelled_.exchange(true)) return;
    session_->loop().post([self = shared_from_this()] { self->end(); });
}

void CurlTask::begin() {
    if (completed_) return;
    const auto transfer = std::make_shared<CurlTransfer>(shared_from_this());
    transfer_ = transfer;
    transfer->start();
}

void CurlTask::end() {
    if (const auto transfer = transfer_.lock()) return transfer->cancelled();
    tellCompletion(makeURLError(NSURLErrorCancelled, request_.url));
}

void CurlTask::tell(std::function<void(URLSessionDelegate&, URLSession&, CurlTask&)> call) {
    session_->tell([self = shared_from_this(), call = std::move(call)](URLSessionDelegate& delegate) {
        if (!self->cancelled_) call(delegate, *self->session_, *self);
    });
}

void CurlTask::tellCompletion(const ErrorPtr& error) {
    if (std::exchange(completed_, true)) return;
    session_->tell([self = shared_from_this(), error](URLSessionDelegate& delegate) {
        const bool cancelled = self->cancelled_;  // then what came before may not have been told
        delegate.URLSessionTaskDidCompleteWithError(
            *self->session_, *self, cancelled ? makeURLError(NSURLErrorCancelled, self->request_.url) : error);
    });
}
