#include "platform/linux/http/CurlRequest.h"

#include "platform/linux/http/CurlError.h"

#include <algorithm>
#include <charconv>
#include <new>
#include <string_view>

namespace {

using URL = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

std::string partOf(CURLU* url, CURLUPart part) {
    char* text = nullptr;
    if (curl_url_get(url, part, &text, CURLU_DEFAULT_PORT) != CURLUE_OK) return {};
    const std::unique_ptr<char, decltype(&curl_free)> owned(text, curl_free);
    return text;
}

/// RFC 9110, section 5.6.2.
bool isToken(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char letter) {
        return letter > ' ' && letter < 0x7F &&
               std::string_view("\"(),/:;<=>?@[\\]{}").find(static_cast<char>(letter)) == std::string_view::npos;
    });
}

bool isFieldValue(std::string_view text) {
    return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

void add(CurlFields& fields, const std::string& line) {
    curl_slist* const longer = curl_slist_append(fields.get(), line.c_str());
    if (longer == nullptr) throw std::bad_alloc();
    static_cast<void>(fields.release());
    fields.reset(longer);
}

ErrorPtr setUpFields(const HTTPHeaderFields& wanted, const std::string& url, CurlFields& fields) {
    for (const auto& [name, value] : wanted) {
        if (!isToken(name) || !isFieldValue(value)) {
            return makeURLError(NSURLErrorBadURL, url, "a header field holds a character that cannot be sent");
        }
        auto line = name;
        add(fields, value.empty() ? line += ";" : line.append(": ").append(value));  // libcurl's signs
    }
    // libcurl's own additions, unless they are asked for: an empty field takes them out.
    for (const char* added : {"Expect", "Content-Type"}) {
        if (!wanted.value(added)) add(fields, std::string(added) + ":");
    }
    return nullptr;
}

void setUpMethod(CURL* easy, const URLRequest& request) {
    const auto& method = request.httpMethod;
    curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, method.c_str());
    if (request.httpBody || method == "POST" || method == "PUT" || method == "PATCH") {
        const auto size = request.httpBody ? request.httpBody->size() : 0;
        curl_easy_setopt(easy, CURLOPT_POST, 1L);
        curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(size));
        curl_easy_setopt(easy, CURLOPT_POSTFIELDS, size > 0 ? request.httpBody->data() : "");
    } else if (method == "HEAD") {
        curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
    }
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
    const auto scheme = partOf(url.get(), CURLUPART_SCHEME);
    if (scheme != "http" && scheme != "https") return makeURLError(NSURLErrorUnsupportedURL, reference);
    curl_url_set(url.get(), CURLUPART_FRAGMENT, nullptr, 0);
    parts.isSecure = scheme == "https";
    parts.host = partOf(url.get(), CURLUPART_HOST);
    if (parts.host.starts_with('[')) parts.host = parts.host.substr(1, parts.host.size() - 2);
    const auto port = partOf(url.get(), CURLUPART_PORT);
    std::from_chars(port.data(), port.data() + port.size(), parts.port);
    char* text = nullptr;
    if (curl_url_get(url.get(), CURLUPART_URL, &text, 0) != CURLUE_OK) {
        return makeURLError(NSURLErrorBadURL, reference);
    }
    parts.url = text;
    curl_free(text);
    return nullptr;
}

ErrorPtr redirectedRequest(const URLRequest& request, const HTTPURLResponse& response, URLRequest& redirected) {
    URLParts from;
    URLParts to;
    if (auto error = parseURL(request.url, from)) return error;
    if (auto error = parseURL(response.valueForHTTPHeaderField("Location").value_or(""), to, from.url)) return error;
    redirected = request;
    redirected.url = to.url;
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

ErrorPtr setUpRequest(CURL* easy, const URLRequest& request, const std::string& url,
                      const URLSessionConfiguration& configuration, CurlFields& fields) {
    if (!isToken(request.httpMethod)) return makeURLError(NSURLErrorBadURL, request.url, "no valid method");

    auto wanted = request.httpHeaderFields;
    for (const auto& [name, value] : configuration.httpAdditionalHeaders) {
        if (!wanted.value(name)) wanted.setValue(value, name);
    }
    for (const char* framing : {"Content-Length", "Transfer-Encoding"}) wanted.removeValue(framing);
    if (auto error = setUpFields(wanted, request.url, fields)) return error;

    setUpMethod(easy, request);
    curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, fields.get());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    return nullptr;
}
