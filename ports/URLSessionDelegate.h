#pragma once

#include "base/Error.h"
#include "ports/HTTP.h"
#include "ports/URLSession.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class CachedURLResponse;
class InputStream;
class URLSessionDownloadTask;
class URLSessionStreamTask;
class URLSessionTaskMetrics;

inline constexpr const char* NSURLAuthenticationMethodServerTrust = "NSURLAuthenticationMethodServerTrust";

/// The certificates that a server has shown, and what the system thinks of them.
struct ServerTrust {
    std::vector<std::string> certificates;  ///< DER; the server's own first
    ErrorPtr evaluation;                    ///< why the system refuses them for this host; null when it trusts them
};

/// Who asks, and for what.
struct URLProtectionSpace {
    std::string host;
    int port = 0;
    std::string authenticationMethod;
    std::shared_ptr<const ServerTrust> serverTrust;  ///< with `NSURLAuthenticationMethodServerTrust`, else null
};

struct URLAuthenticationChallenge {
    URLProtectionSpace protectionSpace;
};

/// An answer to a challenge: one made from the challenge's server trust accepts its certificates, whatever they are.
struct URLCredential {
    std::shared_ptr<const ServerTrust> serverTrust;
};

enum class URLSessionAuthChallengeDisposition {
    useCredential,  ///< without a credential: as `performDefaultHandling`
    performDefaultHandling,
    cancelAuthenticationChallenge,  ///< the task completes with `NSURLErrorCancelled`
    rejectProtectionSpace,          ///< as `performDefaultHandling`: there is only one protection space
};

enum class URLSessionDelayedRequestDisposition { continueLoading, useNewRequest, cancel };

enum class URLSessionResponseDisposition {
    cancel,  ///< the task completes with `NSURLErrorCancelled`
    allow,
    becomeDownload,  ///< as `allow`: there are no such tasks here
    becomeStream,    ///< as `allow`
};

/// Hears what happens to a session and its tasks, and decides where it is asked. Every operation has an
/// implementation of its own, which is the default for a delegate that does not care: it allows, follows, leaves
/// certificates to the system, and ignores. So a proxy forwards when it has somebody to forward to and calls
/// the base's otherwise.
///
/// A task's normal sequence: `didCreateTask`; for a new https connection `didReceiveChallenge`; `didSendBodyData` while
/// the body goes out; `didReceiveResponse`; `didReceiveData` any number of times; `didCompleteWithError`.
///
/// All operations run on the session's delegate queue, one at a time and in order. What they throw ends the process:
/// nobody on that queue could answer for it. Session and task are lent for the call. Operations that ask take a
/// completion handler: it may be called later and from any thread; the task waits for it, others go on. Only its first
/// call counts; when it is dropped without one, the default is the answer.
///
/// Some operations never come on the platforms there are now; they are here because proxies forward them.
class URLSessionDelegate {
public:
    using ChallengeHandler = std::function<void(URLSessionAuthChallengeDisposition, std::optional<URLCredential>)>;
    using DelayedRequestHandler =
        std::function<void(URLSessionDelayedRequestDisposition, std::optional<URLRequest> newRequest)>;
    using RedirectionHandler = std::function<void(std::optional<URLRequest>)>;
    using ResponseHandler = std::function<void(URLSessionResponseDisposition)>;
    using BodyStreamHandler = std::function<void(std::shared_ptr<InputStream>)>;
    using CacheHandler = std::function<void(std::shared_ptr<const CachedURLResponse>)>;

    virtual ~URLSessionDelegate() = default;

    /// `URLSession:didBecomeInvalidWithError:`: the last call; no error when the session was invalidated on purpose.
    virtual void URLSessionDidBecomeInvalidWithError(URLSession& /*session*/, const ErrorPtr& /*error*/) {}

    /// `URLSession:didReceiveChallenge:completionHandler:`. Never comes: every challenge is put to the task's
    /// operation.
    virtual void URLSessionDidReceiveChallenge(URLSession& /*session*/, const URLAuthenticationChallenge& /*challenge*/,
                                               const ChallengeHandler& completionHandler) {
        completionHandler(URLSessionAuthChallengeDisposition::performDefaultHandling, std::nullopt);
    }

    /// `URLSessionDidFinishEventsForBackgroundURLSession:`. Never comes: there are no background sessions.
    virtual void URLSessionDidFinishEventsForBackgroundURLSession(URLSession& /*session*/) {}

    /// `URLSession:didCreateTask:`: a task was made. The first that is told of a task, once it is resumed.
    virtual void URLSessionDidCreateTask(URLSession& /*session*/, URLSessionTask& /*task*/) {}

    /// `URLSession:task:willBeginDelayedRequest:completionHandler:`. Never comes: only background sessions delay.
    virtual void URLSessionTaskWillBeginDelayedRequest(URLSession& /*session*/, URLSessionTask& /*task*/,
                                                       const URLRequest& /*request*/,
                                                       const DelayedRequestHandler& completionHandler) {
        completionHandler(URLSessionDelayedRequestDisposition::continueLoading, std::nullopt);
    }

    /// `URLSession:taskIsWaitingForConnectivity:`. Never comes: a task that cannot connect fails.
    virtual void URLSessionTaskIsWaitingForConnectivity(URLSession& /*session*/, URLSessionTask& /*task*/) {}

