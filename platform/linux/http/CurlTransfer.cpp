#include "platform/linux/http/CurlTransfer.h"

#include "base/OwedAnswer.h"
#include "platform/linux/http/CurlError.h"
#include "platform/linux/http/CurlTask.h"

#include <fmt/format.h>
#include <algorithm>
#include <string>
#include <utility>

namespace {

constexpr int kMostRedirections = 20;
/// A redirection's own body is read up to here, so that its connection can be used again.
constexpr std::uint64_t kMostDiscarded = 64 << 10;

bool isRedirection(const HTTPURLResponse& response) {
    static constexpr std::array kRedirections{301, 302, 303, 307, 308};
    const bool is = std::find(kRedirections.begin(), kRedirections.end(), response.statusCode) != kRedirections.end();
    return is && response.valueForHTTPHeaderField("Location").has_value();
}

bool isBlank(char letter) {
    return letter == ' ' || letter == '\t' || letter == '\r' || letter == '\n';
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
}

}  // namespace

CurlTransfer::CurlTransfer(std::shared_ptr<CurlTask> task)
    : task_(std::move(task)), handle_(task_->session().loop().takeHandle()), request_(&task_->originalRequest()) {}

CurlTransfer::~CurlTransfer() {
    if (isRunning_) curl_multi_remove_handle(task_->session().loop().multi(), easy());
}

void CurlTransfer::start() {
    task_->session().loop().add(shared_from_this());
    beginHop();
}

void CurlTransfer::beginHop() {
    const auto& configuration = task_->session().configuration();
    timeout_ = request_->timeoutInterval.value_or(configuration.timeoutIntervalForRequest);
    if (auto error = handle_->setUp(*request_, configuration)) return finish(error);
    trust_.setUp(easy(), handle_->server());
    curl_easy_setopt(easy(), CURLOPT_PRIVATE, static_cast<CurlLoopClient*>(this));
    curl_easy_setopt(easy(), CURLOPT_ERRORBUFFER, problem_.data());
    curl_easy_setopt(easy(), CURLOPT_HEADERFUNCTION, &receivedHeader);
    curl_easy_setopt(easy(), CURLOPT_HEADERDATA, this);
    curl_easy_setopt(easy(), CURLOPT_WRITEFUNCTION, &receivedBody);
    curl_easy_setopt(easy(), CURLOPT_WRITEDATA, this);
    curl_easy_setopt(easy(), CURLOPT_XFERINFOFUNCTION, &progressed);
    curl_easy_setopt(easy(), CURLOPT_XFERINFODATA, this);
    curl_easy_setopt(easy(), CURLOPT_NOPROGRESS, 0L);
    handOver();
}

void CurlTransfer::handOver() {
    problem_.front() = '\0';
    stage_ = Stage::head;
    response_ = {request_->url, 0, {}};
    field_.clear();
    headSize_ = 0;
    bodySize_ = 0;
    sent_ = 0;
    moved_ = 0;
    isPaused_ = false;
    failure_ = nullptr;
    endsWithHead_ = false;
    touch();
    isRunning_ = true;
    curl_multi_add_handle(task_->session().loop().multi(), easy());
}

void CurlTransfer::finish(const ErrorPtr& error) {
    if (std::exchange(stage_, Stage::finished) == Stage::finished) return;
    const auto self = shared_from_this();  // the loop lets go
    auto& loop = task_->session().loop();
    if (std::exchange(isRunning_, false)) curl_multi_remove_handle(loop.multi(), easy());
    loop.remove(*this);
    loop.keepHandle(std::move(handle_));
    task_->complete(error);
}

void CurlTransfer::cancelled() {
    finish(makeURLError(NSURLErrorCancelled, request_->url));
}

std::optional<Instant> CurlTransfer::deadline() const {
    const bool isOurTurn = stage_ == Stage::undecided || isAskedForTrust_;
    return isOurTurn ? std::nullopt : std::optional(lastActivity_ + std::min(timeout_, kLongestDelay));
}

void CurlTransfer::deadlinePassed() {
    const auto seconds = std::chrono::duration<double>(timeout_).count();
    finish(makeURLError(NSURLErrorTimedOut, request_->url, fmt::format("no byte for {:g} seconds", seconds)));
}

void CurlTransfer::transferEnded(CURLcode result) {
    isRunning_ = false;
    if (auto trust = trust_.takeUndecided()) return askAboutTrust(std::move(trust));
    result_ = result;
    if (stage_ != Stage::undecided) hopEnded();
}

