#include "KeynoteCaptureService/VELFileSaveMonitor.h"

#include "KeynoteCaptureService/KeynoteCaptureServiceErrors.h"
#include "MacShared/NSBundle+VELLogAdditions.h"
#include "ports/Bundle.h"
#include "ports/FileManager.h"
#include "ports/Platform.h"
#include "ports/Scripting.h"
#include "ports/Text.h"
#include "ports/Workspace.h"

#include <chrono>
#include <optional>
#include <utility>

namespace {

constexpr Duration kInterval = std::chrono::seconds(1);
constexpr const char* kProbeExtension = ".key";

}  // namespace

/// One wait, on the monitor's queue. It keeps the queue, and its next tick keeps the wait: it goes on until it is done,
/// with or without those who began it, and so the probe does not stay open in the program.
class VELFileSaveMonitor::Wait : public std::enable_shared_from_this<Wait> {
public:
    Wait(std::shared_ptr<DispatchQueue> queue, std::shared_ptr<ScriptingApplication> application,
         std::filesystem::path probeURL, Completion completion)
        : queue_(std::move(queue)),
          application_(std::move(application)),
          emptyDocumentURL_(platform().bundles.mainBundle()->pathForResource("empty", "key", {})),
          probeURL_(std::move(probeURL)),
          completion_(std::move(completion)) {}

    void begin() { tickAfter(Duration::zero()); }

private:
    enum class Step { openProbe, saveProbe, awaitFile, awaitContents, done };

    void tickAfter(Duration delay) {
        queue_->after(delay, [wait = shared_from_this()] {
            if (wait->step_ == Step::done) return;
            wait->tickAfter(kInterval);
            wait->tick();
        });
    }

    void tick() {
        if (started_ && !application_->isRunning()) {
            VELLog("Failed to launch Keynote to detect save status");
            return finish(captureError(KeynoteCaptureServiceError::keynoteNotRunning));
        }
        if (step_ == Step::openProbe) openProbe();
        if (step_ == Step::saveProbe) saveProbe();
        if (step_ == Step::awaitFile) awaitFile();
        if (step_ == Step::awaitContents) awaitContents();
    }

    void openProbe() {
        platform().dispatch.mainQueue().sync([this] {
            application_->activate();
            if (emptyDocumentURL_) platform().workspace.openFile(*emptyDocumentURL_, kKeynoteApplicationName);
            probeDocument_ = application_->open(probeURL_);
        });
        started_ = true;
        if (probeDocument_) {
            step_ = Step::saveProbe;
        } else {
            VELLog("Couldn't open document");
        }
    }

    void saveProbe() {
        platform().dispatch.mainQueue().sync([this] { probeDocument_->save(probeURL_); });
        step_ = Step::awaitFile;
    }

    void awaitFile() {
        if (platform().fileManager.kindOf(probeURL_) != FileKind::none) {
            step_ = Step::awaitContents;
        } else {
            VELLog("File doesn't exist");
        }
    }

    void awaitContents() {
        const auto size = platform().fileManager.sizeOf(probeURL_).value_or(0);
        VELLog("File size %llu", size);
        if (size == 0) return;
        platform().dispatch.mainQueue().async([document = probeDocument_] { document->close(kSaveOptionNo); });
        finish(nullptr);
    }

    void finish(const ErrorPtr& error) {
        step_ = Step::done;
        platform().dispatch.mainQueue().async([completion = std::move(completion_), error] { completion(error); });
    }

    const std::shared_ptr<DispatchQueue> queue_;
    const std::shared_ptr<ScriptingApplication> application_;
    const std::optional<std::filesystem::path> emptyDocumentURL_;
    const std::filesystem::path probeURL_;
    Completion completion_;
    bool started_ = false;
    Step step_ = Step::openProbe;
    std::shared_ptr<ScriptingDocument> probeDocument_;
};

VELFileSaveMonitor::VELFileSaveMonitor(std::shared_ptr<DispatchQueue> queue,
                                       std::shared_ptr<ScriptingApplication> application,
                                       std::filesystem::path temporaryDirectoryURL)
    : queue_(std::move(queue)),
      application_(std::move(application)),
      temporaryDirectoryURL_(std::move(temporaryDirectoryURL)) {}

void VELFileSaveMonitor::waitForPresentationToSaveCompletion(Completion completion) {
    auto probeURL = temporaryDirectoryURL_ / (platform().text.makeUUID() + kProbeExtension);
    std::make_shared<Wait>(queue_, application_, std::move(probeURL), std::move(completion))->begin();
}
