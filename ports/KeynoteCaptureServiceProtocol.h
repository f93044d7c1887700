#pragma once

#include "base/Error.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// Called at most once with an error, which is not null.
using ErrorReply = std::function<void(const ErrorPtr&)>;
/// Called exactly once with a text, or nothing.
using TextReply = std::function<void(const std::optional<std::string>&)>;

/// What a host can ask of the capture service. The calls of a host arrive one after the other, on a queue of its
/// connection; other hosts do not wait for them. Replies are called on any thread; an empty one is allowed and skipped.
/// Paths are absolute. `docs/host-interface.md` tells the same to hosts in other languages.
class KeynoteCaptureServiceProtocol {
public:
    virtual ~KeynoteCaptureServiceProtocol() = default;

    /// `startDetectionAndCaptureTo:withRecordingId:withErrorReply:`
    /// Begins to watch the presentation program and to capture into the directory, which is created when missing. The
    /// reply is called only when starting failed, with a code of `KeynoteCaptureServiceError` or of the file system. A
    /// start while the service watches already stops that first. The caller owes one `stopDetectionAndCapture`, also
    /// after a failure.
    virtual void startDetectionAndCaptureTo(const std::optional<std::filesystem::path>& captureDirectoryURL,
                                            const std::optional<std::string>& withRecordingId,
                                            ErrorReply withErrorReply) = 0;
    /// `stopDetectionAndCapture`: stops watching and forgets the capture directories. Images that are still awaited are
    /// given up, and this connection awaits none any more: a host that records again connects anew.
    virtual void stopDetectionAndCapture() = 0;
    /// `stopPresenting`: asks the presentation program to end the running slide show of the current document. Does
    /// nothing when there is none; that it has ended is told as usual.
    virtual void stopPresenting() = 0;
    /// `setKeynotePollingInterval:`: seconds between polls, 0.25 unless set; less is accepted with a line in the log.
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