void CurlTransfer::hopEnded() {
    if (hasThrown_) return finish(makeURLError(NSURLErrorUnknown, request_->url, "memory has run out"));
    if (stage_ == Stage::discarded) {
        redirected_ = std::move(nextRequest_);
        request_ = &redirected_;
        return beginHop();
    }
    if (failure_) return finish(failure_);
    if (result_ != CURLE_OK && !endsWithHead_) {
        return finish(errorFromCurl(easy(), result_, request_->url, problem_.data()));
    }
    if (stage_ == Stage::delivered) return finish(nullptr);
    if (stage_ == Stage::head) finish(makeURLError(NSURLErrorNetworkConnectionLost, request_->url, "in the head"));
}

/// After a decision, while libcurl is not at work: lets the body come, or ends the hop when libcurl has.
void CurlTransfer::goOn() {
    if (stage_ == Stage::undecided || stage_ == Stage::finished) return;
    if (!isRunning_) return hopEnded();
    isPaused_ = false;
    result_ = curl_easy_pause(easy(), CURLPAUSE_CONT);
    if (result_ == CURLE_OK) return;
    isRunning_ = false;
    curl_multi_remove_handle(task_->session().loop().multi(), easy());
    hopEnded();
}

template <class Operation, class... Arguments>
void CurlTransfer::tell(Operation operation, const Arguments&... arguments) {
    task_->tell(operation, arguments...);
    touch();  // the server is not to blame for the delegate's time
}

void CurlTransfer::askAboutTrust(std::shared_ptr<const ServerTrust> trust) {
    isAskedForTrust_ = true;
    const auto& server = handle_->server();
    const auto handler = completionHandler(
        URLSessionDelegate::ChallengeHandler([weak = weak_from_this(), task = task_, trust](
                                                 auto disposition, const std::optional<URLCredential>& credential) {
            const bool hasCredential = credential && credential->serverTrust == trust;
            task->session().loop().post([weak, trust, disposition, hasCredential] {
                if (const auto self = weak.lock()) self->trustDecided(*trust, disposition, hasCredential);
            });
        }),
        URLSessionAuthChallengeDisposition::performDefaultHandling, std::nullopt);
    const URLAuthenticationChallenge challenge{
        {server.host, server.port, NSURLAuthenticationMethodServerTrust, std::move(trust)}};
    tell(&URLSessionDelegate::URLSessionTaskDidReceiveChallenge, challenge, handler);
}

void CurlTransfer::trustDecided(const ServerTrust& trust, URLSessionAuthChallengeDisposition disposition,
                                bool hasCredential) {
    using Disposition = URLSessionAuthChallengeDisposition;
    if (!std::exchange(isAskedForTrust_, false)) return;
    if (disposition == Disposition::cancelAuthenticationChallenge) return cancelled();
    const bool accepts = disposition == Disposition::useCredential && hasCredential;
    if (!accepts && trust.evaluation) return finish(trust.evaluation);
    trust_.accept(trust);
    handOver();
}

void CurlTransfer::askAboutRedirection() {
    const auto handler =
        completionHandler(URLSessionDelegate::RedirectionHandler(
                              [weak = weak_from_this(), task = task_](std::optional<URLRequest> request) {
                                  task->session().loop().post([weak, request = std::move(request)] {
                                      if (const auto self = weak.lock()) self->redirectionDecided(request);
                                  });
                              }),
                          nextRequest_);
    stage_ = Stage::undecided;
    tell(&URLSessionDelegate::URLSessionTaskWillPerformHTTPRedirection, response_, nextRequest_, handler);
}

void CurlTransfer::redirectionDecided(std::optional<URLRequest> request) {
    if (stage_ != Stage::undecided) return;
    if (!request) return askAboutResponse();
    nextRequest_ = std::move(*request);
    ++redirections_;
    stage_ = Stage::discarded;
    touch();
    goOn();
}

/// Most delegates answer at once: then nothing has to wait.
void CurlTransfer::askAboutResponse() {
    const auto handler = completionHandler(
        URLSessionDelegate::ResponseHandler([weak = weak_from_this(), task = task_](auto disposition) {
            task->session().loop().run([weak, disposition] {
                if (const auto self = weak.lock()) self->responseDecided(disposition);
            });
        }),
        URLSessionResponseDisposition::allow);
    stage_ = Stage::undecided;
    tell(&URLSessionDelegate::URLSessionDataTaskDidReceiveResponse, response_, handler);
}

void CurlTransfer::responseDecided(URLSessionResponseDisposition disposition) {
    if (stage_ != Stage::undecided) return;
    if (disposition == URLSessionResponseDisposition::cancel) task_->cancel();
    stage_ = Stage::delivered;
    touch();
    if (isRunning_ && !isPaused_) return;
    task_->session().loop().post([weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->goOn();
    });
}

