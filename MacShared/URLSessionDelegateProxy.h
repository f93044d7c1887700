#pragma once

#include "ports/URLSessionDelegate.h"

/// Stands between a session, which keeps its delegate strongly, and the real delegate, so that the session does not
/// keep that alive. Forwards every operation; once the delegate is gone each has its default outcome.
class URLSessionDelegateProxy final : public URLSessionDelegate {
public:
    /// `initWithDelegate:`
    explicit URLSessionDelegateProxy(std::weak_ptr<URLSessionDelegate> delegate) : delegate_(std::move(delegate)) {}

    [[nodiscard]] std::shared_ptr<URLSessionDelegate> delegate() const { return delegate_.lock(); }

    void URLSessionDidBecomeInvalidWithError(URLSession& session, const ErrorPtr& error) override;
    void URLSessionDidReceiveChallenge(URLSession& session, const URLAuthenticationChallenge& challenge,
                                       const ChallengeHandler& completionHandler) override;
    void URLSessionDidFinishEventsForBackgroundURLSession(URLSession& session) override;
    void URLSessionDidCreateTask(URLSession& session, URLSessionTask& task) override;
    void URLSessionTaskWillBeginDelayedRequest(URLSession& session, URLSessionTask& task, const URLRequest& request,
                                               const DelayedRequestHandler& completionHandler) override;
    void URLSessionTaskIsWaitingForConnectivity(URLSession& session, URLSessionTask& task) override;
    void URLSessionTaskWillPerformHTTPRedirection(URLSession& session, URLSessionTask& task,
                                                  const HTTPURLResponse& response, const URLRequest& newRequest,
                                                  const RedirectionHandler& completionHandler) override;
    void URLSessionTaskDidReceiveChallenge(URLSession& session, URLSessionTask& task,
                                           const URLAuthenticationChallenge& challenge,
                                           const ChallengeHandler& completionHandler) override;
    void URLSessionTaskNeedNewBodyStream(URLSession& session, URLSessionTask& task,
                                         const BodyStreamHandler& completionHandler) override;
    void URLSessionTaskNeedNewBodyStreamFromOffset(URLSession& session, URLSessionTask& task, std::int64_t offset,
                                                   const BodyStreamHandler& completionHandler) override;
    void URLSessionTaskDidSendBodyData(URLSession& session, URLSessionTask& task, std::int64_t bytesSent,
                                       std::int64_t totalBytesSent, std::int64_t totalBytesExpectedToSend) override;
    void URLSessionTaskDidReceiveInformationalResponse(URLSession& session, URLSessionTask& task,
                                                       const HTTPURLResponse& response) override;
    void URLSessionTaskDidFinishCollectingMetrics(URLSession& session, URLSessionTask& task,
                                                  const URLSessionTaskMetrics& metrics) override;
    void URLSessionTaskDidCompleteWithError(URLSession& session, URLSessionTask& task, const ErrorPtr& error) override;
    void URLSessionDataTaskDidReceiveResponse(URLSession& session, URLSessionDataTask& dataTask,
                                              const HTTPURLResponse& response,
                                              const ResponseHandler& completionHandler) override;
    void URLSessionDataTaskDidBecomeDownloadTask(URLSession& session, URLSessionDataTask& dataTask,
                                                 URLSessionDownloadTask& downloadTask) override;
    void URLSessionDataTaskDidBecomeStreamTask(URLSession& session, URLSessionDataTask& dataTask,
                                               URLSessionStreamTask& streamTask) override;
    void URLSessionDataTaskDidReceiveData(URLSession& session, URLSessionDataTask& dataTask,
                                          std::string_view data) override;
    void URLSessionDataTaskWillCacheResponse(URLSession& session, URLSessionDataTask& dataTask,
                                             const std::shared_ptr<const CachedURLResponse>& proposedResponse,
                                             const CacheHandler& completionHandler) override;

private:
    /// The delegate, or one that does not care.
    [[nodiscard]] std::shared_ptr<URLSessionDelegate> target() const;

    const std::weak_ptr<URLSessionDelegate> delegate_;
    const std::shared_ptr<URLSessionDelegate> nobody_ = std::make_shared<URLSessionDelegate>();
};
