#include "MacShared/HTTPError.h"

#include "MacShared/LocalizedFormat.h"

namespace {

const std::string& errorFormatString() {
    // Looked up when the first error is shown: a process without failures needs no catalogue.
    static const std::string format = shared::localizedString("HTTP Error %1$@ %2$@");
    return format;
}

}  // namespace

HTTPError::HTTPError(std::int64_t errorCode, std::string andStatus, std::optional<std::string> andBody,
                     const std::optional<std::string>& andHeaderErrorCode)
    : Error(VeldrinErrorDomain, errorCode,
            andHeaderErrorCode ? UserInfo{{VELErrorCodeHeader, *andHeaderErrorCode}} : UserInfo()),
      status_(std::move(andStatus)),
      body_(std::move(andBody)) {}

std::shared_ptr<const HTTPError> HTTPError::errorWithCode(std::int64_t code, std::string andStatus,
                                                          std::optional<std::string> andBody,
                                                          const std::optional<std::string>& andHeaderErrorCode) {
    return std::make_shared<const HTTPError>(code, std::move(andStatus), std::move(andBody), andHeaderErrorCode);
}

std::string HTTPError::localizedDescription() const {
    return shared::localizedFormat(errorFormatString(), {std::to_string(code()), status_});
}
