#pragma once

#include "bus/Answer.h"
#include "bus/Convert.h"
#include "bus/Peer.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

/// What the capture service can be asked, as a peer with the name `kServiceName` and the path `kServicePath`: the calls
/// of com.veldrin.KeynoteCaptureServiceProtocol.xml. A text that is not UTF-8 cannot be sent.
namespace bus::service {

[[nodiscard]] Call<> startDetectionAndCaptureTo(const std::optional<Path>& captureDirectoryURL,
                                                const std::optional<std::string>& recordingId);
[[nodiscard]] Call<> stopDetectionAndCapture();
[[nodiscard]] Call<> stopPresenting();
[[nodiscard]] Call<> setKeynotePollingInterval(double seconds);
[[nodiscard]] Call<> extractSlideFiles(const std::vector<std::string>& names, const std::string& presentationPath);
[[nodiscard]] Call<> waitForSavingToCompleteAsync();
[[nodiscard]] Call<std::string> descriptionOfScriptableWindowsWithReply();
[[nodiscard]] Call<std::string> descriptionOfKeynoteWindowsWithReply();
/// Whether anybody is there at all.
[[nodiscard]] Call<> ping();

}  // namespace bus::service

namespace bus {

class SessionBus;

/// Takes the calls of hosts, each known by its unique name. They come on the bus thread, under the library's lock: they
/// are to be served elsewhere. An answer that is dropped says success, with empty values; after the bus has stopped
/// none is sent. What a call throws becomes its refusal.
class Service {
public:
    virtual ~Service() = default;
    virtual void startDetectionAndCaptureTo(const std::string& host, std::string captureDirectoryURL,
                                            std::string recordingId, const Answer<>& answer) = 0;
    virtual void stopDetectionAndCapture(const std::string& host, const Answer<>& answer) = 0;
    virtual void stopPresenting(const std::string& host, const Answer<>& answer) = 0;
    virtual void setKeynotePollingInterval(const std::string& host, double seconds, const Answer<>& answer) = 0;
    virtual void extractSlideFiles(const std::string& host, std::vector<std::string> names,
                                   std::string presentationPath, const Answer<>& answer) = 0;
    virtual void waitForSavingToCompleteAsync(const std::string& host, const Answer<>& answer) = 0;
    virtual void descriptionOfScriptableWindowsWithReply(const std::string& host,
                                                         const Answer<std::string>& answer) = 0;
    virtual void descriptionOfKeynoteWindowsWithReply(const std::string& host, const Answer<std::string>& answer) = 0;
};

/// Puts the service on a bus, under no name yet.
class ServiceServer {
public:
    /// The service must outlive the server. Throws `Failure` when the bus refuses.
    ServiceServer(std::shared_ptr<SessionBus> bus, Service& service);
    ~ServiceServer();
    ServiceServer(const ServiceServer&) = delete;
    ServiceServer& operator=(const ServiceServer&) = delete;

private:
    class Object;
    const std::unique_ptr<Object> object_;
};

}  // namespace bus
