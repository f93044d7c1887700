#include "platform/linux/http/CurlHandle.h"

#include "platform/linux/http/CurlError.h"

#include <algorithm>
#include <new>
#include <string_view>
#include <utility>

namespace http {

namespace {

/// libcurl makes a new one for each transfer. Where 64 KiB are freed at once, the C library tidies up all its memory.
constexpr long kReceiveBuffer = 60 << 10;
constexpr long kSendBuffer = 64 << 10;
constexpr long kLargeSendBuffer = 256 << 10;  // for bodies that fill it

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

bool hasBody(const URLRequest& request) {
    const auto& method = request.httpMethod;
    return request.httpBody || method == "POST" || method == "PUT" || method == "PATCH";
}

}  // namespace

CurlHandle::Easy CurlHandle::owned(CURL* easy) {
    if (easy == nullptr) throw std::bad_alloc();
    return {easy, &curl_easy_cleanup};
}

/// Before 8.1.1 libcurl keeps pointing to the last field of a response that is gone, and appends a line to it with
/// which the next response begins, when that is a continuation (https://github.com/curl/curl/pull/11103). A duplicate
/// is set up alike and knows of no response.
void CurlHandle::forgetResponses() {
    static const bool pointsToThePast = curl_version_info(CURLVERSION_NOW)->version_num < 0x080101;
    if (std::exchange(wasUsed_, true) && pointsToThePast) easy_ = owned(curl_easy_duphandle(get()));
}

ErrorPtr CurlHandle::setUp(const URLRequest& request, const URLSessionConfiguration& configuration) {
    forgetResponses();
    if (!isSetUpFor(request)) {
        // Should the setting up fail, the handle is set up for nothing.
        request_.reset();
        curl_easy_reset(get());
        if (auto error = setUpHead(request, configuration)) return error;
        request_ = request;
        request_->httpBody.reset();
        hasBody_ = hasBody(request);
    }
    if (hasBody_) setUpBody(request.httpBody);
    return nullptr;
}

bool CurlHandle::isSetUpFor(const URLRequest& request) const {
    return request_ && request_->url == request.url && request_->httpMethod == request.httpMethod &&
           hasBody_ == hasBody(request) && std::ranges::equal(request_->httpHeaderFields, request.httpHeaderFields);
}

ErrorPtr CurlHandle::setUpHead(const URLRequest& request, const URLSessionConfiguration& configuration) {
    if (auto error = parseURL(request.url, server_)) return error;
    if (!isToken(request.httpMethod)) return makeURLError(NSURLErrorBadURL, request.url, "no valid method");
    if (auto error = setUpFields(request, configuration)) return error;
    CURL* const easy = get();
    curl_easy_setopt(easy, CURLOPT_URL, server_.url.c_str());
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, fields_.get());
    if (hasBody(request)) curl_easy_setopt(easy, CURLOPT_POST, 1L);
    if (request.httpMethod == "HEAD") curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
    curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.httpMethod.c_str());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);  // cancelling must not wait for a name server
    curl_easy_setopt(easy, CURLOPT_BUFFERSIZE, kReceiveBuffer);
    return nullptr;
}

ErrorPtr CurlHandle::setUpFields(const URLRequest& request, const URLSessionConfiguration& configuration) {
    auto wanted = request.httpHeaderFields;
    for (const auto& [name, value] : configuration.httpAdditionalHeaders) {
        if (!wanted.value(name)) wanted.setValue(value, name);
    }
    // The client frames the message itself; two lengths would let a server see two requests.
    for (const char* framing : {"Content-Length", "Transfer-Encoding"}) wanted.removeValue(framing);
    fields_.reset();
    for (const auto& [name, value] : wanted) {
        if (!isToken(name) || !isFieldValue(value)) {
            return makeURLError(NSURLErrorBadURL, request.url, "a header field holds a character that cannot be sent");
        }
        auto line = name;
        add(fields_, value.empty() ? line += ";" : line.append(": ").append(value));  // libcurl's signs
    }
    // libcurl's own additions, unless they are asked for: an empty field takes them out.
    for (const char* added : {"Expect", "Content-Type"}) {
        if (!wanted.value(added)) add(fields_, std::string(added) + ":");
    }
    return nullptr;
}

void CurlHandle::setUpBody(const Data& body) {
    const auto size = body ? body->size() : 0;
    curl_easy_setopt(get(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(size));
    curl_easy_setopt(get(), CURLOPT_POSTFIELDS, size > 0 ? body->data() : "");
    curl_easy_setopt(get(), CURLOPT_UPLOAD_BUFFERSIZE, size > kLargeSendBuffer ? kLargeSendBuffer : kSendBuffer);
}

}  // namespace http
