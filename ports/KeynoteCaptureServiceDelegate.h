#pragma once

#include "base/Error.h"
#include "base/Time.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

/// What the capture service tells its host, in the order in which it happens. The service calls it from any thread and
/// never waits for the host: a call returns at once, cannot fail, and goes nowhere once the host has left. A host that
/// implements it must not throw and owes nothing in return. What can be absent is optional; a null error means success.
class KeynoteCaptureServiceDelegate {
public:
    virtual ~KeynoteCaptureServiceDelegate() = default;

    /// `startedPresenting:originalDocumentPath:archive:error:`: once per slide show that starts. The archive is the
    /// name of the deck's copy in the presentation's capture directory, which the program may still be writing; nothing
    /// when it could not be made, as the error says. The path is absent for a deck that was never saved.
    virtual void startedPresenting(const std::optional<std::string>& presentationID,
                                   const std::optional<std::filesystem::path>& originalDocumentPath,
                                   const std::optional<std::string>& archive, const ErrorPtr& error) = 0;
    /// `stoppedPresenting:error:`: the slide show has ended, and all images of slides that it showed are in place. With
    /// error code 5 some did not come in time.
    virtual void stoppedPresenting(const std::optional<std::string>& presentationID, const ErrorPtr& error) = 0;
    /// `slideDeck:presentedSlide:at:imageFilePathURL:`: a slide is shown, its number counted from 1. The image will
    /// lie at the path after the show has ended.
    virtual void slideDeckPresentedSlide(const std::optional<std::string>& presentationID, std::int64_t presentedSlide,
                                         Date at, const std::optional<std::filesystem::path>& imageFilePathURL) = 0;
    /// `extractedSlideFilesForPresentation:withError:`: an extraction has ended; the path as it was asked for, and
    /// error code 5 when images are missing.
    virtual void extractedSlideFilesForPresentation(const std::string& path, const ErrorPtr& withError) = 0;
    /// `savedArchiveDocuments`: the presentation program has finished saving.
    virtual void savedArchiveDocuments() = 0;
    /// `failedToSaveArchiveDocumentError:`: the program ended before it had finished saving; error code 6.
    virtual void failedToSaveArchiveDocumentError(const ErrorPtr& error) = 0;
    /// `detectedKeynoteLaunched`: a supported presentation program is being watched.
    virtual void detectedKeynoteLaunched() = 0;
    /// `detectedKeynoteTerminated`: the watched presentation program is gone.
    virtual void detectedKeynoteTerminated() = 0;
};
