#include "KeynoteCaptureService/KeynoteCaptureService.h"

#include "KeynoteCaptureService/KeynoteCaptureServiceErrors.h"
#include "KeynoteCaptureService/KeynoteCaptureSlideImageFileMonitor.h"
#include "MacShared/NSBundle+VELLogAdditions.h"
#include "MacShared/NSFileManager+VELAdditions.h"
#include "ports/AutomaticTermination.h"
#include "ports/CaptureNames.h"
#include "ports/Directories.h"
#include "ports/FileManager.h"
#include "ports/Platform.h"

#include <utility>

namespace {

constexpr const char* kAutomaticTerminationReason = "Keynote Detection Started";
constexpr double kShortestRecommendedInterval = 0.25;

}  // namespace

KeynoteCaptureService::KeynoteCaptureService(std::shared_ptr<Delegate> delegate)
    : sandboxRootURL_(capture::workingRoot(platform().directories.homeDirectory())),
      temporaryDirectoryURL_(sandboxRootURL_ / "temp"),
      fileOutputQueue_(platform().dispatch.makeSerialQueue("com.veldrin.KeynoteCaptureServiceFileOutput")),
      slideImageMonitors_(std::vector<std::shared_ptr<Monitor>>()),
      delegate_(std::move(delegate)) {}

std::shared_ptr<KeynoteCaptureService> KeynoteCaptureService::initWithDelegate(std::shared_ptr<Delegate> delegate) {
    // Looked up here, where nobody waits, rather than when the first error is made.
    static_cast<void>(ErrorDescriptions::shared());
    std::shared_ptr<KeynoteCaptureService> service(new KeynoteCaptureService(std::move(delegate)));
    ErrorPtr error;
    // Without it no wait for saving could ever end, so such a service is of no use to a host.
    if (!createDirectoryIfNeededAtFilePath(service->temporaryDirectoryURL_, error)) {
        VELLog("Failed to create temporary directory: %@", service->temporaryDirectoryURL_);
        return nullptr;
    }
    VELLog("KeynoteCaptureService is initialized with sandbox directory: %@", service->sandboxRootURL_);
    return service;
}

KeynoteCaptureService::~KeynoteCaptureService() {
    setObservedWorkspace(nullptr);
}

void KeynoteCaptureService::startDetectionAndCaptureTo(const std::optional<Path>& captureDirectoryURL,
                                                       const std::optional<std::string>& withRecordingId,
                                                       ErrorReply withErrorReply) {
    VELLog("Start detection and capture requested to: %@", captureDirectoryURL);
    platform().dispatch.mainQueue().async(
        [service = shared_from_this(), captureDirectoryURL, withRecordingId, reply = std::move(withErrorReply)] {
            service->startOnMainQueue(captureDirectoryURL, withRecordingId, reply);
        });
}

void KeynoteCaptureService::startOnMainQueue(const std::optional<Path>& captureDirectoryURL,
                                             const std::optional<std::string>& recordingID,
                                             const ErrorReply& errorReply) {
    // Every start disables once and every stop enables once, whatever becomes of the start.
    platform().automaticTermination.disable(kAutomaticTerminationReason);

    const auto fail = [&errorReply](const ErrorPtr& error) {
        if (errorReply) errorReply(error);
    };
    const auto& descriptions = ErrorDescriptions::shared();
    if (!captureDirectoryURL) {
        return fail(
            captureError(KeynoteCaptureServiceError::missingStartArgument, descriptions.missingCaptureDirectory));
    }
    if (!recordingID) {
        return fail(captureError(KeynoteCaptureServiceError::missingStartArgument, descriptions.missingRecordingID));
    }
    baseCaptureDirectoryURL_ = captureDirectoryURL;
    recordingID_ = *recordingID;
    baseWorkingDirectoryURL_ = appendingPathComponent(sandboxRootURL_, *recordingID);
    ErrorPtr error;
    if (!createDirectoryIfNeededAtFilePath(baseCaptureDirectoryURL_, error)) return fail(error);
    if (!createDirectoryIfNeededAtFilePath(baseWorkingDirectoryURL_, error)) return fail(error);
    startMonitoring();
}

void KeynoteCaptureService::startMonitoring() {
    if (monitoringActive_) {
        // A host that has lost track of its own state gets what it asks for, from a clean beginning.
        VELLog("Detection was already started! Stopping and restarting");
        stopMonitoring();
    }
    VELLog("Started monitoring...");
    setObservedWorkspace(&platform().workspace);
    monitoringActive_ = true;
}

void KeynoteCaptureService::stopDetectionAndCapture() {
    VELLog("Stop detection and capture.");
    platform().dispatch.mainQueue().async([service = shared_from_this()] {
        platform().automaticTermination.enable(kAutomaticTerminationReason);
        service->stopMonitoring();
        service->baseCaptureDirectoryURL_ = std::nullopt;
        service->baseWorkingDirectoryURL_ = std::nullopt;
    });
}

void KeynoteCaptureService::stopMonitoring() {
    VELLog("Stopped monitoring...");
    setObservedWorkspace(nullptr);
    slideImageMonitors_.set(std::nullopt);
    reportTimeline(timeline_.unwatched(), currentPresentationID_);
    handleKeynoteStopped();
    monitoringActive_ = false;
}

void KeynoteCaptureService::stopPresenting() {
    VELLog("Stop presenting.");
    // On the thread of the host's call: a show is ended even while the main queue is busy.
    if (const auto document = currentDocument()) document->stop();
}

void KeynoteCaptureService::setKeynotePollingInterval(double seconds) {
    if (seconds < kShortestRecommendedInterval) VELLog("polling of %f less than 0.25, not recommended", seconds);
    pollingInterval_ = seconds;
    handlePollingIntervalChanged();
}

void KeynoteCaptureService::handlePollingIntervalChanged() {
    // The timer belongs to the main queue. Scheduling looks at the program at once, so a host sees its change.
    platform().dispatch.mainQueue().async([service = shared_from_this()] { service->scheduleTimer(); });
}

bool KeynoteCaptureService::createDirectoryIfNeededAtFilePath(const std::optional<Path>& fileURL, ErrorPtr& error) {
    error = nullptr;
    const auto& descriptions = ErrorDescriptions::shared();
    if (!fileURL) {
        VELLog("Can't create directory, specified path is nil.");
        error = captureError(KeynoteCaptureServiceError::missingDirectoryPath, descriptions.missingDirectoryPath);
        return false;
    }
    const FileKind kind = platform().fileManager.kindOf(*fileURL);
    if (kind == FileKind::directory) return true;
    if (kind == FileKind::file) {
        VELLog("Can't create capture directory, file with same name already exists");
        // The host may tell its user which file is in the way.
        error = std::make_shared<const Error>(
            KeynoteCaptureServiceErrorDomain,
            static_cast<std::int64_t>(KeynoteCaptureServiceError::fileExistsAtDirectoryPath),
            Error::UserInfo{{NSLocalizedDescriptionKey, descriptions.fileExistsAtDirectoryPath},
                            {NSFilePathErrorKey, fileURL->native()}});
        return false;
    }
    error = platform().fileManager.createDirectory(*fileURL);
    if (error) VELLog("Could not create capture directory. Error: %@", error);
    return error == nullptr;
}
