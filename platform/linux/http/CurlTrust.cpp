#include "platform/linux/http/CurlTrust.h"

#include "base/Table.h"
#include "platform/linux/http/CurlError.h"

#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>
#include <algorithm>
#include <utility>

namespace http {

namespace {

std::string encoded(X509* certificate) {
    unsigned char* der = nullptr;
    const int length = i2d_X509(certificate, &der);
    if (length < 0) return {};
    std::string bytes(reinterpret_cast<const char*>(der), static_cast<std::size_t>(length));
    OPENSSL_free(der);
    return bytes;
}

/// As the server sent them, its own first.
std::vector<std::string> shownCertificates(X509_STORE_CTX* handshake) {
    std::vector<std::string> certificates;
    STACK_OF(X509)* const shown = X509_STORE_CTX_get0_untrusted(handshake);
    certificates.reserve(static_cast<std::size_t>(std::max(sk_X509_num(shown), 0)));
    for (int i = 0; i < sk_X509_num(shown); ++i) certificates.push_back(encoded(sk_X509_value(shown, i)));
    return certificates;
}

constexpr std::pair<int, NSURLErrorCode> kTrustCodes[] = {
    {X509_V_ERR_CERT_HAS_EXPIRED, NSURLErrorServerCertificateHasBadDate},
    {X509_V_ERR_CERT_NOT_YET_VALID, NSURLErrorServerCertificateNotYetValid},
};

}  // namespace

void CurlTrust::setUp(CURL* easy, const URLParts& server) {
    if (!server.hasSameOrigin(server_)) accepted_.clear();
    server_ = server;
    curl_easy_setopt(easy, CURLOPT_SSL_CTX_FUNCTION, &setUpContext);
    curl_easy_setopt(easy, CURLOPT_SSL_CTX_DATA, this);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 0L);       // part of the evaluation
    curl_easy_setopt(easy, CURLOPT_SSL_SESSIONID_CACHE, 0L);  // a resumed session would show no certificates
    // Loaded by OpenSSL: libcurl would give up where there are none, before anybody could be asked.
    curl_easy_setopt(easy, CURLOPT_CAINFO, nullptr);
    curl_easy_setopt(easy, CURLOPT_CAPATH, nullptr);
}

CURLcode CurlTrust::setUpContext(CURL* /*easy*/, void* context, void* self) noexcept {
    auto* const tls = static_cast<SSL_CTX*>(context);
    SSL_CTX_set_default_verify_paths(tls);
    SSL_CTX_set_cert_verify_callback(tls, &verify, self);
    // The connection outlives the transfer, and a renegotiation would call back for it.
    SSL_CTX_set_options(tls, SSL_OP_NO_RENEGOTIATION);
    return CURLE_OK;
}

int CurlTrust::verify(X509_STORE_CTX* handshake, void* self) noexcept {
    bool passes = false;
    try {
        passes = static_cast<CurlTrust*>(self)->mayPass(handshake);
    } catch (...) {  // memory has run out: nobody is trusted
        passes = false;
    }
    X509_STORE_CTX_set_error(handshake, passes ? X509_V_OK : X509_V_ERR_APPLICATION_VERIFICATION);
    return passes ? 1 : 0;
}

bool CurlTrust::mayPass(X509_STORE_CTX* handshake) {
    auto shown = shownCertificates(handshake);
    if (std::find(accepted_.begin(), accepted_.end(), shown) != accepted_.end()) return true;
    undecided_ = std::make_shared<const ServerTrust>(ServerTrust{std::move(shown), evaluate(handshake)});
    return false;
}

ErrorPtr CurlTrust::evaluate(X509_STORE_CTX* handshake) const {
    auto* const parameters = X509_STORE_CTX_get0_param(handshake);
    if (X509_VERIFY_PARAM_set1_ip_asc(parameters, server_.host.c_str()) != 1) {
        X509_VERIFY_PARAM_set1_host(parameters, server_.host.c_str(), server_.host.size());
    }
    if (X509_verify_cert(handshake) == 1) return nullptr;
    const int problem = X509_STORE_CTX_get_error(handshake);
    const auto code = valueIn(kTrustCodes, problem, NSURLErrorServerCertificateUntrusted);
    return makeURLError(code, server_.url, X509_verify_cert_error_string(problem));
}

}  // namespace http
