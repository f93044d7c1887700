#pragma once

#include "ports/URLSession.h"

#include <memory>
#include <mutex>
#include <vector>

class Bundles;

namespace http {

class CurlLoop;

/// HTTP/1.1 through libcurl, with the system's certificates (`$SSL_CERT_FILE` names others) and the proxies that the
/// usual environment variables name. Each session has a thread for its transfers, which calls its delegate too.
///
/// There are no cookies and no cache; nothing is authenticated but servers, so 401 and 407 are responses like others.
/// The thread of a session that has ended is joined by the next one that ends, when a session is made, or with the
/// client. Responses are delivered in the coding in which they come: none is asked for, unless a request does.
class CurlSessions final : public URLSessions {
public:
    /// The bundles must outlive the sessions' use: reason phrases are translated by the main bundle.
    explicit CurlSessions(Bundles& bundles);
    /// Ends all sessions: tasks end untold, and tasks and sessions that are still held do nothing any more.
    ~CurlSessions() override;
    CurlSessions(const CurlSessions&) = delete;
    CurlSessions& operator=(const CurlSessions&) = delete;

    [[nodiscard]] std::shared_ptr<URLSession> sessionWithConfiguration(
        const URLSessionConfiguration& configuration, std::shared_ptr<URLSessionDelegate> delegate) override;
    [[nodiscard]] std::string localizedStringForStatusCode(int statusCode) override;

private:
    void joinEnded();

    Bundles& bundles_;
    std::mutex mutex_;                              ///< guards what follows
    std::vector<std::shared_ptr<CurlLoop>> loops_;  ///< all whose threads have not been joined
};

}  // namespace http
