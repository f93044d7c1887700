#include "platform/simulated/SimulatedURLSessions.h"

#include "base/OwedAnswer.h"

#include <cerrno>
#include <system_error>
#include <utility>

namespace simulated {
namespace {

ErrorPtr urlError(NSURLErrorCode code) {
    return makeError(NSURLErrorDomain, code);
}

}  // namespace

class SimulatedURLSessions::Session final : public URLSession, public std::enable_shared_from_this<Session> {
public:
    Session(SimulatedURLSessions& owner, const URLSessionConfiguration& configuration,
            std::shared_ptr<URLSessionDelegate> delegate)
        : owner_(owner),
          configuration_(configuration),
          queue_(owner.dispatch_.makeSerialQueue("HTTP")),
          delegate_(delegate ? std::move(delegate) : std::make_shared<URLSessionDelegate>()) {}

    [[nodiscard]] const URLSessionConfiguration& configuration() const override { return configuration_; }
    [[nodiscard]] std::shared_ptr<URLSessionDataTask> dataTaskWithRequest(URLRequest request) override;
    void invalidateAndCancel() override;

private:
    friend class Task;

    SimulatedURLSessions& owner_;
    const URLSessionConfiguration configuration_;
    const std::shared_ptr<DispatchQueue> queue_;
    std::shared_ptr<URLSessionDelegate> delegate_;
    std::vector<std::weak_ptr<Task>> tasks_;
    bool isInvalid_ = false;
};

class SimulatedURLSessions::Task final : public URLSessionDataTask, public std::enable_shared_from_this<Task> {
public:
    Task(std::shared_ptr<Session> session, std::size_t identifier, URLRequest request)
        : session_(std::move(session)), identifier_(identifier), request_(std::move(request)) {}

    void resume() override {
        if (session_->isInvalid_ || std::exchange(isResumed_, true)) return;
        // The real client needs a thread for its first task, which the system may not have.
        if (session_->owner_.hasNoThread) throw std::system_error(EAGAIN, std::generic_category());
        later({}, [this] { send(request_); });
    }
    void cancel() override {
        if (session_->isInvalid_ || std::exchange(isCancelled_, true)) return;
        later({}, [this] { complete(urlError(NSURLErrorCancelled)); });
    }
    [[nodiscard]] std::size_t taskIdentifier() const override { return identifier_; }
    [[nodiscard]] const URLRequest& originalRequest() const override { return request_; }
    [[nodiscard]] bool isResumed() const { return isResumed_; }
    template <class Call>
    void tell(const Call& call) {
        if (!isCancelled_ && session_->delegate_) call(*session_->delegate_);
    }

private:
    void later(Duration delay, std::function<void()> step) {
        session_->queue_->after(delay, [self = shared_from_this(), step = std::move(step)] {
            // What was on its way when the task ended comes to nothing.
            if (!self->isCompleted_) step();
        });
    }
    /// What the server does after a time, or the time-out.
    void await(Duration delay, std::function<void()> step) {
        const auto limit = current_.timeoutInterval.value_or(session_->configuration_.timeoutIntervalForRequest);
        // The limit runs anew at each step, because it is one for silence and not for the whole task.
        if (delay < limit) return later(delay, std::move(step));
        later(limit, [this] { complete(urlError(NSURLErrorTimedOut)); });
    }
    void complete(const ErrorPtr& error) {
        isCompleted_ = true;
        if (!session_->delegate_) return;
        session_->delegate_->URLSessionTaskDidCompleteWithError(*session_, *this,
                                                                isCancelled_ ? urlError(NSURLErrorCancelled) : error);
    }

    void send(const URLRequest& request) {
        current_ = request;
        answer_ = session_->owner_.answerTo(request);
        if (answer_.trust) return askAboutTrust();
        exchange();
    }
    void exchange() {
        session_->owner_.requests.push_back(current_);
        await(answer_.untilHead, [this] { receiveHead(); });
    }
    void receiveHead() {
        if (answer_.statusCode == 0) return complete(answer_.error);
        response_ = {current_.url, answer_.statusCode, answer_.headerFields};
        if (answer_.redirection) return askAboutRedirection();
        askAboutResponse();
    }
    void askAboutTrust();
    void askAboutRedirection();
    void askAboutResponse();
    void receivePiece(std::size_t index) {
        if (index == answer_.body.size()) {
            return answer_.stalls ? await(kLongestDelay, [] {}) : complete(answer_.error);
        }
        await(answer_.betweenPieces, [this, index] {
            tell([&](auto& delegate) {
                delegate.URLSessionDataTaskDidReceiveData(*session_, *this, answer_.body[index]);
            });
            receivePiece(index + 1);
        });
    }

