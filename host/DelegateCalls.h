#pragma once

#include "ports/KeynoteCaptureServiceDelegate.h"

#include <variant>

namespace host {

/// The calls of the service's delegate as values, for hosts that handle them in one place: in a queue, a file or a
/// test. Their members are the calls' arguments.
struct ProgramLaunched {};
struct ProgramTerminated {};
struct StartedPresenting {
    std::optional<std::string> presentationID;
    std::optional<std::filesystem::path> originalDocumentPath;
    std::optional<std::string> archive;  ///< a file name in the presentation's capture directory
    ErrorPtr error;
};
struct PresentedSlide {
    std::optional<std::string> presentationID;
    std::int64_t number = 0;
    Date at;
    std::optional<std::filesystem::path> imageFilePath;
};
struct StoppedPresenting {
    std::optional<std::string> presentationID;
    ErrorPtr error;
};
struct ExtractedSlideFiles {
    std::string presentationPath;
    ErrorPtr error;
};
struct SavingEnded {
    ErrorPtr error;  ///< null when everything is saved
};
using DelegateCall = std::variant<ProgramLaunched, ProgramTerminated, StartedPresenting, PresentedSlide,
                                  StoppedPresenting, ExtractedSlideFiles, SavingEnded>;

/// A delegate that takes every call as a value.
class DelegateCalls : public KeynoteCaptureServiceDelegate {
public:
    void startedPresenting(const std::optional<std::string>& presentationID,
                           const std::optional<std::filesystem::path>& originalDocumentPath,
                           const std::optional<std::string>& archive, const ErrorPtr& error) final {
        take(StartedPresenting{presentationID, originalDocumentPath, archive, error});
    }
    void stoppedPresenting(const std::optional<std::string>& presentationID, const ErrorPtr& error) final {
        take(StoppedPresenting{presentationID, error});
    }
    void slideDeckPresentedSlide(const std::optional<std::string>& presentationID, std::int64_t presentedSlide, Date at,
                                 const std::optional<std::filesystem::path>& imageFilePathURL) final {
        take(PresentedSlide{presentationID, presentedSlide, at, imageFilePathURL});
    }
    void extractedSlideFilesForPresentation(const std::string& path, const ErrorPtr& withError) final {
        take(ExtractedSlideFiles{path, withError});
    }
    void savedArchiveDocuments() final { take(SavingEnded{}); }
    void failedToSaveArchiveDocumentError(const ErrorPtr& error) final { take(SavingEnded{error}); }
    void detectedKeynoteLaunched() final { take(ProgramLaunched{}); }
    void detectedKeynoteTerminated() final { take(ProgramTerminated{}); }

private:
    /// One call of the service's. On the thread that it came on, in the order of the calls.
    virtual void take(const DelegateCall& call) = 0;
};

}  // namespace host
