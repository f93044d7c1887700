#include "platform/linux/http/CurlSessions.h"

#include "platform/linux/http/CurlLoop.h"
#include "platform/linux/http/CurlSession.h"

#include <curl/curl.h>

namespace http {

CurlSessions::CurlSessions(Bundles& bundles) : bundles_(bundles) {
    // Before the first session has a thread: two must not set libcurl up at once.
    curl_global_init(CURL_GLOBAL_DEFAULT);
}

CurlSessions::~CurlSessions() {
    decltype(loops_) loops;  // so that no thread that ends finds another to join
    {
        const std::lock_guard lock(mutex_);
        loops.swap(loops_);
    }
    // All are told before the first is waited for, so that they end side by side.
    for (const auto& loop : loops) loop->stop();
    for (const auto& loop : loops) loop->join();
}

std::shared_ptr<URLSession> CurlSessions::sessionWithConfiguration(const URLSessionConfiguration& configuration,
                                                                   std::shared_ptr<URLSessionDelegate> delegate) {
    // The last session that ended could not join its own thread.
    joinEnded();
    const auto loop = std::make_shared<CurlLoop>(configuration.httpMaximumConnectionsPerHost, [this] { joinEnded(); });
    {
        const std::lock_guard lock(mutex_);
        loops_.push_back(loop);
    }
    return std::make_shared<CurlSession>(configuration, std::move(delegate), loop);
}

void CurlSessions::joinEnded() {
    const std::lock_guard lock(mutex_);
    std::erase_if(loops_, [](const auto& loop) {
        const bool ended = loop->hasEnded();
        if (ended) loop->join();
        return ended;
    });
}

}  // namespace http
