#pragma once

#include "ports/URLSessionDelegate.h"

/// Stands between a session, which keeps its delegate strongly, and the real delegate, so that the session does not
/// keep that alive. Forwards every operation; once the delegate is gone each has its default outcome.
class URLSessionDelegateProxy final : public URLSessionDelegate {
public:
    /// `initWithDelegate:`
    explicit URLSessionDelegateProxy(std::weak_ptr<URLSessionDelegate> delegate) : delegate_(std::move(delegate)) {}

    [[nodiscard]] std::shared_ptr<URLSessionDelegate> delegate() const { return delegate_.lock(); }

    void URLSessionDidBecomeInvalidWithError(URLSession& session, const ErrorPtr& error) override {
        target()->URLSessionDidBecomeInvalidWithError(session, error);
    }
    void URLSessionDidReceiveChallenge(URLSession& session, const URLAuthenticationChallenge& challenge,
                                       const ChallengeHandler& completionHandler) override {
        target()->URLSessionDidReceiveChallenge(session, challenge, completionHandler);
    }
    void URLSessionDidFinishEventsForBackgroundURLSession(URLSession& session) override {
        target()->URLSessionDidFinishEventsForBackgroundURLSession(session);
    }
    void URLSessionDidCreateTask(URLSession& session, URLSessionTask& task) override {
        target()->URLSessionDidCreateTask(session, task);
    }
    void URLSessionTaskWillBeginDelayedRequest(URLSession& session, URLSessionTask& task, const URLRequest& request,
                                               const DelayedRequestHandler& completionHandler) override {
        target()->URLSessionTaskWillBeginDelayedRequest(session, task, request, completionHandler);
    }
    void URLSessionTaskIsWaitingForConnectivity(URLSession& session, URLSessionTask& task) override {
        target()->URLSessionTaskIsWaitingForConnectivity(session, task);
    }
    void URLSessionTaskWillPerformHTTPRedirection(URLSession& session, URLSessionTask& task,
                                                  const HTTPURLResponse& response, const URLRequest& newRequest,
                                                  const RedirectionHandler& completionHandler) override {
        target()->URLSessionTaskWillPerformHTTPRedirection(session, task, response, newRequest, completionHandler);
    }
    void URLSessionTaskDidReceiveChallenge(URLSession& session, URLSessionTask& task,
                                           const URLAuthenticationChallenge& challenge,
                                           const ChallengeHandler& completionHandler) override {
        target()->URLSessionTaskDidReceiveChallenge(session, task, challenge, completionHandler);
    }
    void URLSessionTaskNeedNewBodyStream(URLSession& session, URLSessionTask& task,
                                         const BodyStreamHandler& completionHandler) override {
        target()->URLSessionTaskNeedNewBodyStream(session, task, completionHandler);
    }
    void URLSessionTaskNeedNewBodyStreamFromOffset(URLSession& session, URLSessionTask& task, std::int64_t offset,
                                                   const BodyStreamHandler& completionHandler) override {
        target()->URLSessionTaskNeedNewBodyStreamFromOffset(session, task, offset, completionHandler);
    }
    void URLSessionTaskDidSendBodyData(URLSession& session, URLSessionTask& task, std::int64_t bytesSent,
                                       std::int64_t totalBytesSent, std::int64_t totalBytesExpectedToSend) override {
        target()->URLSessionTaskDidSendBodyData(session, task, bytesSent, totalBytesSent, totalBytesExpectedToSend);
    }
    void URLSessionTaskDidReceiveInformationalResponse(URLSession& session, URLSessionTask& task,
                                                       const HTTPURLResponse& response) override {
        target()->URLSessionTaskDidReceiveInformationalResponse(session, task, response);
    }
    void URLSessionTaskDidFinishCollectingMetrics(URLSession& session, URLSessionTask& task,
                                                  const URLSessionTaskMetrics& metrics) override {
        target()->URLSessionTaskDidFinishCollectingMetrics(session, task, metrics);
    }
    void URLSessionTaskDidCompleteWithError(URLSession& session, URLSessionTask& task, const ErrorPtr& error) override {
        target()->URLSessionTaskDidCompleteWithError(session, task, error);
    }
    void URLSessionDataTaskDidReceiveResponse(URLSession& session, URLSessionDataTask& dataTask,
                                              const HTTPURLResponse& response,
                                              const ResponseHandler& completionHandler) override {
        target()->URLSessionDataTaskDidReceiveResponse(session, dataTask, response, completionHandler);
    }
    void URLSessionDataTaskDidBecomeDownloadTask(URLSession& session, URLSessionDataTask& dataTask,
                                                 URLSessionDownloadTask& downloadTask) override {
        target()->URLSessionDataTaskDidBecomeDownloadTask(session, dataTask, downloadTask);
    }
    void URLSessionDataTaskDidBecomeStreamTask(URLSession& session, URLSessionDataTask& dataTask,
                                               URLSessionStreamTask& streamTask) override {
        target()->URLSessionDataTaskDidBecomeStreamTask(session, dataTask, streamTask);
    }
    void URLSessionDataTaskDidReceiveData(URLSession& session, URLSessionDataTask& dataTask,
                                          std::string_view data) override {
        target()->URLSessionDataTaskDidReceiveData(session, dataTask, data);
    }
    void URLSessionDataTaskWillCacheResponse(URLSession& session, URLSessionDataTask& dataTask,
                                             const std::shared_ptr<const CachedURLResponse>& proposedResponse,
                                             const CacheHandler& completionHandler) override {
        target()->URLSessionDataTaskWillCacheResponse(session, dataTask, proposedResponse, completionHandler);
    }

private:
    /// The delegate, or one that does not care.
    [[nodiscard]] std::shared_ptr<URLSessionDelegate> target() const {
        const auto delegate = delegate_.lock();
        return delegate ? delegate : nobody_;
    }

    const std::weak_ptr<URLSessionDelegate> delegate_;
    const std::shared_ptr<URLSessionDelegate> nobody_ = std::make_shared<URLSessionDelegate>();
};
