#include "platform/linux/http/CurlSession.h"

#include "platform/linux/http/CurlTask.h"

#include <utility>

/// A task of the loop that makes the calls. Calls hold the session that holds them, so one that is dropped with its
/// loop drops them.
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
        for (const auto& each : self->begun_) {
            if (const auto task = each.lock()) task->sessionEnded();
        }
        while (self->makeCalls()) {
        }
        const auto delegate = std::exchange(self->delegate_, nullptr);
        delegate->URLSessionDidBecomeInvalidWithError(*self, nullptr);
        self->loop_->stop();
    });
}

void CurlSession::begun(const std::shared_ptr<CurlTask>& task) {
    std::erase_if(begun_, [](const auto& each) { return each.expired(); });
    begun_.push_back(task);
}

void CurlSession::tell(Call call) {
    {
        const std::lock_guard lock(mutex_);
        calls_.push_back(std::move(call));
        if (calls_.size() > 1) return;
    }
    loop_->post([turn = std::make_shared<Turn>(shared_from_this())] { turn->run(); });
}

std::vector<CurlSession::Call> CurlSession::takeCalls() {
    const std::lock_guard lock(mutex_);
    return std::exchange(calls_, {});
}

bool CurlSession::makeCalls() {
    const auto calls = takeCalls();
    for (const auto& call : calls) {
        if (const auto delegate = delegate_) call(*delegate);
    }
    return !calls.empty();
}
