#pragma once

#include "platform/linux/http/CurlRequest.h"
#include "ports/URLSessionDelegate.h"

#include <curl/curl.h>
#include <openssl/types.h>
#include <memory>
#include <string>
#include <vector>

namespace http {

/// Puts a server's certificates before somebody who decides, for the requests of one task.
///
/// The decision may take its time, but this libcurl (before 8.3) cannot suspend a handshake. So the first handshake
/// only shows the certificates: it is given up there, before a byte of the request can be sent. Once they are accepted,
/// a second one goes through with exactly these; others are shown like the first. Only a new connection costs this.
/// A decision is for one server: where a redirection leads to another, that one is asked about anew.
///
/// The system's evaluation is OpenSSL's, with the certificates of its default places or of `$SSL_CERT_FILE`, for the
/// host of the URL. Where there are none, no server is trusted.
class CurlTrust {
public:
    CurlTrust() = default;
    CurlTrust(const CurlTrust&) = delete;
    CurlTrust& operator=(const CurlTrust&) = delete;

    /// Makes the handle ask here about this server. This must outlive the transfer on it.
    void setUp(CURL* easy, const URLParts& server);
    /// What stopped a handshake since the last call; null when none did.
    [[nodiscard]] std::shared_ptr<const ServerTrust> takeUndecided() { return std::move(undecided_); }
    /// From now on the server may show these certificates; until `setUp` for another one.
    void accept(const ServerTrust& trust) { accepted_.push_back(trust.certificates); }

private:
    /// What libcurl and OpenSSL call; both are C, so nothing may be thrown through them.
    static CURLcode setUpContext(CURL* easy, void* context, void* self) noexcept;
    static int verify(X509_STORE_CTX* handshake, void* self) noexcept;
    [[nodiscard]] bool mayPass(X509_STORE_CTX* handshake);
    [[nodiscard]] ErrorPtr evaluate(X509_STORE_CTX* handshake) const;

    URLParts server_;
    std::shared_ptr<const ServerTrust> undecided_;
    std::vector<std::vector<std::string>> accepted_;
};

}  // namespace http
