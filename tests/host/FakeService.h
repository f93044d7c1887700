#pragma once

#include "bus/Convert.h"
#include "bus/KeynoteCaptureServiceDelegateProxy.h"
#include "bus/KeynoteCaptureServiceProtocolAdaptor.h"
#include "bus/Sdbus.h"

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

/// The host that a service tells: calls go to the delegate object of one connection.
class DelegateProxy final : public com::veldrin::KeynoteCaptureServiceDelegate_proxy {
public:
    DelegateProxy(sdbus::IConnection& connection, const std::string& host);
    /// Like `detectedKeynoteTerminated`, but throws when the host refuses it.
    void detectedKeynoteTerminatedAndWait();

private:
    explicit DelegateProxy(std::unique_ptr<sdbus::IProxy> proxy);
    std::unique_ptr<sdbus::IProxy> proxy_;
};

/// What is there before the object on it, and as long.
struct OwnConnection {
    std::unique_ptr<sdbus::IConnection> connection;
};

/// A capture service that does nothing of its own: it notes every call as text, and a test says what follows.
class FakeService final : private OwnConnection,
                          private sdbus::AdaptorInterfaces<com::veldrin::KeynoteCaptureServiceProtocol_adaptor> {
public:
    using Reaction = std::function<void(FakeService&)>;

    enum class Starts { accepted, refused, unanswered };

    /// `reactions` run on the bus thread when the named operation has arrived. Refused starts get error code 1.
    explicit FakeService(const std::string& address, std::map<std::string, Reaction> reactions = {},
                         Starts starts = Starts::accepted);
    virtual ~FakeService();
    FakeService(const FakeService&) = delete;
    FakeService& operator=(const FakeService&) = delete;

    /// Waits, bounded, until so many calls have come, and answers all that have.
    std::vector<std::string> waitForCalls(std::size_t count);
    /// The delegate of the last caller.
    DelegateProxy& host();
    /// The bus name of the last caller.
    std::string hostName();
    /// Leaves the bus, as a crash does. Nothing else may be called after it.
    void leave();

private:
    void note(const std::string& method, const std::string& arguments = {});

    void startDetectionAndCaptureTo(sdbus::Result<>&& result, std::string directory, std::string recording) override;
    void stopDetectionAndCapture(sdbus::Result<>&& result) override;
    void stopPresenting(sdbus::Result<>&& result) override;
    void setKeynotePollingInterval(sdbus::Result<>&& result, double seconds) override;
    void extractSlideFiles(sdbus::Result<>&& result, std::vector<std::string> names, std::string path) override;
    void waitForSavingToCompleteAsync(sdbus::Result<>&& result) override;
    void descriptionOfScriptableWindowsWithReply(sdbus::Result<std::string>&& result) override;
    void descriptionOfKeynoteWindowsWithReply(sdbus::Result<std::string>&& result) override;

    const std::map<std::string, Reaction> reactions_;
    const Starts starts_;
    std::vector<sdbus::Result<>> unanswered_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> calls_;       ///< guarded by `mutex_`
    std::string sender_;                   ///< guarded by `mutex_`
    std::unique_ptr<DelegateProxy> host_;  ///< guarded by `mutex_`
};
