#include "KeynoteCaptureService/KeynoteCaptureConstants.h"
#include "KeynoteCaptureService/KeynoteCaptureService.h"
#include "KeynoteCaptureService/KeynoteTextExtractor.h"
#include "MacShared/NSBundle+VELLogAdditions.h"
#include "ports/CaptureNames.h"
#include "ports/FileManager.h"
#include "ports/Platform.h"
#include "ports/Text.h"

namespace {

/// A deck may be a folder, and its path then end in a slash that is no part of its name.
std::filesystem::path withoutTrailingSlash(const std::filesystem::path& path) {
    return path.has_filename() ? path : path.parent_path();
}

}  // namespace

void KeynoteCaptureService::extractSlideFiles(const std::vector<std::string>& names,
                                              const std::string& forPresentationAt) {
    VELLog("Extracting files %@ from presentation %@", names, forPresentationAt);
    const auto application = replaceKeynoteApplication();
    const Path presentation = withoutTrailingSlash(forPresentationAt);
    // Starts the program when none runs; the connection below finds only one that does.
    platform().workspace.openFile(presentation, kKeynoteApplicationName);
    const auto document = application->open(presentation);

    const Path captureDirectory = presentation.parent_path();
    // The program may not write beside the deck. A fresh directory keeps images of earlier extractions out.
    const Path workingDirectory = sandboxRootURL_ / platform().text.makeUUID();
    currentPresentationCaptureDirectoryURL_.set(captureDirectory);
    currentPresentationWorkingDirectoryURL_.set(workingDirectory);
    ErrorPtr error;
    if (!createDirectoryIfNeededAtFilePath(workingDirectory, error)) {
        VELLog("Failed to create working directory: %@", workingDirectory);
        if (const auto host = delegate()) host->extractedSlideFilesForPresentation(forPresentationAt, error);
        return;
    }
    VELLog("Starting export of text...");
    // The text first: the export keeps the program busy for long.
    extractTextFromKeynoteDocument(document, captureDirectory, presentation.filename());
    beginExportOfSlideImagesForDocument(document);
    awaitSlideImages({names.begin(), names.end()}, slideExportDirectoryURL(),
                     currentPresentationCaptureDirectoryURL_.get(),
                     [document, forPresentationAt](KeynoteCaptureService& service, const ErrorPtr& failure) {
                         // The deck may have been open before, with changes of its user's in it.
                         if (document) document->close(kSaveOptionAsk);
                         const auto host = service.delegate();
                         if (host) host->extractedSlideFilesForPresentation(forPresentationAt, failure);
                     });
}

void KeynoteCaptureService::extractTextFromKeynoteDocument(const std::shared_ptr<ScriptingDocument>& document,
                                                           const Path& toTargetDirectory,
                                                           const std::string& documentID) {
    const auto extractor = std::make_shared<KeynoteTextExtractor>(document);
    // A failure is not reported: the host sees whether the file is there.
    static_cast<void>(
        platform().fileManager.createFile(toTargetDirectory / capture::textFileName(documentID), extractor->xmlData()));
}
