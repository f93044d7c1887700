#pragma once

#include "ports/URLSessionDelegate.h"

#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

/// A delegate that notes what it hears, data in succession as one, and answers as it is told to.
class Recorder final : public URLSessionDelegate {
public:
    using Notes = std::vector<std::string>;

    [[nodiscard]] Notes notes() const {
        const std::lock_guard lock(mutex_);
        return notes_;
    }
    [[nodiscard]] bool hasCompleted() const {
        const std::lock_guard lock(mutex_);
        return !notes_.empty() && (notes_.back().starts_with("complete") || notes_.back() == "invalid");
    }

    // What the delegate does; set before a task is resumed. Empty ones do as the interface does.
    std::function<void(const RedirectionHandler&, const URLRequest&)> onRedirection;
    std::function<void(const ResponseHandler&)> onResponse;
    std::function<void(URLSessionTask&)> onData;
    std::function<void(const ChallengeHandler&, const URLAuthenticationChallenge&)> onChallenge;
    // What it has heard; read it after the completion.
    std::int64_t sent = 0;              ///< the total told last
    std::set<std::thread::id> threads;  ///< that called

private:
    void URLSessionTaskWillPerformHTTPRedirection(URLSession& session, URLSessionTask& task,
                                                  const HTTPURLResponse& response, const URLRequest& newRequest,
                                                  const RedirectionHandler& handler) override {
        sent = 0;
        note("redirection " + std::to_string(response.statusCode) + " " + newRequest.httpMethod);
        if (onRedirection) return onRedirection(handler, newRequest);
        URLSessionDelegate::URLSessionTaskWillPerformHTTPRedirection(session, task, response, newRequest, handler);
    }
    void URLSessionTaskDidReceiveChallenge(URLSession& session, URLSessionTask& task,
                                           const URLAuthenticationChallenge& challenge,
                                           const ChallengeHandler& handler) override {
        note("challenge");
        if (onChallenge) return onChallenge(handler, challenge);
        URLSessionDelegate::URLSessionTaskDidReceiveChallenge(session, task, challenge, handler);
    }
    void URLSessionTaskDidSendBodyData(URLSession& /*session*/, URLSessionTask& /*task*/, std::int64_t bytesSent,
                                       std::int64_t totalBytesSent, std::int64_t totalBytesExpectedToSend) override {
        if (totalBytesSent != sent + bytesSent || totalBytesSent > totalBytesExpectedToSend) note("wrong count");
        sent = totalBytesSent;
    }
    void URLSessionTaskDidReceiveInformationalResponse(URLSession& /*session*/, URLSessionTask& /*task*/,
                                                       const HTTPURLResponse& response) override {
        note("information " + std::to_string(response.statusCode));
    }
    void URLSessionDataTaskDidReceiveResponse(URLSession& session, URLSessionDataTask& task,
                                              const HTTPURLResponse& response,
                                              const ResponseHandler& handler) override {
        note("response " + std::to_string(response.statusCode));
        if (onResponse) return onResponse(handler);
        URLSessionDelegate::URLSessionDataTaskDidReceiveResponse(session, task, response, handler);
    }
    void URLSessionDataTaskDidReceiveData(URLSession& /*session*/, URLSessionDataTask& task,
                                          std::string_view data) override {
        {
            const std::lock_guard lock(mutex_);
            if (notes_.back().starts_with("data ")) {
                notes_.back() += data;
            } else {
                notes_.push_back("data " + std::string(data));
            }
        }
        if (onData) onData(task);
    }
    void URLSessionTaskDidCompleteWithError(URLSession& /*session*/, URLSessionTask& /*task*/,
                                            const ErrorPtr& error) override {
        note(error ? "complete " + std::to_string(error->code()) : "complete");
    }
    void URLSessionDidBecomeInvalidWithError(URLSession& /*session*/, const ErrorPtr& /*error*/) override {
        note("invalid");
    }

    void note(std::string what) {
        const std::lock_guard lock(mutex_);
        threads.insert(std::this_thread::get_id());
        notes_.push_back(std::move(what));
    }

    mutable std::mutex mutex_;
    Notes notes_;
};