template <class Result, class Call>
Result CurlTransfer::calledBack(void* self, Result onFailure, const Call& call) noexcept {
    auto& transfer = *static_cast<CurlTransfer*>(self);
    try {
        return call(transfer);
    } catch (...) {
        transfer.hasThrown_ = true;
        return onFailure;
    }
}

std::size_t CurlTransfer::receivedHeader(const char* bytes, std::size_t size, std::size_t count, void* self) noexcept {
    return calledBack(self, std::size_t{0}, [&](CurlTransfer& transfer) {
        return transfer.receiveHeader({bytes, size * count}) ? size * count : 0;
    });
}

std::size_t CurlTransfer::receivedBody(const char* bytes, std::size_t size, std::size_t count, void* self) noexcept {
    return calledBack(self, std::size_t{0}, [&](CurlTransfer& transfer) {
        return transfer.receiveBody({bytes, size * count});
    });
}

int CurlTransfer::progressed(void* self, curl_off_t /*toReceive*/, curl_off_t received, curl_off_t /*toSend*/,
                             curl_off_t sent) noexcept {
    return calledBack(self, 1, [&](CurlTransfer& transfer) {
        if (std::exchange(transfer.moved_, received + sent) != received + sent) transfer.touch();
        transfer.tellSent(sent);
        return 0;
    });
}

bool CurlTransfer::fail(NSURLErrorCode code, const std::string& detail) {
    failure_ = makeURLError(code, request_->url, detail);
    return false;
}

bool CurlTransfer::receiveHeader(std::string_view line) {
    touch();
    headSize_ += line.size();
    if (headSize_ > task_->session().configuration().maximumHeaderSize) {
        return fail(NSURLErrorDataLengthExceedsMaximum, "its head");
    }
    if (stage_ != Stage::head) return true;  // a trailer
    if (line.starts_with(' ') || line.starts_with('\t')) {
        field_.append(" ").append(trimmed(line));
        return true;
    }
    takeField();
    field_ = trimmed(line);
    return !field_.empty() || headEnded();
}

/// A field counts when the next line has shown that it does not go on there (RFC 9112, section 5.2).
void CurlTransfer::takeField() {
    const std::string_view field = field_;
    const auto colon = field.find(':');
    if (field.starts_with("HTTP/") || colon == std::string_view::npos) return;
    response_.allHeaderFields.addValue(std::string(trimmed(field.substr(colon + 1))),
                                       std::string(trimmed(field.substr(0, colon))));
}

bool CurlTransfer::headEnded() {
    long status = 0;
    curl_easy_getinfo(easy(), CURLINFO_RESPONSE_CODE, &status);
    curl_off_t sent = 0;
    curl_easy_getinfo(easy(), CURLINFO_SIZE_UPLOAD_T, &sent);
    tellSent(sent);
    response_.statusCode = static_cast<int>(status);
    endsWithHead_ = status == 101;  // what follows is another protocol
    if (status < 200 && !endsWithHead_) {
        tell(&URLSessionDelegate::URLSessionTaskDidReceiveInformationalResponse, response_);
        response_ = {request_->url, 0, {}};
        return true;
    }
    if (!isRedirection(response_)) {
        askAboutResponse();
        return !endsWithHead_;
    }
    if (redirections_ == kMostRedirections) return fail(NSURLErrorHTTPTooManyRedirects, {});
    failure_ = redirectedRequest(*request_, response_, nextRequest_);
    if (failure_) return false;
    askAboutRedirection();
    return true;
}

std::size_t CurlTransfer::receiveBody(std::string_view bytes) {
    touch();
    isPaused_ = stage_ == Stage::undecided;
    if (isPaused_) return CURL_WRITEFUNC_PAUSE;
    bodySize_ += bytes.size();
    if (stage_ == Stage::discarded) return bodySize_ <= kMostDiscarded ? bytes.size() : 0;
    if (bodySize_ > task_->session().configuration().maximumResponseSize) {
        fail(NSURLErrorDataLengthExceedsMaximum, "its body");
        return 0;
    }
    tell(&URLSessionDelegate::URLSessionDataTaskDidReceiveData, bytes);
    return bytes.size();
}

void CurlTransfer::tellSent(std::int64_t sent) {
    if (sent <= sent_) return;
    const auto count = sent - std::exchange(sent_, sent);
    const auto expected = static_cast<std::int64_t>(request_->httpBody ? request_->httpBody->size() : 0);
    tell(&URLSessionDelegate::URLSessionTaskDidSendBodyData, count, sent, expected);
}
