#pragma once

#include "platform/linux/http/CurlRequest.h"
#include "ports/URLSession.h"

#include <curl/curl.h>
#include <memory>
#include <optional>

namespace http {

using CurlFields = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

/// A libcurl handle for the requests of a session, one after the other. Many differ from the one before in nothing but
/// their body, as calls of a web service do: then nothing else is set up, which takes longer than a small request.
class CurlHandle {
public:
    /// Sets the handle up to send the request as HTTP/1.1. The request's body must live until the transfer has ended.
    /// An error when the request cannot be sent as it stands. Fields that frame the message (Content-Length,
    /// Transfer-Encoding) are left to the client.
    [[nodiscard]] ErrorPtr setUp(const URLRequest& request, const URLSessionConfiguration& configuration);
    /// What the request's URL leads to.
    [[nodiscard]] const URLParts& server() const { return server_; }
    [[nodiscard]] CURL* get() const { return easy_.get(); }

private:
    using Easy = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;

    [[nodiscard]] static Easy owned(CURL* easy);
    void forgetResponses();
    [[nodiscard]] bool isSetUpFor(const URLRequest& request) const;
    [[nodiscard]] ErrorPtr setUpHead(const URLRequest& request, const URLSessionConfiguration& configuration);
    [[nodiscard]] ErrorPtr setUpFields(const URLRequest& request, const URLSessionConfiguration& configuration);
    void setUpBody(const Data& body);

    Easy easy_ = owned(curl_easy_init());
    bool wasUsed_ = false;
    std::optional<URLRequest> request_;  ///< what the handle is set up for, without a body
    bool hasBody_ = false;
    URLParts server_;
    CurlFields fields_{nullptr, &curl_slist_free_all};
};

}  // namespace http
