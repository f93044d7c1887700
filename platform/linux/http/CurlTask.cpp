#include "platform/linux/http/CurlTask.h"

#include "base/OwedAnswer.h"
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

void CurlTask::sessionEnded() {
    cancelled_ = true;
    end();
}

/// Not when it is made: the session's thread would be woken up twice for each task.
void CurlTask::announce() {
    if (std::exchange(announced_, true)) return;
    tell([](auto& delegate, auto& session, auto& task) { delegate.URLSessionDidCreateTask(session, task); });
}

void CurlTask::begin() {
    if (completed_) return;
    session_->begun(shared_from_this());
    announce();
    const auto transfer = std::make_shared<CurlTransfer>(shared_from_this());
    transfer_ = transfer;
    transfer->start();
}

void CurlTask::end() {
    if (const auto transfer = transfer_.lock()) transfer->cancelled();
    tellCompletion(makeURLError(NSURLErrorCancelled, request_.url));
    session_->tell([self = shared_from_this()](auto& delegate) { self->callWaiting(delegate); });
}

void CurlTask::append(Call call) {
    session_->tell([self = shared_from_this(), call = std::move(call)](URLSessionDelegate& delegate) mutable {
        self->waiting_.push_back(std::move(call));
        self->callWaiting(delegate);
    });
}

void CurlTask::callWaiting(URLSessionDelegate& delegate) {
    while (!waiting_.empty() && (!isUndecided_ || cancelled_)) {
        const auto call = std::move(waiting_.front());
        waiting_.pop_front();
        call(delegate, *this);
    }
}

void CurlTask::tell(std::function<void(URLSessionDelegate&, URLSession&, CurlTask&)> call) {
    append([call = std::move(call)](URLSessionDelegate& delegate, CurlTask& task) {
        if (!task.cancelled_) call(delegate, *task.session_, task);
    });
}

void CurlTask::tellResponse(HTTPURLResponse response) {
    tell([response = std::move(response)](URLSessionDelegate& delegate, URLSession& session, CurlTask& task) {
        task.isUndecided_ = true;
        const auto handler = completionHandler(
            URLSessionDelegate::ResponseHandler([self = task.shared_from_this()](auto disposition) {
                self->session_->tell([self, disposition](auto& owner) { self->decided(disposition, owner); });
            }),
            URLSessionResponseDisposition::allow);
        delegate.URLSessionDataTaskDidReceiveResponse(session, task, response, handler);
    });
}

void CurlTask::decided(URLSessionResponseDisposition disposition, URLSessionDelegate& delegate) {
    decidedAt_ = Instant::clock::now();
    isUndecided_ = false;
    if (disposition == URLSessionResponseDisposition::cancel) cancel();
    callWaiting(delegate);
}

void CurlTask::tellCompletion(const ErrorPtr& error) {
    if (std::exchange(completed_, true)) return;
    append([error](URLSessionDelegate& delegate, CurlTask& task) {
        const bool cancelled = task.cancelled_;  // then what came before may not have been told
        delegate.URLSessionTaskDidCompleteWithError(
            *task.session_, task, cancelled ? makeURLError(NSURLErrorCancelled, task.request_.url) : error);
    });
}
