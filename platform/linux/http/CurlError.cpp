#include "platform/linux/http/CurlError.h"

namespace {

const char* meaningOf(NSURLErrorCode code) {
    switch (code) {
        case NSURLErrorCancelled:
            return "The request was cancelled.";
        case NSURLErrorBadURL:
            return "The request cannot be sent; check its URL, method and header fields.";
        case NSURLErrorTimedOut:
            return "The request timed out.";
        case NSURLErrorUnsupportedURL:
            return "The URL is not supported; it must begin with http: or https:.";
        case NSURLErrorCannotFindHost:
            return "The host was not found; check its name.";
        case NSURLErrorCannotConnectToHost:
            return "The server does not answer; check that it runs and can be reached.";
        case NSURLErrorNetworkConnectionLost:
            return "The connection was lost.";
        case NSURLErrorHTTPTooManyRedirects:
            return "The server redirects too often.";
        case NSURLErrorBadServerResponse:
            return "The server's response is not HTTP.";
        case NSURLErrorCannotDecodeContentData:
            return "The response's coding is damaged.";
        case NSURLErrorDataLengthExceedsMaximum:
            return "The response is longer than allowed.";
        case NSURLErrorSecureConnectionFailed:
            return "No secure connection to the server could be made.";
        case NSURLErrorServerCertificateHasBadDate:
            return "The server's certificate has expired.";
        case NSURLErrorServerCertificateUntrusted:
            return "The server's certificate is not trusted.";
        case NSURLErrorServerCertificateNotYetValid:
            return "The server's certificate is not valid yet.";
        case NSURLErrorUnknown:
            break;
    }
    return "The request failed.";
}

NSURLErrorCode codeFor(CURLcode result) {
    switch (result) {
        case CURLE_COULDNT_RESOLVE_HOST:
        case CURLE_COULDNT_RESOLVE_PROXY:
            return NSURLErrorCannotFindHost;
        case CURLE_COULDNT_CONNECT:
        case CURLE_PROXY:
            return NSURLErrorCannotConnectToHost;
        case CURLE_OPERATION_TIMEDOUT:
            return NSURLErrorTimedOut;
        case CURLE_PARTIAL_FILE:
        case CURLE_GOT_NOTHING:
        case CURLE_RECV_ERROR:
        case CURLE_SEND_ERROR:
            return NSURLErrorNetworkConnectionLost;
        case CURLE_UNSUPPORTED_PROTOCOL:  // the URL was checked before; this speaks of the response
        case CURLE_WEIRD_SERVER_REPLY:
        case CURLE_HTTP_RETURNED_ERROR:
            return NSURLErrorBadServerResponse;
        case CURLE_BAD_CONTENT_ENCODING:
            return NSURLErrorCannotDecodeContentData;
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_CIPHER:
            return NSURLErrorSecureConnectionFailed;
        case CURLE_PEER_FAILED_VERIFICATION:
            return NSURLErrorServerCertificateUntrusted;
        case CURLE_URL_MALFORMAT:
            return NSURLErrorBadURL;
        default:
            return NSURLErrorUnknown;
    }
}

/// libcurl does not tell this from a lost connection.
bool isRefusedByProxy(CURL* easy) {
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_HTTP_CONNECTCODE, &status);
    return status >= 300;
}

}  // namespace

ErrorPtr makeURLError(NSURLErrorCode code, const std::string& url, const std::string& detail) {
    std::string description = meaningOf(code);
    if (!detail.empty()) description += " (" + detail + ")";
    return std::make_shared<const Error>(
        NSURLErrorDomain, code,
        Error::UserInfo{{NSLocalizedDescriptionKey, description}, {NSURLErrorFailingURLStringErrorKey, url}});
}

ErrorPtr errorFromCurl(CURL* easy, CURLcode result, const std::string& url, const std::string& detail) {
    if (result == CURLE_OK) return nullptr;
    if (result == CURLE_OUT_OF_MEMORY) {  // what this libcurl says of a line above its own limit of 100 KiB
        return makeURLError(NSURLErrorDataLengthExceedsMaximum, url, "a line of its head");
    }
    const bool isRefused = result == CURLE_RECV_ERROR && isRefusedByProxy(easy);
    return makeURLError(isRefused ? NSURLErrorCannotConnectToHost : codeFor(result), url,
                        detail.empty() ? curl_easy_strerror(result) : detail);
}
