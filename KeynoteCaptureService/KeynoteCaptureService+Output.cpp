#include "KeynoteCaptureService/KeynoteCaptureConstants.h"
#include "KeynoteCaptureService/KeynoteCaptureService.h"
#include "KeynoteCaptureService/KeynoteCaptureSlideImageFileMonitor.h"
#include "KeynoteCaptureService/KeynoteTextExtractor.h"
#include "KeynoteCaptureService/VELFileSaveMonitor.h"
#include "MacShared/NSBundle+VELLogAdditions.h"
#include "ports/FileManager.h"
#include "ports/Platform.h"
#include "ports/Text.h"

namespace {

constexpr const char* kSlideName = "slide";
constexpr const char* kArchiveExtension = ".key";
constexpr const char* kTextExtension = ".key.text.xml";
/// Export as slide images, and JPEG as their format: codes of the program's scripting dictionary.
constexpr const char* kSlideImagesFormat = "Kimg";
constexpr const char* kJPEGFormat = "Kifj";

std::optional<std::filesystem::path> appended(const std::optional<std::filesystem::path>& directory,
                                              const std::string& component) {
    if (!directory) return std::nullopt;
    return *directory / component;
}

void logVerification(const ErrorPtr& error) {
    if (error) {
        VELLog("Could not find all expected slide images: %@", error);
    } else {
        VELLog("Finished verification of captured slide images.");
    }
}

}  // namespace

bool KeynoteCaptureService::prepareCaptureDiretoryForNewPresentation(ErrorPtr& error) {
    currentPresentationID_ = platform().text.makeUUID();
    const auto captureDirectory = appended(baseCaptureDirectoryURL_, *currentPresentationID_);
    const auto workingDirectory = appended(baseWorkingDirectoryURL_, *currentPresentationID_);
    currentPresentationCaptureDirectoryURL_.set(captureDirectory);
    currentPresentationWorkingDirectoryURL_.set(workingDirectory);
    return createDirectoryIfNeededAtFilePath(captureDirectory, error) &&
           createDirectoryIfNeededAtFilePath(workingDirectory, error);
}

std::optional<std::string> KeynoteCaptureService::saveCopyOfKeynoteDocument(
    const std::shared_ptr<ScriptingDocument>& document) {
    const std::string fileName = currentPresentationID_.value_or("") + kArchiveExtension;
    const auto directory = currentPresentationCaptureDirectoryURL_.get();
    auto& files = platform().fileManager;
    if (!directory || files.kindOf(*directory) != FileKind::directory) {
        VELLog("Can't save archive copy of presentation, capture directory does not exist.");
        return std::nullopt;
    }
    const Path target = *directory / fileName;
    // The empty file shows that the directory can be written, and is in place before the program writes.
    if (files.createFile(target, "")) {
        VELLog("Can't save archive copy of presentation, Can not write file in capture directory (permissions?)");
        return std::nullopt;
    }
    if (document) document->save(target);
    return fileName;
}

std::string KeynoteCaptureService::imageFileNameForSlideNumber(std::int64_t slideNumber) {
    return formatMessage("%@.%03ld.jpg", kSlideName, slideNumber);
}

std::optional<KeynoteCaptureService::Path> KeynoteCaptureService::slideExportDirectoryURL() const {
    return appended(currentPresentationWorkingDirectoryURL_.get(), kSlideName);
}

void KeynoteCaptureService::beginExportOfSlideImagesForDocument(const std::shared_ptr<ScriptingDocument>& document) {
    VELLog("Starting export of slide images...");
    const auto target = slideExportDirectoryURL();
    if (!document || !target) return;
    document->exportTo(*target, kSlideImagesFormat,
                       {{"compressionFactor", KeynoteCaptureServiceImageCompressionFactor},
                        {"imageFormat", kJPEGFormat},
                        {"allStages", false},
                        {"borders", false},
                        {"date", false},
                        {"slideNumbers", false}});
}

