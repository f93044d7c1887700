#pragma once

#include "base/Error.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// Called at most once with an error.
using ErrorReply = std::function<void(const ErrorPtr&)>;
/// Called exactly once with a text, or nothing.
using TextReply = std::function<void(const std::optional<std::string>&)>;

/// What a host can ask of the capture service. The calls arrive on a queue of the connection, one after the other. An
/// empty (default-made) reply is allowed and skipped.
class KeynoteCaptureServiceProtocol {
public:
    virtual ~KeynoteCaptureServiceProtocol() = default;

    /// `startDetectionAndCaptureTo:withRecordingId:withErrorReply:`
    /// Begins to watch the presentation program and to capture into the directory. The reply is called only when
    /// starting failed.
    virtual void startDetectionAndCaptureTo(const std::optional<std::filesystem::path>& captureDirectoryURL,
                                            const std::optional<std::string>& withRecordingId,
                                            ErrorReply withErrorReply) = 0;
    /// `stopDetectionAndCapture`: stops watching and forgets the capture directories.
    virtual void stopDetectionAndCapture() = 0;
    /// `stopPresenting`: asks the presentation program to end the running slide show of the current document.
    virtual void stopPresenting() = 0;
    /// `setKeynotePollingInterval:`: seconds between polls; below 0.25 is accepted with a warning.
    virtual void setKeynotePollingInterval(double seconds) = 0;
    /// `extractSlideFiles:forPresentationAt:`: opens the presentation file, writes its text and moves the slide images
    /// of these names into its directory. Answered with `extractedSlideFilesForPresentation`. The call waits for as
    /// long as the program needs to open the file and to tell its text.
    virtual void extractSlideFiles(const std::vector<std::string>& names, const std::string& forPresentationAt) = 0;
    /// `waitForSavingToCompleteAsync`: waits until the presentation program has finished saving. Answered with
    /// `savedArchiveDocuments` or `failedToSaveArchiveDocumentError`.
    virtual void waitForSavingToCompleteAsync() = 0;
    /// `descriptionOfScriptableWindowsWithReply:`: a text that lists the program's scriptable windows, or nothing
    /// when it is not running. The call waits for the program.
    virtual void descriptionOfScriptableWindowsWithReply(TextReply reply) = 0;
    /// `descriptionOfKeynoteWindowsWithReply:`: a text that lists the window server's records of the program's
    /// windows, or nothing when it is not running.
    virtual void descriptionOfKeynoteWindowsWithReply(TextReply reply) = 0;
};
