#include "platform/linux/CurlSession.h"

#include "platform/linux/CurlTask.h"

#include <utility>

CurlSession::CurlSession(const URLSessionConfiguration& configuration, std::shared_ptr<URLSessionDelegate> delegate,
                         std::shared_ptr<DispatchQueue> queue, std::shared_ptr<CurlLoop> loop)
    : configuration_(configuration),
      queue_(std::move(queue)),
      loop_(std::move(loop)),
      delegate_(delegate ? std::move(delegate) : std::make_shared<URLSessionDelegate>()) {}

std::shared_ptr<URLSessionDataTask> CurlSession::dataTaskWithRequest(URLRequest request) {
    auto task = std::make_shared<CurlTask>(shared_from_this(), ++tasks_, std::move(request));
    tell([session = shared_from_this(), task](auto& delegate) { delegate.URLSessionDidCreateTask(*session, *task); });
    return task;
}

void CurlSession::invalidateAndCancel() {
    if (invalidated_.exchange(true)) return;
    loop_->post([self = shared_from_this()] {
        self->loop_->cancelAll();
        self->queue_->async([self] {
            if (const auto delegate = std::exchange(self->delegate_, nullptr)) {
                delegate->URLSessionDidBecomeInvalidWithError(*self, nullptr);
            }
        });
        self->loop_->stop();
    });
}

void CurlSession::tell(std::function<void(URLSessionDelegate&)> call) {
    queue_->async([self = shared_from_this(), call = std::move(call)] {
        if (const auto delegate = self->delegate_) call(*delegate);
    });
}
