#pragma once

#include "platform/linux/bus/SessionBus.h"
#include "ports/KeynoteCaptureServiceDelegate.h"

#include <bus/KeynoteCaptureServiceDelegateProxy.h>
#include <atomic>
#include <memory>
#include <string>

/// A host's end of the connection: each call is one message that expects no reply. Any thread; may outlive the host and
/// the bus, and is silent then.
class DBusDelegateProxy final : public KeynoteCaptureServiceDelegate {
public:
    /// The host's unique name on the bus.
    DBusDelegateProxy(std::shared_ptr<SessionBus> bus, const std::string& host);

    /// The host has left: nothing is sent any more.
    void invalidate() { valid_ = false; }
    /// Counts a wait for saving, whose end is told through here. False when `most` have not ended.
    [[nodiscard]] bool beginWait(int most);

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

private:
    struct Calls : com::veldrin::KeynoteCaptureServiceDelegate_proxy {
        explicit Calls(sdbus::IProxy& proxy) : KeynoteCaptureServiceDelegate_proxy(proxy) {}
    };

    template <typename Send>
    void send(const Send& call) noexcept;

    const std::shared_ptr<SessionBus> bus_;
    const std::unique_ptr<sdbus::IProxy> proxy_;
    Calls calls_;
    std::atomic<bool> valid_ = true;
    std::atomic<int> waits_ = 0;  ///< for saving, begun and not ended
};
