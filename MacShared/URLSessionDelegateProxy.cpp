#include "MacShared/URLSessionDelegateProxy.h"

std::shared_ptr<URLSessionDelegate> URLSessionDelegateProxy::target() const {
    auto delegate = delegate_.lock();
    return delegate ? delegate : nobody_;
}

void URLSessionDelegateProxy::URLSessionDidBecomeInvalidWithError(URLSession& session, const ErrorPtr& error) {
    target()->URLSessionDidBecomeInvalidWithError(session, error);
}

void URLSessionDelegateProxy::URLSessionDidReceiveChallenge(URLSession& session,
                                                            const URLAuthenticationChallenge& challenge,
                                                            const ChallengeHandler& completionHandler) {
    target()->URLSessionDidReceiveChallenge(session, challenge, completionHandler);
}

void URLSessionDelegateProxy::URLSessionDidFinishEventsForBackgroundURLSession(URLSession& session) {
    target()->URLSessionDidFinishEventsForBackgroundURLSession(session);
}

void URLSessionDelegateProxy::URLSessionDidCreateTask(URLSession& session, URLSessionTask& task) {
    target()->URLSessionDidCreateTask(session, task);
}

void URLSessionDelegateProxy::URLSessionTaskWillBeginDelayedRequest(URLSession& session, URLSessionTask& task,
                                                                    const URLRequest& request,
                                                                    const DelayedRequestHandler& completionHandler) {
    target()->URLSessionTaskWillBeginDelayedRequest(session, task, request, completionHandler);
}

void URLSessionDelegateProxy::URLSessionTaskIsWaitingForConnectivity(URLSession& session, URLSessionTask& task) {
    target()->URLSessionTaskIsWaitingForConnectivity(session, task);
}

void URLSessionDelegateProxy::URLSessionTaskWillPerformHTTPRedirection(URLSession& session, URLSessionTask& task,
                                                                       const HTTPURLResponse& response,
                                                                       const URLRequest& newRequest,
                                                                       const RedirectionHandler& completionHandler) {
    target()->URLSessionTaskWillPerformHTTPRedirection(session, task, response, newRequest, completionHandler);
}

void URLSessionDelegateProxy::URLSessionTaskDidReceiveChallenge(URLSession& session, URLSessionTask& task,
                                                                const URLAuthenticationChallenge& challenge,
                                                                const ChallengeHandler& completionHandler) {
    target()->URLSessionTaskDidReceiveChallenge(session, task, challenge, completionHandler);
}

void URLSessionDelegateProxy::URLSessionTaskNeedNewBodyStream(URLSession& session, URLSessionTask& task,
                                                              const BodyStreamHandler& completionHandler) {
    target()->URLSessionTaskNeedNewBodyStream(session, task, completionHandler);
}

void URLSessionDelegateProxy::URLSessionTaskNeedNewBodyStreamFromOffset(URLSession& session, URLSessionTask& task,
                                                                        std::int64_t offset,
                                                                        const BodyStreamHandler& completionHandler) {
    target()->URLSessionTaskNeedNewBodyStreamFromOffset(session, task, offset, completionHandler);
}

void URLSessionDelegateProxy::URLSessionTaskDidSendBodyData(URLSession& session, URLSessionTask& task,
                                                            std::int64_t bytesSent, std::int64_t totalBytesSent,
                                                            std::int64_t totalBytesExpectedToSend) {
    target()->URLSessionTaskDidSendBodyData(session, task, bytesSent, totalBytesSent, totalBytesExpectedToSend);
}

void URLSessionDelegateProxy::URLSessionTaskDidReceiveInformationalResponse(URLSession& session, URLSessionTask& task,
                                                                            const HTTPURLResponse& response) {
    target()->URLSessionTaskDidReceiveInformationalResponse(session, task, response);
}

void URLSessionDelegateProxy::URLSessionTaskDidFinishCollectingMetrics(URLSession& session, URLSessionTask& task,
                                                                       const URLSessionTaskMetrics& metrics) {
    target()->URLSessionTaskDidFinishCollectingMetrics(session, task, metrics);
}

void URLSessionDelegateProxy::URLSessionTaskDidCompleteWithError(URLSession& session, URLSessionTask& task,
                                                                 const ErrorPtr& error) {
    target()->URLSessionTaskDidCompleteWithError(session, task, error);
}

void URLSessionDelegateProxy::URLSessionDataTaskDidReceiveResponse(URLSession& session, URLSessionDataTask& dataTask,
                                                                   const HTTPURLResponse& response,
                                                                   const ResponseHandler& completionHandler) {
    target()->URLSessionDataTaskDidReceiveResponse(session, dataTask, response, completionHandler);
}

void URLSessionDelegateProxy::URLSessionDataTaskDidBecomeDownloadTask(URLSession& session, URLSessionDataTask& dataTask,
                                                                      URLSessionDownloadTask& downloadTask) {
    target()->URLSessionDataTaskDidBecomeDownloadTask(session, dataTask, downloadTask);
}

void URLSessionDelegateProxy::URLSessionDataTaskDidBecomeStreamTask(URLSession& session, URLSessionDataTask& dataTask,
                                                                    URLSessionStreamTask& streamTask) {
    target()->URLSessionDataTaskDidBecomeStreamTask(session, dataTask, streamTask);
}

void URLSessionDelegateProxy::URLSessionDataTaskDidReceiveData(URLSession& session, URLSessionDataTask& dataTask,
                                                               std::string_view data) {
    target()->URLSessionDataTaskDidReceiveData(session, dataTask, data);
}

void URLSessionDelegateProxy::URLSessionDataTaskWillCacheResponse(
    URLSession& session, URLSessionDataTask& dataTask, const std::shared_ptr<const CachedURLResponse>& proposedResponse,
    const CacheHandler& completionHandler) {
    target()->URLSessionDataTaskWillCacheResponse(session, dataTask, proposedResponse, completionHandler);
}
