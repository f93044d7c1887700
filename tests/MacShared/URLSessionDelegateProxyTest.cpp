#include "MacShared/URLSessionDelegateProxy.h"
#include "platform/simulated/SimulatedURLSessions.h"

#include <gtest/gtest.h>
#include <set>

// Nobody has any of these yet.
class URLSessionDownloadTask {};
class URLSessionStreamTask {};
class URLSessionTaskMetrics {};
class CachedURLResponse {};

namespace {

/// Notes what it is told and with which arguments, the places for answers among them, and answers nothing.
class Witness final : public URLSessionDelegate {
public:
    std::vector<std::string> heard;

private:
    template <class... Arguments>
    void note(const std::string& what, const Arguments&... arguments) {
        heard.push_back(what);
        ((heard.back() += " " + text(arguments)), ...);
    }
    static std::string text(std::int64_t number) { return std::to_string(number); }
    static std::string text(std::string_view bytes) { return std::string(bytes); }
    /// Objects are told apart by their places.
    template <class Object>
    static std::string text(const Object& object) {
        return std::to_string(reinterpret_cast<std::uintptr_t>(&object));
    }

    void URLSessionDidBecomeInvalidWithError(URLSession& session, const ErrorPtr& error) override {
        note("invalid", session, error);
    }
    void URLSessionDidReceiveChallenge(URLSession& session, const URLAuthenticationChallenge& challenge,
                                       const ChallengeHandler& answer) override {
        note("session's challenge", session, challenge, answer);
    }
    void URLSessionDidFinishEventsForBackgroundURLSession(URLSession& session) override { note("background", session); }
    void URLSessionDidCreateTask(URLSession& session, URLSessionTask& task) override { note("task", session, task); }
    void URLSessionTaskWillBeginDelayedRequest(URLSession& session, URLSessionTask& task, const URLRequest& request,
                                               const DelayedRequestHandler& answer) override {
        note("delayed", session, task, request, answer);
    }
    void URLSessionTaskIsWaitingForConnectivity(URLSession& session, URLSessionTask& task) override {
        note("waiting", session, task);
    }
    void URLSessionTaskWillPerformHTTPRedirection(URLSession& session, URLSessionTask& task,
                                                  const HTTPURLResponse& response, const URLRequest& newRequest,
                                                  const RedirectionHandler& answer) override {
        note("redirection", session, task, response, newRequest, answer);
    }
    void URLSessionTaskDidReceiveChallenge(URLSession& session, URLSessionTask& task,
                                           const URLAuthenticationChallenge& challenge,
                                           const ChallengeHandler& answer) override {
        note("task's challenge", session, task, challenge, answer);
    }
    void URLSessionTaskNeedNewBodyStream(URLSession& session, URLSessionTask& task,
                                         const BodyStreamHandler& answer) override {
        note("stream", session, task, answer);
    }
    void URLSessionTaskNeedNewBodyStreamFromOffset(URLSession& session, URLSessionTask& task, std::int64_t offset,
                                                   const BodyStreamHandler& answer) override {
        note("stream from", session, task, offset, answer);
    }
    void URLSessionTaskDidSendBodyData(URLSession& session, URLSessionTask& task, std::int64_t bytesSent,
                                       std::int64_t totalBytesSent, std::int64_t totalBytesExpectedToSend) override {
        note("sent", session, task, bytesSent, totalBytesSent, totalBytesExpectedToSend);
    }
    void URLSessionTaskDidReceiveInformationalResponse(URLSession& session, URLSessionTask& task,
                                                       const HTTPURLResponse& response) override {
        note("information", session, task, response);
    }
    void URLSessionTaskDidFinishCollectingMetrics(URLSession& session, URLSessionTask& task,
                                                  const URLSessionTaskMetrics& metrics) override {
        note("metrics", session, task, metrics);
    }
    void URLSessionTaskDidCompleteWithError(URLSession& session, URLSessionTask& task, const ErrorPtr& error) override {
        note("complete", session, task, error);
    }
    void URLSessionDataTaskDidReceiveResponse(URLSession& session, URLSessionDataTask& task,
                                              const HTTPURLResponse& response, const ResponseHandler& answer) override {
        note("response", session, task, response, answer);
    }
    void URLSessionDataTaskDidBecomeDownloadTask(URLSession& session, URLSessionDataTask& task,
                                                 URLSessionDownloadTask& downloadTask) override {
        note("download", session, task, downloadTask);
    }
    void URLSessionDataTaskDidBecomeStreamTask(URLSession& session, URLSessionDataTask& task,
                                               URLSessionStreamTask& streamTask) override {
        note("stream task", session, task, streamTask);
    }
    void URLSessionDataTaskDidReceiveData(URLSession& session, URLSessionDataTask& task,
                                          std::string_view data) override {
        note("data", session, task, data);
    }
    void URLSessionDataTaskWillCacheResponse(URLSession& session, URLSessionDataTask& task,
                                             const std::shared_ptr<const CachedURLResponse>& proposedResponse,
                                             const CacheHandler& answer) override {
        note("cache", session, task, proposedResponse, answer);
    }
};

class DelegateProxy : public testing::Test {
protected:
    using Call = std::function<void(URLSessionDelegate&)>;

