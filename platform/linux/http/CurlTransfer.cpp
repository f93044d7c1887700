#include "platform/linux/http/CurlTransfer.h"

#include "base/OwedAnswer.h"
#include "base/Trimmed.h"
#include "platform/linux/http/CurlError.h"
#include "platform/linux/http/CurlSession.h"

#include <fmt/format.h>
#include <algorithm>
#include <string>
#include <utility>

namespace http {

namespace {

/// What the port promises.
constexpr int kMostRedirections = 20;
/// A redirection's own body is read up to here, so that its connection can be used again.
constexpr std::uint64_t kMostDiscarded = 64 << 10;

bool isRedirection(const HTTPURLResponse& response) {
    static constexpr std::array kRedirections{301, 302, 303, 307, 308};
    return std::ranges::count(kRedirections, response.statusCode) > 0 && response.valueForHTTPHeaderField("Location");
}

/// What may stand around a field's name and value.
constexpr std::string_view kBlanks = " \t\r\n";

}  // namespace

CurlTransfer::CurlTransfer(std::shared_ptr<CurlTask> task)
    : task_(std::move(task)), handle_(task_->session().loop().takeHandle()), request_(&task_->originalRequest()) {}

CurlTransfer::~CurlTransfer() {
    if (isRunning_) curl_multi_remove_handle(loop().multi(), easy());
}

CurlLoop& CurlTransfer::loop() const {
    return task_->session().loop();
}

void CurlTransfer::start() {
    loop().add(shared_from_this());
    beginHop();
}

void CurlTransfer::beginHop() {
    const auto& configuration = task_->session().configuration();
    timeout_ = request_->timeoutInterval.value_or(configuration.timeoutIntervalForRequest);
    if (auto error = handle_->setUp(*request_, configuration)) return finish(error);
    trust_.setUp(easy(), handle_->server());
    curl_easy_setopt(easy(), CURLOPT_PRIVATE, this);
    curl_easy_setopt(easy(), CURLOPT_ERRORBUFFER, problem_.data());
    curl_easy_setopt(easy(), CURLOPT_HEADERFUNCTION, &received<&CurlTransfer::receiveHeader>);
    curl_easy_setopt(easy(), CURLOPT_HEADERDATA, this);
    curl_easy_setopt(easy(), CURLOPT_WRITEFUNCTION, &received<&CurlTransfer::receiveBody>);
    curl_easy_setopt(easy(), CURLOPT_WRITEDATA, this);
    curl_easy_setopt(easy(), CURLOPT_XFERINFOFUNCTION, &progressed);
    curl_easy_setopt(easy(), CURLOPT_XFERINFODATA, this);
    // Bytes that go out are told of in no other way, and they keep a time-out from passing.
    curl_easy_setopt(easy(), CURLOPT_NOPROGRESS, 0L);
    problem_.front() = '\0';
    stage_ = Stage::head;
    hop_ = {};
    hop_.response.url = request_->url;
    touch();
    isRunning_ = true;
    curl_multi_add_handle(loop().multi(), easy());
}

void CurlTransfer::finish(const ErrorPtr& error) {
    if (std::exchange(stage_, Stage::finished) == Stage::finished) return;
    const auto self = shared_from_this();  // the loop lets go
    if (std::exchange(isRunning_, false)) curl_multi_remove_handle(loop().multi(), easy());
    // Before the completion is told: the delegate may start the next task there, which takes the handle.
    loop().remove(*this);
    loop().keepHandle(std::move(handle_));
    task_->complete(error);
}

void CurlTransfer::cancelled() {
    finish(makeURLError(NSURLErrorCancelled, request_->url));
}

Instant CurlTransfer::deadline() const {
    const bool isOurTurn = stage_ == Stage::undecided || stage_ == Stage::untrusted;
    return isOurTurn ? Instant::max() : lastActivity_ + std::min(timeout_, kLongestDelay);
}

void CurlTransfer::deadlinePassed() {
    const auto seconds = std::chrono::duration<double>(timeout_).count();
    finish(makeURLError(NSURLErrorTimedOut, request_->url, fmt::format("no byte for {:g} seconds", seconds)));
}

void CurlTransfer::transferEnded(CURLcode result) {
    isRunning_ = false;
    if (auto trust = trust_.takeUndecided()) return askAboutTrust(std::move(trust));
    hop_.result = result;
    if (stage_ != Stage::undecided) hopEnded();
}

void CurlTransfer::hopEnded() {
    if (hasThrown_) return finish(makeURLError(NSURLErrorUnknown, request_->url, "memory has run out"));
    if (stage_ == Stage::discarded) {
        redirected_ = std::move(nextRequest_);
        request_ = &redirected_;
        return beginHop();
    }
    if (hop_.failure) return finish(hop_.failure);
    if (hop_.result != CURLE_OK && !hop_.isEnough) {
        return finish(errorFromCurl(easy(), hop_.result, request_->url, problem_.data()));
    }
    if (stage_ == Stage::delivered) return finish(nullptr);
    if (stage_ == Stage::head) finish(makeURLError(NSURLErrorNetworkConnectionLost, request_->url, "in the head"));
}

/// After a decision, while libcurl is not at work: lets the body come, or ends the hop when libcurl has.
void CurlTransfer::goOn() {
    if (stage_ == Stage::undecided || stage_ == Stage::finished) return;
    if (!isRunning_) return hopEnded();
    // libcurl hands out what it has held back within this call, so that the body may end, or fail, before it returns.
    hop_.isPaused = false;
    hop_.result = curl_easy_pause(easy(), CURLPAUSE_CONT);
    if (hop_.result == CURLE_OK) return;
    isRunning_ = false;
    curl_multi_remove_handle(loop().multi(), easy());
    hopEnded();
}

template <class Operation, class... Arguments>
void CurlTransfer::tell(Operation operation, const Arguments&... arguments) {
    task_->tell(operation, arguments...);
    touch();  // the server is not to blame for the delegate's time
}

template <class... Answer>
auto CurlTransfer::later(void (CurlTransfer::*decided)(Answer...)) {
    return [decided, weak = weak_from_this(), task = task_](Answer... answer) {
        task->session().loop().post([decided, weak, answer...] {
            if (const auto self = weak.lock()) (self.get()->*decided)(answer...);
        });
    };
}

void CurlTransfer::askAboutTrust(std::shared_ptr<const ServerTrust> trust) {
    stage_ = Stage::untrusted;
    const auto& server = handle_->server();
    const auto handler = completionHandler(
        URLSessionDelegate::ChallengeHandler([decided = later(&CurlTransfer::trustDecided), trust](
                                                 auto disposition, const std::optional<URLCredential>& credential) {
            decided(trust, disposition, credential && credential->serverTrust == trust);
        }),
        URLSessionAuthChallengeDisposition::performDefaultHandling, std::nullopt);
    const URLAuthenticationChallenge challenge{
        {server.host, server.port, NSURLAuthenticationMethodServerTrust, std::move(trust)}};
    tell(&URLSessionDelegate::URLSessionTaskDidReceiveChallenge, challenge, handler);
}

void CurlTransfer::trustDecided(const std::shared_ptr<const ServerTrust>& trust,
                                URLSessionAuthChallengeDisposition disposition, bool hasCredential) {
    using Disposition = URLSessionAuthChallengeDisposition;
    if (stage_ != Stage::untrusted) return;
    if (disposition == Disposition::cancelAuthenticationChallenge) return cancelled();
    const bool accepts = disposition == Disposition::useCredential && hasCredential;
    if (!accepts && trust->evaluation) return finish(trust->evaluation);
    trust_.accept(*trust);
    beginHop();
}

void CurlTransfer::askAboutRedirection() {
    const auto handler = completionHandler(
        URLSessionDelegate::RedirectionHandler(later(&CurlTransfer::redirectionDecided)), nextRequest_);
    stage_ = Stage::undecided;
    tell(&URLSessionDelegate::URLSessionTaskWillPerformHTTPRedirection, hop_.response, nextRequest_, handler);
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
    tell(&URLSessionDelegate::URLSessionDataTaskDidReceiveResponse, hop_.response, handler);
}

void CurlTransfer::responseDecided(URLSessionResponseDisposition disposition) {
    if (stage_ != Stage::undecided) return;
    // The end comes by a task of the loop: libcurl may be at work now.
    if (disposition == URLSessionResponseDisposition::cancel) task_->cancel();
    stage_ = Stage::delivered;
    touch();
    // Else libcurl is in the midst of the head and goes on by itself.
    if (!isRunning_ || hop_.isPaused) later (&CurlTransfer::goOn)();
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

template <auto receive>
std::size_t CurlTransfer::received(const char* bytes, std::size_t size, std::size_t count, void* self) noexcept {
    return calledBack(self, std::size_t{0}, [&](CurlTransfer& transfer) -> std::size_t {
        transfer.touch();
        (transfer.*receive)({bytes, size * count});
        if (transfer.hop_.isPaused) return CURL_WRITEFUNC_PAUSE;
        return transfer.hop_.failure || transfer.hop_.isEnough ? 0 : size * count;
    });
}

int CurlTransfer::progressed(void* self, curl_off_t /*toReceive*/, curl_off_t received, curl_off_t /*toSend*/,
                             curl_off_t sent) noexcept {
    return calledBack(self, 1, [&](CurlTransfer& transfer) {
        if (std::exchange(transfer.hop_.moved, received + sent) != received + sent) transfer.touch();
        transfer.tellSent(sent);
        return 0;
    });
}

/// Ends the hop once libcurl hears of it.
void CurlTransfer::fail(NSURLErrorCode code, const std::string& detail) {
    hop_.failure = makeURLError(code, request_->url, detail);
}

void CurlTransfer::receiveHeader(std::string_view line) {
    hop_.headSize += line.size();
    if (hop_.headSize > task_->session().configuration().maximumHeaderSize) {
        return fail(NSURLErrorDataLengthExceedsMaximum, "its head");
    }
    if (stage_ != Stage::head) return;  // a trailer, which counts in the size and for nothing else
    const auto text = trimmed(line, kBlanks);
    if (line.starts_with(' ') || line.starts_with('\t')) {
        hop_.field.append(" ").append(text);
        return;
    }
    takeField();
    hop_.field = text;
    if (text.empty()) headEnded();
}

/// A field counts when the next line has shown that it does not go on there (RFC 9112, section 5.2).
void CurlTransfer::takeField() {
    const std::string_view field = hop_.field;
    const auto colon = field.find(':');
    if (field.starts_with("HTTP/") || colon == std::string_view::npos) return;
    hop_.response.allHeaderFields.addValue(std::string(trimmed(field.substr(colon + 1), kBlanks)),
                                           std::string(trimmed(field.substr(0, colon), kBlanks)));
}

void CurlTransfer::headEnded() {
    long status = 0;
    curl_easy_getinfo(easy(), CURLINFO_RESPONSE_CODE, &status);
    // A short body may have gone out with no progress told in between.
    curl_off_t sent = 0;
    curl_easy_getinfo(easy(), CURLINFO_SIZE_UPLOAD_T, &sent);
    tellSent(sent);
    auto& response = hop_.response;
    response.statusCode = static_cast<int>(status);
    hop_.isEnough = status == 101;  // what follows is another protocol
    if (status < 200 && !hop_.isEnough) {
        tell(&URLSessionDelegate::URLSessionTaskDidReceiveInformationalResponse, response);
        // The real response follows, with fields of its own.
        response = {request_->url, 0, {}};
        return;
    }
    if (!isRedirection(response)) return askAboutResponse();
    if (redirections_ == kMostRedirections) return fail(NSURLErrorHTTPTooManyRedirects, {});
    hop_.failure = redirectedRequest(*request_, response, nextRequest_);
    if (!hop_.failure) askAboutRedirection();
}

void CurlTransfer::receiveBody(std::string_view bytes) {
    hop_.isPaused = stage_ == Stage::undecided;
    if (hop_.isPaused) return;
    hop_.bodySize += bytes.size();
    if (stage_ == Stage::discarded) {
        hop_.isEnough = hop_.bodySize > kMostDiscarded;
    } else if (hop_.bodySize > task_->session().configuration().maximumResponseSize) {
        fail(NSURLErrorDataLengthExceedsMaximum, "its body");
    } else {
        tell(&URLSessionDelegate::URLSessionDataTaskDidReceiveData, bytes);
    }
}

void CurlTransfer::tellSent(std::int64_t sent) {
    if (sent <= hop_.sent) return;
    const auto count = sent - std::exchange(hop_.sent, sent);
    const auto expected = static_cast<std::int64_t>(request_->httpBody ? request_->httpBody->size() : 0);
    tell(&URLSessionDelegate::URLSessionTaskDidSendBodyData, count, sent, expected);
}

}  // namespace http