void KeynoteCaptureService::startVerificationOfSlideImages(const std::optional<std::set<std::string>>& names,
                                                           const std::optional<Path>& inDirectory,
                                                           const std::optional<Path>& toTargetDirectory,
                                                           const std::optional<std::string>& documentID) {
    const auto monitor =
        std::make_shared<Monitor>(names.value_or(std::set<std::string>()), inDirectory, toTargetDirectory);
    keepMonitor(monitor);
    monitor->startWithCompletion(
        [weakService = weak_from_this(), weakMonitor = std::weak_ptr(monitor), documentID](const ErrorPtr& error) {
            logVerification(error);
            const auto service = weakService.lock();
            if (!service) return;
            service->dropMonitor(weakMonitor.lock());
            service->notifyStoppedPresenting(documentID, error);
        });
}

void KeynoteCaptureService::extractSlideFiles(const std::vector<std::string>& names,
                                              const std::string& forPresentationAt) {
    VELLog("Extracting files %@ from presentation %@", names, forPresentationAt);
    const Path presentation = forPresentationAt;
    const auto application = platform().scripting.applicationForBundleIdentifier(kKeynoteBundleIdentifier);
    keynoteApplication_.set(application);
    platform().workspace.openFile(presentation, kKeynoteApplicationName);
    const auto document = application->open(presentation);

    const Path captureDirectory = presentation.parent_path();
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
    extractTextFromKeynoteDocument(document, captureDirectory, presentation.filename());
    beginExportOfSlideImagesForDocument(document);
    startVerificationOfExtractedImages(names, document, forPresentationAt);
}

void KeynoteCaptureService::extractTextFromKeynoteDocument(const std::shared_ptr<ScriptingDocument>& document,
                                                           const std::optional<Path>& toTargetDirectory,
                                                           const std::string& documentID) {
    const auto target = appended(toTargetDirectory, documentID + kTextExtension);
    if (!target) return;
    // A failure is not reported: the host sees whether the file is there.
    static_cast<void>(platform().fileManager.createFile(*target, KeynoteTextExtractor::xmlDataForDocument(document)));
}

void KeynoteCaptureService::startVerificationOfExtractedImages(const std::vector<std::string>& names,
                                                               const std::shared_ptr<ScriptingDocument>& document,
                                                               const std::string& presentationPath) {
    const auto monitor =
        std::make_shared<Monitor>(std::set<std::string>(names.begin(), names.end()), slideExportDirectoryURL(),
                                  currentPresentationCaptureDirectoryURL_.get());
    keepMonitor(monitor);
    monitor->startWithCompletion([weakService = weak_from_this(), weakMonitor = std::weak_ptr(monitor), document,
                                  presentationPath](const ErrorPtr& error) {
        logVerification(error);
        if (document) document->close(kSaveOptionAsk);
        const auto service = weakService.lock();
        if (!service) return;
        service->dropMonitor(weakMonitor.lock());
        if (const auto host = service->delegate()) host->extractedSlideFilesForPresentation(presentationPath, error);
    });
}

void KeynoteCaptureService::waitForSavingToCompleteAsync() {
    const auto application = platform().scripting.applicationForBundleIdentifier(kKeynoteBundleIdentifier);
    keynoteApplication_.set(application);
    VELFileSaveMonitor monitor(fileOutputQueue_, application, temporaryDirectoryURL_);
    monitor.waitForPresentationToSaveCompletion([weak = weak_from_this()](const ErrorPtr& error) {
        const auto service = weak.lock();
        const auto host = service ? service->delegate() : nullptr;
        if (!host) return;
        if (error) {
            host->failedToSaveArchiveDocumentError(error);
        } else {
            host->savedArchiveDocuments();
        }
    });
}

void KeynoteCaptureService::keepMonitor(const std::shared_ptr<Monitor>& monitor) {
    slideImageMonitors_.update([&monitor](auto& monitors) {
        if (monitors) monitors->push_back(monitor);
    });
}

void KeynoteCaptureService::dropMonitor(const std::shared_ptr<Monitor>& monitor) {
    slideImageMonitors_.update([&monitor](auto& monitors) {
        if (monitors) std::erase(*monitors, monitor);
    });
}
