#include "platform/linux/http/CurlRequest.h"

#include "platform/linux/http/CurlError.h"

#include <charconv>

namespace http {

namespace {

using URL = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

std::string partOf(const URL& url, CURLUPart part, unsigned flags = 0) {
    char* text = nullptr;
    if (curl_url_get(url.get(), part, &text, flags) != CURLUE_OK) return {};
    const std::unique_ptr<char, decltype(&curl_free)> owned(text, curl_free);
    return text;
}

}  // namespace

ErrorPtr parseURL(const std::string& reference, URLParts& parts, const std::string& base) {
    const URL url(curl_url(), curl_url_cleanup);
    if (!base.empty()) curl_url_set(url.get(), CURLUPART_URL, base.c_str(), 0);
    // A location may hold what ought to be escaped.
    const unsigned flags = CURLU_NON_SUPPORT_SCHEME | (base.empty() ? 0U : CURLU_URLENCODE);
    const auto result = curl_url_set(url.get(), CURLUPART_URL, reference.c_str(), flags);
    if (result != CURLUE_OK || reference.find('\0') != std::string::npos) {
        return makeURLError(NSURLErrorBadURL, reference, curl_url_strerror(result));
    }
    const auto scheme = partOf(url, CURLUPART_SCHEME);
    if (scheme != "http" && scheme != "https") return makeURLError(NSURLErrorUnsupportedURL, reference);
    // A fragment is for the client alone (RFC 9110, section 4.2.5).
    curl_url_set(url.get(), CURLUPART_FRAGMENT, nullptr, 0);
    parts.isSecure = scheme == "https";
    parts.host = partOf(url, CURLUPART_HOST);
    if (parts.host.starts_with('[')) parts.host = parts.host.substr(1, parts.host.size() - 2);
    const auto port = partOf(url, CURLUPART_PORT, CURLU_DEFAULT_PORT);
    std::from_chars(port.data(), port.data() + port.size(), parts.port);
    parts.url = partOf(url, CURLUPART_URL);
    return parts.url.empty() ? makeURLError(NSURLErrorBadURL, reference) : nullptr;
}

ErrorPtr redirectedRequest(const URLRequest& request, const HTTPURLResponse& response, URLRequest& redirected) {
    URLParts from;
    URLParts to;
    if (auto error = parseURL(request.url, from)) return error;
    if (auto error = parseURL(response.valueForHTTPHeaderField("Location").value_or(""), to, from.url)) return error;
    redirected = request;
    redirected.url = to.url;
    // HEAD stays what it is: asked anew with GET, it would fetch a body that nobody wants.
    const bool wasPost = request.httpMethod == "POST";
    if ((response.statusCode == 303 && request.httpMethod != "HEAD") || (response.statusCode < 303 && wasPost)) {
        redirected.httpMethod = "GET";
        redirected.httpBody.reset();
        redirected.httpHeaderFields.removeValue("Content-Type");
    }
    if (!from.hasSameOrigin(to)) {
        for (const char* secret : {"Authorization", "Cookie"}) redirected.httpHeaderFields.removeValue(secret);
    }
    return nullptr;
}

}  // namespace http