    simulated::SimulatedDispatch dispatch;
    simulated::SimulatedURLSessions sessions{dispatch};
    const std::shared_ptr<URLSession> session = sessions.sessionWithConfiguration({}, nullptr);
    const std::shared_ptr<URLSessionDataTask> dataTask = session->dataTaskWithRequest({"http://server"});
    URLSessionTask& task = *dataTask;
    const ErrorPtr error = makeError("D", 1);
    const URLAuthenticationChallenge challenge{};
    const URLRequest request{"http://next"};
    const HTTPURLResponse response{};
    const std::shared_ptr<const CachedURLResponse> cached = std::make_shared<CachedURLResponse>();
    URLSessionDownloadTask download;
    URLSessionStreamTask stream;
    URLSessionTaskMetrics metrics;

    std::string answer;
    const URLSessionDelegate::ChallengeHandler onChallenge = [this](auto disposition, const auto& credential) {
        using Disposition = URLSessionAuthChallengeDisposition;
        answer = disposition == Disposition::performDefaultHandling ? "by default" : "otherwise";
        if (credential) answer += " with a credential";
    };
    const URLSessionDelegate::DelayedRequestHandler onDelay = [this](auto disposition, const auto& newRequest) {
        answer = disposition == URLSessionDelayedRequestDisposition::continueLoading ? "continue" : "otherwise";
        if (newRequest) answer += " with " + newRequest->url;
    };
    const URLSessionDelegate::RedirectionHandler onRedirection = [this](const auto& newRequest) {
        answer = newRequest ? newRequest->url : "nowhere";
    };
    const URLSessionDelegate::ResponseHandler onResponse = [this](auto disposition) {
        answer = disposition == URLSessionResponseDisposition::allow ? "allow" : "otherwise";
    };
    const URLSessionDelegate::BodyStreamHandler onStream = [this](const auto& body) {
        answer = body ? "a stream" : "no stream";
    };
    const URLSessionDelegate::CacheHandler onCache = [this](const auto& kept) {
        answer = kept == cached ? "as proposed" : "otherwise";
    };
};

TEST_F(DelegateProxy, ForwardsEveryOperationOrDoesTheDefault) {
    auto& s = *session;
    auto& t = *dataTask;
    const std::pair<Call, std::string> operations[] = {
        {[&](auto& it) { it.URLSessionDidBecomeInvalidWithError(s, error); }, ""},
        {[&](auto& it) { it.URLSessionDidReceiveChallenge(s, challenge, onChallenge); }, "by default"},
        {[&](auto& it) { it.URLSessionDidFinishEventsForBackgroundURLSession(s); }, ""},
        {[&](auto& it) { it.URLSessionDidCreateTask(s, task); }, ""},
        {[&](auto& it) { it.URLSessionTaskWillBeginDelayedRequest(s, task, request, onDelay); }, "continue"},
        {[&](auto& it) { it.URLSessionTaskIsWaitingForConnectivity(s, task); }, ""},
        {[&](auto& it) { it.URLSessionTaskWillPerformHTTPRedirection(s, task, response, request, onRedirection); },
         "http://next"},
        {[&](auto& it) { it.URLSessionTaskDidReceiveChallenge(s, task, challenge, onChallenge); }, "by default"},
        {[&](auto& it) { it.URLSessionTaskNeedNewBodyStream(s, task, onStream); }, "no stream"},
        {[&](auto& it) { it.URLSessionTaskNeedNewBodyStreamFromOffset(s, task, 7, onStream); }, "no stream"},
        {[&](auto& it) { it.URLSessionTaskDidSendBodyData(s, task, 1, 2, 3); }, ""},
        {[&](auto& it) { it.URLSessionTaskDidReceiveInformationalResponse(s, task, response); }, ""},
        {[&](auto& it) { it.URLSessionTaskDidFinishCollectingMetrics(s, task, metrics); }, ""},
        {[&](auto& it) { it.URLSessionTaskDidCompleteWithError(s, task, error); }, ""},
        {[&](auto& it) { it.URLSessionDataTaskDidReceiveResponse(s, t, response, onResponse); }, "allow"},
        {[&](auto& it) { it.URLSessionDataTaskDidBecomeDownloadTask(s, t, download); }, ""},
        {[&](auto& it) { it.URLSessionDataTaskDidBecomeStreamTask(s, t, stream); }, ""},
        {[&](auto& it) { it.URLSessionDataTaskDidReceiveData(s, t, "bytes"); }, ""},
        {[&](auto& it) { it.URLSessionDataTaskWillCacheResponse(s, t, cached, onCache); }, "as proposed"},
    };
    std::set<std::string> notes;
    for (const auto& [call, byDefault] : operations) {
        Witness direct;
        call(direct);
        auto witness = std::make_shared<Witness>();
        URLSessionDelegateProxy proxy(witness);
        call(proxy);
        EXPECT_EQ(witness->heard, direct.heard);
        ASSERT_EQ(direct.heard.size(), 1U);
        notes.insert(direct.heard[0]);
        witness.reset();
        answer.clear();
        call(proxy);
        EXPECT_EQ(answer, byDefault) << direct.heard[0];
    }
    EXPECT_EQ(notes.size(), 19U);
}

}  // namespace
