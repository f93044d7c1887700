#include "platform/linux/http/CurlError.h"

#include "base/Table.h"

namespace http {

namespace {

constexpr std::pair<NSURLErrorCode, const char*> kMeanings[] = {
    {NSURLErrorCancelled, "The request was cancelled."},
    {NSURLErrorBadURL, "The request cannot be sent; check its URL, method and header fields."},
    {NSURLErrorTimedOut, "The request timed out."},
    {NSURLErrorUnsupportedURL, "The URL is not supported; it must begin with http: or https:."},
    {NSURLErrorCannotFindHost, "The host was not found; check its name."},
    {NSURLErrorCannotConnectToHost, "The server does not answer; check that it runs and can be reached."},
    {NSURLErrorNetworkConnectionLost, "The connection was lost."},
    {NSURLErrorHTTPTooManyRedirects, "The server redirects too often."},
    {NSURLErrorBadServerResponse, "The server's response is not HTTP."},
    {NSURLErrorCannotDecodeContentData, "The response's coding is damaged."},
    {NSURLErrorDataLengthExceedsMaximum, "The response is longer than allowed."},
    {NSURLErrorSecureConnectionFailed, "No secure connection to the server could be made."},
    {NSURLErrorServerCertificateHasBadDate, "The server's certificate has expired."},
    {NSURLErrorServerCertificateUntrusted, "The server's certificate is not trusted."},
    {NSURLErrorServerCertificateNotYetValid, "The server's certificate is not valid yet."},
};

constexpr std::pair<CURLcode, NSURLErrorCode> kCodes[] = {
    {CURLE_COULDNT_RESOLVE_HOST, NSURLErrorCannotFindHost},
    {CURLE_COULDNT_RESOLVE_PROXY, NSURLErrorCannotFindHost},
    {CURLE_COULDNT_CONNECT, NSURLErrorCannotConnectToHost},
    {CURLE_PROXY, NSURLErrorCannotConnectToHost},
    {CURLE_OPERATION_TIMEDOUT, NSURLErrorTimedOut},
    {CURLE_PARTIAL_FILE, NSURLErrorNetworkConnectionLost},
    {CURLE_GOT_NOTHING, NSURLErrorNetworkConnectionLost},
    {CURLE_RECV_ERROR, NSURLErrorNetworkConnectionLost},
    {CURLE_SEND_ERROR, NSURLErrorNetworkConnectionLost},
    // The URL was checked before; this speaks of the response.
    {CURLE_UNSUPPORTED_PROTOCOL, NSURLErrorBadServerResponse},
    {CURLE_WEIRD_SERVER_REPLY, NSURLErrorBadServerResponse},
    {CURLE_HTTP_RETURNED_ERROR, NSURLErrorBadServerResponse},
    {CURLE_BAD_CONTENT_ENCODING, NSURLErrorCannotDecodeContentData},
    {CURLE_SSL_CONNECT_ERROR, NSURLErrorSecureConnectionFailed},
    {CURLE_SSL_CACERT_BADFILE, NSURLErrorSecureConnectionFailed},
    {CURLE_SSL_CIPHER, NSURLErrorSecureConnectionFailed},
    {CURLE_PEER_FAILED_VERIFICATION, NSURLErrorServerCertificateUntrusted},
    {CURLE_URL_MALFORMAT, NSURLErrorBadURL},
};

/// CURLE_TOO_LARGE, which older headers lack.
constexpr int kTooLarge = 100;

/// libcurl does not tell this from a lost connection.
bool isRefusedByProxy(CURL* easy) {
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_HTTP_CONNECTCODE, &status);
    return status >= 300;
}

}  // namespace

ErrorPtr makeURLError(NSURLErrorCode code, const std::string& url, const std::string& detail) {
    std::string description = valueIn(kMeanings, code, "The request failed.");
    if (!detail.empty()) description += " (" + detail + ")";
    return std::make_shared<const Error>(
        NSURLErrorDomain, code,
        Error::UserInfo{{NSLocalizedDescriptionKey, description}, {NSURLErrorFailingURLStringErrorKey, url}});
}

ErrorPtr errorFromCurl(CURL* easy, CURLcode result, const std::string& url, const std::string& detail) {
    if (result == CURLE_OK) return nullptr;
    // What libcurl says of a line above its own limit of 100 KiB, before version 8.6 and since then.
    if (result == CURLE_OUT_OF_MEMORY || static_cast<int>(result) == kTooLarge) {
        return makeURLError(NSURLErrorDataLengthExceedsMaximum, url, "a line of its head");
    }
    const bool isRefused = result == CURLE_RECV_ERROR && isRefusedByProxy(easy);
    return makeURLError(isRefused ? NSURLErrorCannotConnectToHost : valueIn(kCodes, result, NSURLErrorUnknown), url,
                        detail.empty() ? curl_easy_strerror(result) : detail);
}

}  // namespace http
