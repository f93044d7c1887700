#pragma once

#include "base/Error.h"
#include "ports/URLSession.h"

#include <curl/curl.h>
#include <memory>
#include <string>

namespace http {

/// The parts of a URL that others need.
struct URLParts {
    std::string url;   ///< normalised
    std::string host;  ///< without the brackets of an address
    int port = 0;
    bool isSecure = false;

    /// Whether both are served by the same server, so that what is secret to one may go to the other.
    [[nodiscard]] bool hasSameOrigin(const URLParts& other) const {
        return host == other.host && port == other.port && isSecure == other.isSecure;
    }
};

/// Takes apart an absolute http or https URL, or a reference relative to a base that is one. An error otherwise.
[[nodiscard]] ErrorPtr parseURL(const std::string& reference, URLParts& parts, const std::string& base = {});

/// The request that a redirection proposes: 303 asks anew with GET, and 301 and 302 do so for a POST, as clients have
/// always done (RFC 9110, section 15.4); 307 and 308 repeat the request. What authenticates stays with its server.
/// An error when the location cannot be followed.
[[nodiscard]] ErrorPtr redirectedRequest(const URLRequest& request, const HTTPURLResponse& response,
                                         URLRequest& redirected);

}  // namespace http
