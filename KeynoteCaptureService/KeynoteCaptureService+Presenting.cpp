#include "KeynoteCaptureService/KeynoteCaptureService.h"
#include "KeynoteCaptureService/KeynoteCaptureServiceErrors.h"
#include "MacShared/NSBundle+VELLogAdditions.h"
#include "ports/Platform.h"

#include <utility>

void KeynoteCaptureService::updateKeynotePresentingState() {
    updateKeynotePresentingWindows();
    bool presenting = false;
    const auto polled = poll(presenting);
    if (!polled) return;

    const bool wasPresenting = std::exchange(keynotePresenting_, presenting);
    const std::int64_t previousSlideNumber = currentSlideNumber_;
    updatePresentedDocumentState(polled->firstDocument);
    if (keynotePresenting_ != wasPresenting) handlePresentingStateChanged();
    if (currentSlideNumber_ != previousSlideNumber && keynotePresenting_) handleCurrentSlideChanged();
}

/// What the program answers, and whether it presents; nothing when this poll is to be skipped.
std::optional<PresentingState> KeynoteCaptureService::poll(bool& presenting) {
    PresentingState state;
    presenting = false;
    if (!isKeynoteRunning()) return state;
    const auto application = keynoteApplication_.get();
    if (application && application->isRunning()) {
        state = application->presentingState();
        if (const ErrorPtr error = application->lastError()) {
            VELLog(
                "Apple Event error occured when checking Keynote presenting state. Skipping this polling update. %@ %@ "
                "(%ld)",
                error, error->localizedDescription(), error->code());
            return std::nullopt;
        }
    }
    if (state.playing) {
        presenting = *state.playing;
    } else {
        presenting = presentingWindowDescriptions_ && !presentingWindowDescriptions_->empty();
        VELLog(
            "Keynote does not have scripting property for 'playing', falling back to detecting presentation window.");
    }
    return state;
}

void KeynoteCaptureService::updatePresentedDocumentState(const std::optional<ScriptingDocumentState>& firstDocument) {
    const auto application = keynoteApplication_.get();
    if (!keynotePresenting_ || !application || !application->isRunning()) {
        // currentDocumentID stays: the end of the show still needs it to find the document.
        currentDocumentFilePath_ = std::nullopt;
        currentSlideNumber_ = 0;
        return;
    }
    currentDocumentID_.set(firstDocument ? std::optional(firstDocument->id) : std::nullopt);
    currentDocumentFilePath_ = firstDocument ? firstDocument->file : std::nullopt;
    currentSlideNumber_ = firstDocument ? firstDocument->currentSlideNumber : 0;
}

void KeynoteCaptureService::handlePresentingStateChanged() {
    if (keynotePresenting_) {
        handlePresentingStarted();
    } else {
        handlePresentingStopped();
    }
}

void KeynoteCaptureService::handlePresentingStarted() {
    ErrorPtr error;
    if (!prepareCaptureDiretoryForNewPresentation(error)) {
        notifyStartedPresenting(std::nullopt, error);
        return;
    }
    const auto archive = saveCopyOfKeynoteDocument(currentDocument());
    if (!archive) {
        error = captureError(KeynoteCaptureServiceError::archiveNotSaved, ErrorDescriptions::shared().archiveNotSaved);
    }
    capturedSlideImageFileNames_.emplace();
    notifyStartedPresenting(archive, error);
}

void KeynoteCaptureService::handlePresentingStopped() {
    beginExportOfSlideImagesForDocument(currentDocument());
    startVerificationOfSlideImages(capturedSlideImageFileNames_, slideExportDirectoryURL(),
                                   currentPresentationCaptureDirectoryURL_.get(), currentPresentationID_);
    capturedSlideImageFileNames_ = std::nullopt;
    currentDocumentID_.set(std::nullopt);
    currentPresentationWorkingDirectoryURL_.set(std::nullopt);
    currentPresentationCaptureDirectoryURL_.set(std::nullopt);
    currentPresentationID_ = std::nullopt;
}

void KeynoteCaptureService::handleCurrentSlideChanged() {
    if (currentSlideNumber_ < 1) {
        const auto keynote = currentKeynoteRunningApplication_.get();
        VELLog(
            "Warning: erroneous slide %@ reported from Keynote presentation %@ with running state %@ presenting state "
            "%@ and Keynote pid %@",
            currentSlideNumber_, currentPresentationID_, isKeynoteRunning(), keynotePresenting_,
            keynote ? std::optional(keynote->processIdentifier()) : std::nullopt);
        return;
    }
    const std::string name = imageFileNameForSlideNumber(currentSlideNumber_);
    if (capturedSlideImageFileNames_) capturedSlideImageFileNames_->insert(name);
    platform().dispatch.mainQueue().after(
        delayFromSeconds(pollingInterval() * 0.5), [weak = weak_from_this(), slide = currentSlideNumber_, name,
                                                    directory = currentPresentationCaptureDirectoryURL_.get()] {
            const auto service = weak.lock();
            if (!service) return;
            const auto url = directory ? std::optional(*directory / name) : std::nullopt;
            service->notifyTransitionToSlide(slide, platform().clock.now(), url);
        });
}

void KeynoteCaptureService::notifyStartedPresenting(const std::optional<std::string>& archiveFileName,
                                                    const ErrorPtr& error) {
    VELLog("Notifying that Keynote STARTED presenting.");
    if (const auto host = delegate()) {
        host->startedPresenting(currentPresentationID_, currentDocumentFilePath_, archiveFileName, error);
    }
}

void KeynoteCaptureService::notifyStoppedPresenting(const std::optional<std::string>& presentationID,
                                                    const ErrorPtr& error) {
    VELLog("Notifying that Keynote STOPPED presenting.");
    if (const auto host = delegate()) host->stoppedPresenting(presentationID, error);
}

void KeynoteCaptureService::notifyTransitionToSlide(std::int64_t slideNumber, Date timestamp,
                                                    const std::optional<Path>& imageFilePathURL) {
    VELLog("\nNotifying of transition to\n\tslide: %ld\n\tat: %@\n\twith image file: %@", slideNumber, timestamp,
           imageFilePathURL ? std::optional(imageFilePathURL->filename()) : std::nullopt);
    if (const auto host = delegate()) {
        host->slideDeckPresentedSlide(currentPresentationID_, slideNumber, timestamp, imageFilePathURL);
    }
}

void KeynoteCaptureService::eventDidFail(const std::string& /*event*/, const Error& error) {
    if (error.code() == kAppleEventTimeout) {
        VELLog("<!> Got an AppleEvent timeout");
    } else {
        VELLog("<!> Sending Apple Event to Keynote failed. Error:\n%@", error);
    }
}

std::shared_ptr<ScriptingDocument> KeynoteCaptureService::currentDocument() const {
    const auto application = keynoteApplication_.get();
    const auto id = currentDocumentID_.get();
    return application && id ? application->documentWithID(*id) : nullptr;
}
