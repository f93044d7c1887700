#pragma once

#include "ports/KeynoteCaptureServiceDelegate.h"
#include "ports/KeynoteCaptureServiceProtocol.h"
#include "ports/Timeline.h"

#include <chrono>
#include <functional>
#include <memory>

namespace host {

/// Domain of the errors that the client itself makes.
inline constexpr const char* kCaptureServiceClientErrorDomain = "KeynoteCaptureServiceClientErrorDomain";
/// There is no session bus, or no capture service on it and none that the bus could start.
inline constexpr std::int64_t kCaptureServiceUnavailable = 1;
/// The service did not answer in time, or left before it answered.
inline constexpr std::int64_t kCaptureServiceNoAnswer = 2;

class [[gnu::visibility("default")]] CaptureServiceClient;

/// A host's connection to the capture service: the service's operations as calls, its notifications as calls on a
/// delegate.
///
/// The normal sequence is `connect`, `startDetectionAndCaptureTo`, any number of notifications, and after the last
/// `stoppedPresenting` that is to be captured `stopDetectionAndCapture`; then the client is dropped. The service keeps
/// one state per client, and a client that is dropped (or a host that crashes) has its recording stopped.
///
/// The first operation starts the service if the bus knows how to. Operations may be called from any thread and
/// return at once. Notifications, replies and `onServiceLost` come one at a time on a thread of the client's own, in
/// the order in which the service sent them; that thread takes no signals. They must not drop the client, and what
/// they throw ends there, with a line on standard error. When dropping the client has returned, none comes any more;
/// replies still due are given up.
class CaptureServiceClient final : public KeynoteCaptureServiceProtocol {
public:
    /// Opens a connection of its own to the session bus. Null with `error` set when there is no bus.
    /// The delegate must outlive the client. It is called for the service that owns the name on the bus at that
    /// moment; calls from anyone else are refused.
    /// `onServiceLost` may be empty. It is called when a service that has accepted a start, an extraction or a wait
    /// leaves the bus, or the bus itself goes: that has ended and no notification will come for it. A new start begins
    /// anew. `replyTimeout` bounds the wait for every answer, including the time that the bus takes to start the
    /// service. `timeline`, which may be null and must outlive the client, is told what the service knows of the
    /// screen, of every recording: look at the recording ID.
    [[nodiscard]] static std::unique_ptr<CaptureServiceClient> connect(
        KeynoteCaptureServiceDelegate& delegate, std::function<void()> onServiceLost, ErrorPtr& error,
        std::chrono::microseconds replyTimeout = std::chrono::seconds(25), TimelineListener* timeline = nullptr);
    ~CaptureServiceClient() override;

    /// The reply is called only when starting failed: with the service's error, or with one of
    /// `kCaptureServiceClientErrorDomain`. When the bus is gone already, that happens before the call returns.
    /// The bus is asked, too, to start the bridge that finds the user's office, if it knows one that does not run yet.
    void startDetectionAndCaptureTo(const std::optional<std::filesystem::path>& captureDirectoryURL,
                                    const std::optional<std::string>& withRecordingId,
                                    ErrorReply withErrorReply) override;
    /// Slide images that are still awaited are given up.
    void stopDetectionAndCapture() override;
    /// Does nothing unless a recording runs and a show has been noticed.
    void stopPresenting() override;
    void setKeynotePollingInterval(double seconds) override;
    void extractSlideFiles(const std::vector<std::string>& names, const std::string& forPresentationAt) override;
    void waitForSavingToCompleteAsync() override;
    /// Asks whether the service is there, starting it if need be. The reply is called once, with the error or null.
    void checkService(const ErrorReply& reply);
    /// The protocol's operations of these names, with a reply that is called only when the service could not be asked
    /// or has refused.
    void extractSlideFiles(const std::vector<std::string>& names, const std::string& forPresentationAt,
                           const ErrorReply& withErrorReply);
    void waitForSavingToCompleteAsync(const ErrorReply& withErrorReply);
    /// The service's version; nothing when it did not answer or is too old to tell. The reply is called once.
    void askServiceVersion(const TextReply& reply);
    /// Nothing also when the service did not answer, when the text is empty, or when no recording runs.
    void descriptionOfScriptableWindowsWithReply(TextReply reply) override;
    /// Nothing also when the service did not answer, when the text is empty, or when no recording runs.
    void descriptionOfKeynoteWindowsWithReply(TextReply reply) override;

private:
    class [[gnu::visibility("hidden")]] Link;
    explicit CaptureServiceClient(std::unique_ptr<Link> link);
    const std::unique_ptr<Link> link_;
};

}  // namespace host
