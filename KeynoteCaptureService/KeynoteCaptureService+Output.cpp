#include "KeynoteCaptureService/KeynoteCaptureConstants.h"
#include "KeynoteCaptureService/KeynoteCaptureService.h"
#include "KeynoteCaptureService/KeynoteCaptureSlideImageFileMonitor.h"
#include "KeynoteCaptureService/VELFileSaveMonitor.h"
#include "MacShared/NSBundle+VELLogAdditions.h"
#include "ports/CaptureNames.h"
#include "ports/FileManager.h"
#include "ports/Platform.h"
#include "ports/Scripting.h"
#include "ports/Text.h"

#include <utility>

namespace {

constexpr const char* kExportDirectory = "slide";
constexpr const char* kArchiveExtension = ".key";

std::optional<std::filesystem::path> appended(const std::optional<std::filesystem::path>& directory,
                                              const std::string& component) {
    if (!directory) return std::nullopt;
    return *directory / component;
}

}  // namespace

bool KeynoteCaptureService::prepareCaptureDiretoryForNewPresentation(ErrorPtr& error) {
    currentPresentationID_ = platform().text.makeUUID();
    const auto captureDirectory = appended(baseCaptureDirectoryURL_, *currentPresentationID_);
    // Both bear the same name, so that an image says which show it is of wherever it lies.
    const auto workingDirectory = appended(baseWorkingDirectoryURL_, *currentPresentationID_);
    currentPresentationCaptureDirectoryURL_.set(captureDirectory);
    currentPresentationWorkingDirectoryURL_.set(workingDirectory);
    return createDirectoryIfNeededAtFilePath(captureDirectory, error) &&
           createDirectoryIfNeededAtFilePath(workingDirectory, error);
}

std::optional<std::string> KeynoteCaptureService::saveCopyOfKeynoteDocument(
    const std::shared_ptr<ScriptingDocument>& document) {
    // Named by the presentation: a deck that is shown twice is archived twice, and its own name may be anything.
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
    // Without a document the file stays empty, which the host can see.
    if (document) document->save(target);
    return fileName;
}

std::string KeynoteCaptureService::imageFileNameForSlideNumber(std::int64_t slideNumber) {
    return capture::imageFileName(slideNumber);
}

std::optional<KeynoteCaptureService::Path> KeynoteCaptureService::slideExportDirectoryURL() const {
    return appended(currentPresentationWorkingDirectoryURL_.get(), kExportDirectory);
}

void KeynoteCaptureService::beginExportOfSlideImagesForDocument(const std::shared_ptr<ScriptingDocument>& document) {
    VELLog("Starting export of slide images...");
    const auto target = slideExportDirectoryURL();
    if (!document || !target) return;
    // The whole deck: the program exports no single slides, and the monitor takes those that were shown. Nothing is
    // drawn that the audience did not see, and the stages of a slide share one image.
    document->exportTo(*target, kExportFormatImages,
                       {{"compressionFactor", KeynoteCaptureServiceImageCompressionFactor},
                        {"imageFormat", kImageFormatJPEG},
                        {"allStages", false},
                        {"borders", false},
                        {"date", false},
                        {"slideNumbers", false}});
}

void KeynoteCaptureService::startVerificationOfSlideImages(const std::optional<std::set<std::string>>& names,
                                                           const std::optional<Path>& inDirectory,
                                                           const std::optional<Path>& toTargetDirectory,
                                                           const std::optional<std::string>& documentID) {
    awaitSlideImages(names.value_or(std::set<std::string>()), inDirectory, toTargetDirectory,
                     [documentID](KeynoteCaptureService& service, const ErrorPtr& error) {
                         service.notifyStoppedPresenting(documentID, error);
                     });
}

void KeynoteCaptureService::awaitSlideImages(std::set<std::string> names, const std::optional<Path>& inDirectory,
                                             const std::optional<Path>& toTargetDirectory, WhenDone whenDone) {
    const auto monitor = std::make_shared<Monitor>(std::move(names), inDirectory, toTargetDirectory);
    // Before it begins: it may be done before this function is.
    keepMonitor(monitor);
    monitor->startWithCompletion([weakService = weak_from_this(), weakMonitor = std::weak_ptr(monitor),
                                  whenDone = std::move(whenDone)](const ErrorPtr& error) {
        if (error) {
            VELLog("Could not find all expected slide images: %@", error);
        } else {
            VELLog("Finished verification of captured slide images.");
        }
        const auto service = weakService.lock();
        if (!service) return;
        service->dropMonitor(weakMonitor.lock());
        whenDone(*service, error);
    });
}

void KeynoteCaptureService::waitForSavingToCompleteAsync() {
    VELFileSaveMonitor monitor(fileOutputQueue_, replaceKeynoteApplication(), temporaryDirectoryURL_);
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
