#include "KeynoteCaptureService/KeynoteCaptureService.h"
#include "KeynoteCaptureService/KeynoteCaptureServiceErrors.h"
#include "MacShared/NSBundle+VELLogAdditions.h"
#include "ports/Clock.h"
#include "ports/Platform.h"

#include <utility>

void KeynoteCaptureService::updateKeynotePresentingState() {
    const auto application = isKeynoteRunning() ? keynoteApplication_.get() : nullptr;
    const bool isThere = application && application->isRunning();
    // A slow program gets one question at a time. The next tick asks for what it is by then; until the answer comes the
    // windows stay those of the question, which is about one moment.
    if (isThere && isPollUnderWay()) return timeline_.skipped();
    updateKeynotePresentingWindows();
    if (isThere) {
        askPresentingState(application);
    } else {
        // Without a program there is nothing to ask, and a show that was running has ended.
        const auto presentationID = currentPresentationID_;
        takePresentingState({});
        noteProgramGone(presentationID);
    }
}

bool KeynoteCaptureService::isPollUnderWay() const {
    return askedApplication_ && askedApplication_ == keynoteApplication_.get();
}

void KeynoteCaptureService::askPresentingState(const std::shared_ptr<ScriptingApplication>& application) {
    askedApplication_ = application;
    timeline_.sent(platform().clock.steadyNow());
    application->presentingState([weak = weak_from_this(), asked = std::weak_ptr(application)](
                                     const PresentingState& state, const ErrorPtr& lastError) {
        if (const auto service = weak.lock()) service->takeAnswer(asked.lock(), state, lastError);
    });
}

void KeynoteCaptureService::takeAnswer(const std::shared_ptr<ScriptingApplication>& application,
                                       const PresentingState& state, const ErrorPtr& lastError) {
    // An answer of a program that is no longer the current one says nothing about the one that is.
    const bool isCurrent = isPollUnderWay() && askedApplication_ == application;
    if (isCurrent) askedApplication_ = nullptr;
    if (isCurrent && lastError) {
        VELLog(
            "Apple Event error occured when checking Keynote presenting state. Skipping this polling update. %@ %@ "
            "(%ld)",
            lastError, lastError->localizedDescription(), lastError->code());
        reportTimeline(timeline_.failed(), currentPresentationID_);
    } else if (isCurrent) {
        const auto presentationID = currentPresentationID_;
        takePresentingState(state);
        noteAnswer(state.times, presentationID);
    }
    if (!isPollUnderWay()) notifyLaunched();
}

/// Evaluates a poll.
void KeynoteCaptureService::takePresentingState(const PresentingState& state) {
    bool presenting = isKeynoteRunning() && state.playing.value_or(false);
    if (isKeynoteRunning() && !state.playing) {
        // A window that fills a screen is how a show looks from outside.
        presenting = presentingWindowDescriptions_ && !presentingWindowDescriptions_->empty();
        VELLog(
            "Keynote does not have scripting property for 'playing', falling back to detecting presentation window.");
    }
    const bool wasPresenting = std::exchange(keynotePresenting_, presenting);
    const std::int64_t previousSlideNumber = currentSlideNumber_;
    // Before anything is told: what is told names the document and the slide of the same poll.
    updatePresentedDocumentState(state.firstDocument);
    if (keynotePresenting_ != wasPresenting) handlePresentingStateChanged();
    // After the start of the show, whose first slide is a change from none.
    if (currentSlideNumber_ != previousSlideNumber && keynotePresenting_) handleCurrentSlideChanged();
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
    // Now rather than at the end: this is the deck as it was shown, and the program may be closed in the middle.
    const auto archive = saveCopyOfKeynoteDocument(currentDocument());
    if (!archive) {
        error = captureError(KeynoteCaptureServiceError::archiveNotSaved, ErrorDescriptions::shared().archiveNotSaved);
    }
    // The show goes on without its archive; its slides are told and their images fetched all the same.
    capturedSlideImageFileNames_.emplace();
    notifyStartedPresenting(archive, error);
}

void KeynoteCaptureService::handlePresentingStopped() {
    // Only now: exporting makes the program slow, which the audience would notice during the show.
    beginExportOfSlideImagesForDocument(currentDocument());
    startVerificationOfSlideImages(capturedSlideImageFileNames_, slideExportDirectoryURL(),
                                   currentPresentationCaptureDirectoryURL_.get(), currentPresentationID_);
    // Everything that belongs to the show has been handed on; the next one must find none of it.
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
            // The directory of the show that the slide belongs to, which may have ended meanwhile.
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
