#pragma once

#include "platform/linux/http/CurlLoop.h"
#include "platform/linux/http/CurlRequest.h"
#include "platform/linux/http/CurlTrust.h"
#include "ports/URLSessionDelegate.h"

#include <curl/curl.h>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace http {

class CurlTask;

/// The work of a task: one request after the other along its redirections, each on the same libcurl handle.
///
/// A *hop* is one request with its response. When the head of the response has come, the delegate is asked about it, as
/// a redirection or as the task's response, and the hop is *undecided*: its body waits. Then it is *delivered*, or
/// *discarded* where a redirection is followed. libcurl may end the hop before or after the answer; both together
/// decide what comes next. Everything runs on the loop's thread; what the loop calls, while libcurl is not at work, and
/// not once the transfer is finished.
class CurlTransfer final : public std::enable_shared_from_this<CurlTransfer> {
public:
    explicit CurlTransfer(std::shared_ptr<CurlTask> task);
    ~CurlTransfer();
    CurlTransfer(const CurlTransfer&) = delete;
    CurlTransfer& operator=(const CurlTransfer&) = delete;

    void start();
    /// libcurl has ended the hop, and the loop has taken the handle out.
    void transferEnded(CURLcode result);
    /// When `deadlinePassed` is due; never while the delegate owes an answer.
    [[nodiscard]] Instant deadline() const;
    void deadlinePassed();
    /// Ends the work with `NSURLErrorCancelled`.
    void cancelled();

private:
    /// `untrusted`: the delegate owes an answer about the server's certificates, and libcurl does not have the handle.
    enum class Stage { head, untrusted, undecided, delivered, discarded, finished };

    /// What has come of a hop so far.
    struct Hop {
        HTTPURLResponse response;
        std::string field;  ///< the head's last line so far
        std::size_t headSize = 0;
        std::uint64_t bodySize = 0;
        std::int64_t sent = 0;
        std::int64_t moved = 0;      ///< bytes both ways that libcurl has told of
        bool isPaused = false;       ///< the body waits for the decision
        bool isEnough = false;       ///< nothing more is wanted, so libcurl ends it
        ErrorPtr failure{};          ///< why we ended it
        CURLcode result = CURLE_OK;  ///< how libcurl has ended it
    };

    void beginHop();
    void goOn();
    void finish(const ErrorPtr& error);
    void hopEnded();
    [[nodiscard]] CurlLoop& loop() const;
    [[nodiscard]] CURL* easy() const { return handle_->get(); }
    void touch() { lastActivity_ = Instant::clock::now(); }
    template <class Operation, class... Arguments>
    void tell(Operation operation, const Arguments&... arguments);
    /// What takes an answer from any thread to the loop's; it does nothing when the transfer has gone by then.
    template <class... Answer>
    [[nodiscard]] auto later(void (CurlTransfer::*decided)(Answer...));

    void askAboutTrust(std::shared_ptr<const ServerTrust> trust);
    void trustDecided(const std::shared_ptr<const ServerTrust>& trust, URLSessionAuthChallengeDisposition disposition,
                      bool hasCredential);
    void askAboutRedirection();
    void redirectionDecided(std::optional<URLRequest> request);
    void askAboutResponse();
    /// Perhaps while libcurl is at work.
    void responseDecided(URLSessionResponseDisposition disposition);

    /// What libcurl calls; a short count ends the hop.
    template <auto receive>
    static std::size_t received(const char* bytes, std::size_t size, std::size_t count, void* self) noexcept;
    static int progressed(void* self, curl_off_t toReceive, curl_off_t received, curl_off_t toSend,
                          curl_off_t sent) noexcept;
    /// All that libcurl calls goes through here. It is C: what is thrown must not pass, so it ends the transfer.
    template <class Result, class Call>
    static Result calledBack(void* self, Result onFailure, const Call& call) noexcept;
    void receiveHeader(std::string_view line);
    void takeField();
    void headEnded();
    void receiveBody(std::string_view bytes);
    void tellSent(std::int64_t sent);
    void fail(NSURLErrorCode code, const std::string& detail);

    const std::shared_ptr<CurlTask> task_;
    CurlTrust trust_;
    std::unique_ptr<CurlHandle> handle_;           ///< until the transfer is finished
    std::array<char, CURL_ERROR_SIZE> problem_{};  ///< libcurl's description of a failure

    const URLRequest* request_;  ///< of this hop: the task's, or `redirected_`
    Duration timeout_;
    URLRequest redirected_;
    URLRequest nextRequest_;
    int redirections_ = 0;
    Instant lastActivity_;
    bool isRunning_ = false;  ///< libcurl has the handle
    Stage stage_ = Stage::head;
    Hop hop_;
    bool hasThrown_ = false;  ///< something that libcurl has called
};

}  // namespace http
