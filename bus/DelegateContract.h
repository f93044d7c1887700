#pragma once

#include "base/Registration.h"
#include "bus/Peer.h"
#include "ports/KeynoteCaptureServiceDelegate.h"

#include <functional>
#include <string>

/// The two ends of com.veldrin.KeynoteCaptureServiceDelegate.xml.
namespace bus {

class Connection;

/// A host's delegate as its calls on the bus, none of which expects a reply. Who derives from it sends them.
class DelegateEvents : public KeynoteCaptureServiceDelegate {
public:
    void startedPresenting(const std::optional<std::string>& presentationID,
                           const std::optional<std::filesystem::path>& originalDocumentPath,
                           const std::optional<std::string>& archive, const ErrorPtr& error) override;
    void stoppedPresenting(const std::optional<std::string>& presentationID, const ErrorPtr& error) override;
    void slideDeckPresentedSlide(const std::optional<std::string>& presentationID, std::int64_t presentedSlide, Date at,
                                 const std::optional<std::filesystem::path>& imageFilePathURL) override;
    void extractedSlideFilesForPresentation(const std::string& path, const ErrorPtr& withError) override;
    void savedArchiveDocuments() override;
    void failedToSaveArchiveDocumentError(const ErrorPtr& error) override;
    void detectedKeynoteLaunched() override;
    void detectedKeynoteTerminated() override;

protected:
    /// To a peer with the path `kDelegatePath`.
    virtual void send(const Event& event) = 0;
};

/// Puts a delegate on a connection, on whose thread it is told, until the handle is dropped. What it throws ends there.
/// Calls are refused unless `mayCall` says of the caller's unique name that it may. Throws `Failure` when the bus
/// refuses.
[[nodiscard]] Handle serveDelegate(Connection& connection, KeynoteCaptureServiceDelegate& delegate,
                                   std::function<bool(const std::string& caller)> mayCall);

}  // namespace bus
