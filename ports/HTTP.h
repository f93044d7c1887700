#pragma once

#include "base/HTTPHeaderFields.h"
#include "base/Time.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

/// Domain of the HTTP client's errors.
inline constexpr const char* NSURLErrorDomain = "NSURLErrorDomain";
/// Key of the URL that failed in the user information of those errors, which also holds a description for people.
inline constexpr const char* NSURLErrorFailingURLStringErrorKey = "NSErrorFailingURLStringKey";

/// Codes of `NSURLErrorDomain`, with the platform's numbers. `NSURLErrorTimedOut` and those about connections may pass
/// by themselves; the others come again when the same request is sent again.
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

/// Bytes that nobody changes any more, so that threads can share them instead of copying. Null where there are none.
using Data = std::shared_ptr<const std::string>;

/// What to ask of a server.
struct URLRequest {
    /// Absolute, http or https.
    std::string url;
    /// A token of letters and digits; whether the server knows it, its response tells.
    std::string httpMethod = "GET";
    /// Sent as they stand, each in place of the session's own field of that name.
    HTTPHeaderFields httpHeaderFields{};
    /// Sent as it stands and never copied; null sends no body.
    Data httpBody{};
    /// How long no byte may pass in either direction before the task fails with `NSURLErrorTimedOut`. When there is
    /// none, the session's configuration decides. Time during which the delegate owes an answer does not count.
    std::optional<Duration> timeoutInterval{};
};

/// The head of a server's response.
struct HTTPURLResponse {
    /// Of the request that was answered, the last one of a chain of redirections.
    std::string url;
    /// Three digits, as the server sent them.
    int statusCode = 0;
    /// In the order in which they came. They are the server's: nothing is known about their values.
    HTTPHeaderFields allHeaderFields{};

    /// The value of a header field, its name in any case; several fields of one name are joined with commas.
    [[nodiscard]] std::optional<std::string> valueForHTTPHeaderField(std::string_view field) const {
        return allHeaderFields.value(field);
    }
};
