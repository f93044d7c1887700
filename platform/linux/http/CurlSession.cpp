#include "platform/linux/http/CurlSession.h"

#include "platform/linux/http/CurlTask.h"

#include <utility>

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
        const auto delegate = std::exchange(self->delegate_, nullptr);
        delegate->URLSessionDidBecomeInvalidWithError(*self, nullptr);
        self->loop_->stop();
    });
}