    const std::shared_ptr<Session> session_;
    const std::size_t identifier_;
    const URLRequest request_;
    URLRequest current_;
    SimulatedAnswer answer_;
    HTTPURLResponse response_;
    bool isResumed_ = false;
    bool isCancelled_ = false;
    bool isCompleted_ = false;
};

void SimulatedURLSessions::Task::askAboutTrust() {
    using Disposition = URLSessionAuthChallengeDisposition;
    auto handler = completionHandler(
        URLSessionDelegate::ChallengeHandler([self = shared_from_this()](auto disposition, const auto& credential) {
            const auto& trust = self->answer_.trust;
            const bool accepts =
                disposition == Disposition::useCredential && credential && credential->serverTrust == trust;
            const bool cancels = disposition == Disposition::cancelAuthenticationChallenge;
            const auto refusal = cancels ? urlError(NSURLErrorCancelled) : accepts ? nullptr : trust->evaluation;
            self->later({}, [self = self.get(), refusal] { refusal ? self->complete(refusal) : self->exchange(); });
        }),
        Disposition::performDefaultHandling, std::nullopt);
    const URLAuthenticationChallenge challenge{{"server", 443, NSURLAuthenticationMethodServerTrust, answer_.trust}};
    tell([&](auto& delegate) { delegate.URLSessionTaskDidReceiveChallenge(*session_, *this, challenge, handler); });
}

void SimulatedURLSessions::Task::askAboutRedirection() {
    auto handler = completionHandler(
        URLSessionDelegate::RedirectionHandler([self = shared_from_this()](const auto& request) {
            self->later({},
                        [self = self.get(), request] { request ? self->send(*request) : self->askAboutResponse(); });
        }),
        answer_.redirection);
    tell([&](auto& delegate) {
        delegate.URLSessionTaskWillPerformHTTPRedirection(*session_, *this, response_, *answer_.redirection, handler);
    });
}

void SimulatedURLSessions::Task::askAboutResponse() {
    auto handler = completionHandler(
        URLSessionDelegate::ResponseHandler([self = shared_from_this()](URLSessionResponseDisposition disposition) {
            self->later({}, [self = self.get(), disposition] {
                if (disposition != URLSessionResponseDisposition::cancel) return self->receivePiece(0);
                self->complete(urlError(NSURLErrorCancelled));
            });
        }),
        URLSessionResponseDisposition::allow);
    tell([&](auto& delegate) { delegate.URLSessionDataTaskDidReceiveResponse(*session_, *this, response_, handler); });
}

std::shared_ptr<URLSessionDataTask> SimulatedURLSessions::Session::dataTaskWithRequest(URLRequest request) {
    auto task = std::make_shared<Task>(shared_from_this(), tasks_.size() + 1, std::move(request));
    tasks_.emplace_back(task);
    queue_->async([self = shared_from_this(), task] {
        task->tell([&](auto& delegate) { delegate.URLSessionDidCreateTask(*self, *task); });
    });
    return task;
}

void SimulatedURLSessions::Session::invalidateAndCancel() {
    if (isInvalid_) return;
    for (const auto& weak : tasks_) {
        if (const auto task = weak.lock(); task && task->isResumed()) task->cancel();
    }
    // Behind what the tasks have to tell: this is the last that the delegate hears.
    isInvalid_ = true;
    queue_->async([self = shared_from_this()] {
        if (const auto delegate = std::exchange(self->delegate_, nullptr)) {
            delegate->URLSessionDidBecomeInvalidWithError(*self, nullptr);
        }
    });
}

std::shared_ptr<URLSession> SimulatedURLSessions::sessionWithConfiguration(
    const URLSessionConfiguration& configuration, std::shared_ptr<URLSessionDelegate> delegate) {
    configurations.push_back(configuration);
    return std::make_shared<Session>(*this, configuration, std::move(delegate));
}

std::string SimulatedURLSessions::localizedStringForStatusCode(int statusCode) {
    return "status " + std::to_string(statusCode);
}

SimulatedAnswer SimulatedURLSessions::answerTo(const URLRequest& request) {
    if (server) return server(request);
    SimulatedAnswer nobody;
    nobody.statusCode = 0;
    nobody.error = urlError(NSURLErrorCannotFindHost);
    return nobody;
}

}  // namespace simulated
