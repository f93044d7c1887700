#pragma once

#include "base/Error.h"
#include "base/Time.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

/// What the capture service tells its host. Called without waiting for the host; may be called from any thread.
/// What can be absent is optional; a null error means success.
class KeynoteCaptureServiceDelegate {
public:
    virtual ~KeynoteCaptureServiceDelegate() = default;

    /// `startedPresenting:originalDocumentPath:archive:error:`: once per slide show that starts. The archive is a
    /// file name in the presentation's capture directory.
    virtual void startedPresenting(const std::optional<std::string>& presentationID,
                                   const std::optional<std::filesystem::path>& originalDocumentPath,
                                   const std::optional<std::string>& archive, const ErrorPtr& error) = 0;
    /// `stoppedPresenting:error:`: the slide show has ended and its images are in place, or error code 5.
    virtual void stoppedPresenting(const std::optional<std::string>& presentationID, const ErrorPtr& error) = 0;
    /// `slideDeck:presentedSlide:at:imageFilePathURL:`: a slide is shown; where its image will be.
    virtual void slideDeckPresentedSlide(const std::optional<std::string>& presentationID, std::int64_t presentedSlide,
                                         Date at, const std::optional<std::filesystem::path>& imageFilePathURL) = 0;
    /// `extractedSlideFilesForPresentation:withError:`: an extraction has ended; the path as it was asked for, and
    /// error code 5 when images are missing.
    virtual void extractedSlideFilesForPresentation(const std::string& path, const ErrorPtr& withError) = 0;
    /// `savedArchiveDocuments`: the presentation program has finished saving.
    virtual void savedArchiveDocuments() = 0;
    /// `failedToSaveArchiveDocumentError:`: it ended before that; error code 6.
    virtual void failedToSaveArchiveDocumentError(const ErrorPtr& error) = 0;
    /// `detectedKeynoteLaunched`: a supported presentation program is being watched.
    virtual void detectedKeynoteLaunched() = 0;
    /// `detectedKeynoteTerminated`: the watched presentation program is gone.
    virtual void detectedKeynoteTerminated() = 0;
};
