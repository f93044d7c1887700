#pragma once

#include "MacShared/VeldrinError.h"
#include "base/Error.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

/// Header in which a web service says what went wrong, and key of the error's user information that holds its value.
inline constexpr const char* VELErrorCodeHeader = "X-VELErrorCode";

/// A server's answer that means failure. Domain `VeldrinErrorDomain`, code = HTTP status code; the user information is
/// empty or holds `VELErrorCodeHeader`.
class HTTPError final : public Error {
public:
    /// `initWithErrorCode:andStatus:andBody:andHeaderErrorCode:`, and `initWithErrorCode:andStatus:andBody:` without
    /// the last: status code, its phrase, the response body (nothing when that is no text) and the value of
    /// `VELErrorCodeHeader`. An error cannot be made without the first three (`init` and
    /// `initWithDomain:code:userInfo:` do not exist).
    HTTPError(std::int64_t errorCode, std::string andStatus, std::optional<std::string> andBody,
              const std::optional<std::string>& andHeaderErrorCode = {});
    /// `errorWithCode:andStatus:andBody:andHeaderErrorCode:`, and `errorWithCode:andStatus:andBody:` without the last.
    [[nodiscard]] static std::shared_ptr<const HTTPError> errorWithCode(
        std::int64_t code, std::string andStatus, std::optional<std::string> andBody,
        const std::optional<std::string>& andHeaderErrorCode = {});

    [[nodiscard]] const std::string& status() const { return status_; }
    [[nodiscard]] const std::optional<std::string>& body() const { return body_; }

    /// `HTTP Error 404 not found`, in the user's language (`errorFormatString`).
    [[nodiscard]] std::string localizedDescription() const override;
    /// The body.
    [[nodiscard]] std::optional<std::string> localizedFailureReason() const override { return body_; }

private:
    const std::string status_;
    const std::optional<std::string> body_;
};
