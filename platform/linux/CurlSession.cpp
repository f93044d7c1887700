#include "platform/linux/CurlSession.h"

#include "platform/linux/CurlTask.h"

#include <utility>

/// A task of the queue that makes the calls. Calls hold the session that holds them, so one that is dropped with its
/// queue drops them.
class CurlSession::Turn {
public:
    explicit Turn(std::shared_ptr<CurlSession> session) : session_(std::move(session)) {}
    ~Turn() {
        if (session_) session_->takeCalls();
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    void run() { std::exchange(session_, nullptr)->makeCalls(); }

private:
    std::shared_ptr<CurlSession> session_;
};

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
        self->tell([self](URLSessionDelegate& delegate) {
            delegate.URLSessionDidBecomeInvalidWithError(*self, nullptr);
            self->delegate_.reset();
        });
        self->loop_->stop();
    });
}

void CurlSession::tell(Call call) {
    {
        const std::lock_guard lock(mutex_);
        calls_.push_back(std::move(call));
        if (calls_.size() > 1) return;
    }
    queue_->async([turn = std::make_shared<Turn>(shared_from_this())] { turn->run(); });
}

std::vector<CurlSession::Call> CurlSession::takeCalls() {
    const std::lock_guard lock(mutex_);
    return std::exchange(calls_, {});
}

void CurlSession::makeCalls() {
    for (const auto& call : takeCalls()) {
        if (const auto delegate = delegate_) call(*delegate);
    }
}
