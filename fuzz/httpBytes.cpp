/// Calls of a web service whose server sends anything: each ends within its time, is told once at most, and leaves
/// nothing behind.

#include "MacShared/LogRun.h"
#include "MacShared/SOAP/SimpleSoapCaller.h"
#include "fuzz/HostileServer.h"
#include "fuzz/Require.h"
#include "platform/linux/files/DirectoryBundles.h"
#include "platform/linux/http/CurlSessions.h"
#include "platform/linux/text/LinuxXMLServices.h"
#include "platform/simulated/SimulatedPlatform.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <filesystem>

using namespace std::chrono_literals;

namespace {

constexpr int kMostCalls = 3;

/// Counts what a call is told.
class Told final : public ISoapCallback {
public:
    void onSoapData(const shared::SoapDictionary& /*data*/, ISoapCaller& /*caller*/,
                    const std::shared_ptr<void>& /*state*/) override {
        ++count;
    }
    void onSoapError(const ErrorPtr& error, ISoapCaller& /*caller*/, const std::shared_ptr<void>& /*state*/) override {
        require(error && !error->localizedDescription().empty());
        ++count;
    }
    std::atomic<int> count = 0;
};

/// A session of the real client whose requests wait for a byte no longer than this. Those of callers do for a minute.
class HastySession final : public URLSession {
public:
    explicit HastySession(std::shared_ptr<URLSession> session) : session_(std::move(session)) {}
    [[nodiscard]] const URLSessionConfiguration& configuration() const override { return session_->configuration(); }
    [[nodiscard]] std::shared_ptr<URLSessionDataTask> dataTaskWithRequest(URLRequest request) override {
        request.timeoutInterval = 20ms;
        return session_->dataTaskWithRequest(std::move(request));
    }
    void invalidateAndCancel() override { session_->invalidateAndCancel(); }

private:
    const std::shared_ptr<URLSession> session_;
};

class HastySessions final : public URLSessions {
public:
    [[nodiscard]] std::shared_ptr<URLSession> sessionWithConfiguration(
        const URLSessionConfiguration& configuration, std::shared_ptr<URLSessionDelegate> delegate) override {
        return std::make_shared<HastySession>(sessions_.sessionWithConfiguration(configuration, std::move(delegate)));
    }
    [[nodiscard]] std::string localizedStringForStatusCode(int statusCode) override {
        return sessions_.localizedStringForStatusCode(statusCode);
    }

private:
    files::DirectoryBundles bundles_;
    http::CurlSessions sessions_{bundles_};
};

/// The platform in memory, but for what reads what comes from the network.
struct Platforms {
    Platforms() {
        simulated.xml.parsers = &xml;
        installPlatform(&services);
        shared::beginNewLogRun();
    }

    HastySessions sessions;
    text::LinuxXMLServices xml;
    simulated::SimulatedPlatform simulated;
    const Platform services = [this] {
        auto all = platform();
        all.urlSessions = &sessions;
        return all;
    }();
};

/// Wherever a server redirects, the way goes to the one here.
void goNowhereElse(const std::string& server) {
    for (const char* proxy : {"http_proxy", "https_proxy", "all_proxy"}) ::setenv(proxy, server.c_str(), 1);
    for (const char* exception : {"no_proxy", "NO_PROXY"}) ::unsetenv(exception);
}

void call(fuzz::HostileServer& server) {
    URLSessionConfiguration configuration;
    configuration.maximumResponseSize = 2048;
    configuration.maximumHeaderSize = 1024;
    SimpleSoapCaller::setConfiguration(configuration);
    const Platforms platforms;
    const auto told = std::make_shared<Told>();
    const auto caller = SimpleSoapCaller::init();
    caller->setUrl(server.url());
    caller->setCallback(told);
    for (int calls = 1; calls <= kMostCalls && !server.hasSentAll(); ++calls) {
        // It is let go of when the call has ended, however it did.
        std::shared_ptr<void> state(&server, [](auto* ended) { ended->callEnded(); });
        caller->callSoapMethod("GetItem", "urn:svc", {}, {{"a"}}, {{"1"}}, std::move(state));
        server.serveUntilCallEnds();
        require(told->count <= calls);
    }
}

std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::Listener listener;
    goNowhereElse(listener.url());
    const auto before = openDescriptors();
    {
        fuzz::HostileServer server(listener, {reinterpret_cast<const char*>(data), size});
        call(server);
    }
    require(openDescriptors() == before);
    return 0;
}