    /// `URLSession:task:willPerformHTTPRedirection:newRequest:completionHandler:`: the server sends the task on to
    /// another URL. Answer the proposed request, another one, or nothing: then the redirection itself is the response.
    virtual void URLSessionTaskWillPerformHTTPRedirection(URLSession& /*session*/, URLSessionTask& /*task*/,
                                                          const HTTPURLResponse& /*response*/,
                                                          const URLRequest& newRequest,
                                                          const RedirectionHandler& completionHandler) {
        completionHandler(newRequest);
    }

    /// `URLSession:task:didReceiveChallenge:completionHandler:`: a server on a new connection has shown its
    /// certificates. No byte of the request has been sent; the answer decides whether any will be.
    virtual void URLSessionTaskDidReceiveChallenge(URLSession& /*session*/, URLSessionTask& /*task*/,
                                                   const URLAuthenticationChallenge& /*challenge*/,
                                                   const ChallengeHandler& completionHandler) {
        completionHandler(URLSessionAuthChallengeDisposition::performDefaultHandling, std::nullopt);
    }

    /// `URLSession:task:needNewBodyStream:`. Never comes: bodies are bytes.
    virtual void URLSessionTaskNeedNewBodyStream(URLSession& /*session*/, URLSessionTask& /*task*/,
                                                 const BodyStreamHandler& completionHandler) {
        completionHandler(nullptr);
    }

    /// `URLSession:task:needNewBodyStreamFromOffset:completionHandler:`. Never comes: bodies are bytes.
    virtual void URLSessionTaskNeedNewBodyStreamFromOffset(URLSession& /*session*/, URLSessionTask& /*task*/,
                                                           std::int64_t /*offset*/,
                                                           const BodyStreamHandler& completionHandler) {
        completionHandler(nullptr);
    }

    /// `URLSession:task:didSendBodyData:totalBytesSent:totalBytesExpectedToSend:`: bytes of the request's body since
    /// the last call, since this request began, and in all. They are in the system's hands, not yet with the server.
    virtual void URLSessionTaskDidSendBodyData(URLSession& /*session*/, URLSessionTask& /*task*/,
                                               std::int64_t /*bytesSent*/, std::int64_t /*totalBytesSent*/,
                                               std::int64_t /*totalBytesExpectedToSend*/) {}

    /// `URLSession:task:didReceiveInformationalResponse:`: a response with a status of 100 to 199, other than 101, came
    /// ahead of the real one.
    virtual void URLSessionTaskDidReceiveInformationalResponse(URLSession& /*session*/, URLSessionTask& /*task*/,
                                                               const HTTPURLResponse& /*response*/) {}

    /// `URLSession:task:didFinishCollectingMetrics:`. Never comes: none are collected.
    virtual void URLSessionTaskDidFinishCollectingMetrics(URLSession& /*session*/, URLSessionTask& /*task*/,
                                                          const URLSessionTaskMetrics& /*metrics*/) {}

    /// `URLSession:task:didCompleteWithError:`: the task's last call, with no error when a response came whole,
    /// whatever its status.
    virtual void URLSessionTaskDidCompleteWithError(URLSession& /*session*/, URLSessionTask& /*task*/,
                                                    const ErrorPtr& /*error*/) {}

    /// `URLSession:dataTask:didReceiveResponse:completionHandler:`: the head of the response has come. Its body waits
    /// for the answer.
    virtual void URLSessionDataTaskDidReceiveResponse(URLSession& /*session*/, URLSessionDataTask& /*dataTask*/,
                                                      const HTTPURLResponse& /*response*/,
                                                      const ResponseHandler& completionHandler) {
        completionHandler(URLSessionResponseDisposition::allow);
    }

    /// `URLSession:dataTask:didBecomeDownloadTask:`. Never comes: a response is allowed or cancelled.
    virtual void URLSessionDataTaskDidBecomeDownloadTask(URLSession& /*session*/, URLSessionDataTask& /*dataTask*/,
                                                         URLSessionDownloadTask& /*downloadTask*/) {}

    /// `URLSession:dataTask:didBecomeStreamTask:`. Never comes: a response is allowed or cancelled.
    virtual void URLSessionDataTaskDidBecomeStreamTask(URLSession& /*session*/, URLSessionDataTask& /*dataTask*/,
                                                       URLSessionStreamTask& /*streamTask*/) {}

    /// `URLSession:dataTask:didReceiveData:`: the next bytes of the response's body, lent for the call. A delegate that
    /// takes its time slows the server down; the bytes do not pile up.
    virtual void URLSessionDataTaskDidReceiveData(URLSession& /*session*/, URLSessionDataTask& /*dataTask*/,
                                                  std::string_view /*data*/) {}

    /// `URLSession:dataTask:willCacheResponse:completionHandler:`. Never comes: nothing is cached.
    virtual void URLSessionDataTaskWillCacheResponse(URLSession& /*session*/, URLSessionDataTask& /*dataTask*/,
                                                     const std::shared_ptr<const CachedURLResponse>& proposedResponse,
                                                     const CacheHandler& completionHandler) {
        completionHandler(proposedResponse);
    }
};
