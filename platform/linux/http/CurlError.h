#pragma once

#include "base/Error.h"
#include "ports/HTTP.h"

#include <curl/curl.h>
#include <string>

namespace http {

/// An error of `NSURLErrorDomain`: what the code means, then the detail, as one description, and the URL.
[[nodiscard]] ErrorPtr makeURLError(NSURLErrorCode code, const std::string& url, const std::string& detail = {});

/// The error for how libcurl ended a transfer on the handle; null for success. The detail is libcurl's own text.
[[nodiscard]] ErrorPtr errorFromCurl(CURL* easy, CURLcode result, const std::string& url, const std::string& detail);

}  // namespace http
