#include "KeynoteCaptureService/VELFileSaveMonitor.h"

#include "KeynoteCaptureService/KeynoteCaptureConstants.h"
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
    enum class Step { openProbe, awaitFile, awaitContents, done };

    void tickAfter(Duration delay) {
        queue_->after(delay, [wait = shared_from_this()] {
            if (wait->step_ == Step::done) return;
            // Before the tick, so that the next comes on time however long this one takes.
            wait->tickAfter(kInterval);
            wait->tick();
        });
    }

    void tick() {
        if (isAsking_) return;
        // Before the probe was opened the program may only be starting.
        if (started_ && !application_->isRunning()) {
            VELLog("Failed to launch Keynote to detect save status");
            return finish(captureError(KeynoteCaptureServiceError::keynoteNotRunning));
        }
        if (step_ == Step::openProbe) return openProbe();
        lookForFile();
    }

    void openProbe() {
        isAsking_ = true;
        onMainQueue([this] {
            application_->activate();
            // Opening a real file starts the program when it does not run; the probe's own path holds no file yet.
            if (!emptyDocumentURL_) return askForProbe();
            platform().workspace.openFile(*emptyDocumentURL_, kKeynoteApplicationName,
                                          [wait = shared_from_this()](bool) { wait->askForProbe(); });
        });
    }

    void askForProbe() {
        // Where no file stands the program makes a new document for the path.
        application_->open(probeURL_, [wait = shared_from_this()](const std::shared_ptr<ScriptingDocument>& document) {
            wait->queue_->async([wait, document] { wait->takeProbe(document); });
        });
    }

    void takeProbe(const std::shared_ptr<ScriptingDocument>& document) {
        started_ = true;
        probeDocument_ = document;
        if (probeDocument_) return saveProbe();
        // The next tick tries again: the program may have been busy.
        VELLog("Couldn't open document");
        isAsking_ = false;
    }

    void saveProbe() {
        onMainQueue([this] {
            probeDocument_->save(probeURL_);
            queue_->async([wait = shared_from_this()] {
                wait->isAsking_ = false;
                wait->step_ = Step::awaitFile;
                wait->lookForFile();
            });
        });
    }

    void lookForFile() {
        if (step_ == Step::awaitFile) awaitFile();
        if (step_ == Step::awaitContents) awaitContents();
    }

    void awaitFile() {
        if (platform().fileManager.kindOf(probeURL_) != FileKind::none) {
            step_ = Step::awaitContents;
        } else {
            VELLog("File doesn't exist");
        }
    }

    void awaitContents() {
        // An empty file may stand there before the program has written anything.
        const auto size = platform().fileManager.sizeOf(probeURL_).value_or(0);
        VELLog("File size %llu", size);
        if (size == 0) return;
        // Its user never asked for the probe, and must not be asked about it.
        platform().dispatch.mainQueue().async([document = probeDocument_] { document->close(kSaveOptionNo); });
        finish(nullptr);
    }

    /// The wait lives until the task has run.
    void onMainQueue(Task task) {
        platform().dispatch.mainQueue().async([wait = shared_from_this(), task = std::move(task)] { task(); });
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
    bool isAsking_ = false;  ///< the main queue or the program is at work for this wait; ticks do nothing meanwhile
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
