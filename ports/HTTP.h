#pragma once

#include "base/HTTPHeaderFields.h"
#include "base/Time.h"

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Domain of the HTTP client's errors. Their user information holds a description and the URL that failed.
inline constexpr const char* NSURLErrorDomain = "NSURLErrorDomain";
inline constexpr const char* NSURLErrorFailingURLStringErrorKey = "NSErrorFailingURLStringKey";

/// Codes of `NSURLErrorDomain`, with the platform's numbers.
enum NSURLErrorCode : std::int64_t {
    NSURLErrorUnknown = -1,
    NSURLErrorCancelled = -999,
    NSURLErrorBadURL = -1000,
    NSURLErrorTimedOut = -1001,
    NSURLErrorUnsupportedURL = -1002,
    NSURLErrorCannotFindHost = -1003,
    NSURLErrorCannotConnectToHost = -1004,
    NSURLErrorNetworkConnectionLost = -1005,
    NSURLErrorHTTPTooManyRedirects = -1007,
    NSURLErrorBadServerResponse = -1011,
    NSURLErrorCannotDecodeContentData = -1016,
    NSURLErrorDataLengthExceedsMaximum = -1103,
    NSURLErrorSecureConnectionFailed = -1200,
    NSURLErrorServerCertificateHasBadDate = -1201,
    NSURLErrorServerCertificateUntrusted = -1202,
    NSURLErrorServerCertificateNotYetValid = -1204,
};

/// Bytes that nobody changes any more, so that they can be shared instead of copied. Null where there are none.
using Data = std::shared_ptr<const std::string>;

/// What to ask of a server.
struct URLRequest {
    std::string url;  ///< absolute, http or https
    std::string httpMethod = "GET";
    HTTPHeaderFields httpHeaderFields{};
    Data httpBody{};  ///< sent as it stands and never copied
    /// How long no byte may pass in either direction before the task fails; the session's configuration decides when
    /// there is none. Time during which the delegate owes an answer does not count.
    std::optional<Duration> timeoutInterval{};
};

/// The head of a server's response.
struct HTTPURLResponse {
    std::string url;  ///< of the request that was answered, the last one of a chain of redirections
    int statusCode = 0;
    HTTPHeaderFields allHeaderFields{};

    /// The value of a header field, its name in any case; several fields of one name are joined with commas.
    [[nodiscard]] std::optional<std::string> valueForHTTPHeaderField(std::string_view field) const {
        return allHeaderFields.value(field);
    }
};
