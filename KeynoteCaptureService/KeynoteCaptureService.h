#pragma once

#include "KeynoteCaptureService/Timeline.h"
#include "MacShared/Atomic.h"
#include "ports/Dispatch.h"
#include "ports/KeynoteCaptureServiceDelegate.h"
#include "ports/KeynoteCaptureServiceProtocol.h"
#include "ports/Scripting.h"
#include "ports/WindowServer.h"
#include "ports/Workspace.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

class KeynoteCaptureSlideImageFileMonitor;

/// The one object behind a host's connection: watches the presentation program and captures what it shows.
///
/// Terms. A *presentation* is one slide show from start to stop; it gets a fresh upper-case UUID. Its *capture
/// directory* (`base capture directory / ID`) receives the archive copy of the deck and the slide images; its *working
/// directory* (`sandboxRootURL / recording ID / ID`), where the program may write, receives the exported images first.
///
/// The normal sequence. The host starts; the service observes the running applications, finds a supported program,
/// tells `detectedKeynoteLaunched` and polls it. A poll that finds it playing prepares the directories, has an
/// archive copy saved and tells `startedPresenting`. Each new slide number leads, half a polling interval later, to
/// `slideDeckPresentedSlide`. When playing ends, the images are exported, a monitor moves them, and when it is done
/// `stoppedPresenting` is told. The host stops, or its connection is lost.
///
/// Apart from that sequence a host may have a saved deck opened and its text and images written beside it, and may wait
/// until the program has saved what it was asked to. An extraction makes its own directories the current ones and takes
/// over the connection to the program: one that shares a service with a running capture misleads that capture.
///
/// Threads. All detection state belongs to the main queue, which never waits for the program: a poll sends its question
/// and goes on when the answer comes. Host calls arrive on the connection's queue: start and stop hop to the main
/// queue; the other operations work right there, on the properties that are atomic, and may wait.
///
/// Beside the delegate's calls a timeline tells what is known about the screen and how well: `Timeline`.
///
/// The class is one in several files by concern: control here, `+Monitoring`, `+Presenting`, `+Timeline`, `+Windows`,
/// `+Output`, `+Extraction`.
class KeynoteCaptureService final : public KeynoteCaptureServiceProtocol,
                                    public ScriptingDelegate,
                                    public std::enable_shared_from_this<KeynoteCaptureService> {
public:
    using Path = std::filesystem::path;
    using Delegate = KeynoteCaptureServiceDelegate;

    /// `initWithDelegate:`: null when the temporary directory cannot be created (the log says so).
    [[nodiscard]] static std::shared_ptr<KeynoteCaptureService> initWithDelegate(std::shared_ptr<Delegate> delegate);
    ~KeynoteCaptureService() override;
    KeynoteCaptureService(const KeynoteCaptureService&) = delete;
    KeynoteCaptureService& operator=(const KeynoteCaptureService&) = delete;

    // Control: the host's operations. Any thread.
    void startDetectionAndCaptureTo(const std::optional<Path>& captureDirectoryURL,
                                    const std::optional<std::string>& withRecordingId,
                                    ErrorReply withErrorReply) override;
    void stopDetectionAndCapture() override;
    void stopPresenting() override;
    void setKeynotePollingInterval(double seconds) override;
    void extractSlideFiles(const std::vector<std::string>& names, const std::string& forPresentationAt) override;
    void waitForSavingToCompleteAsync() override;
    void descriptionOfScriptableWindowsWithReply(TextReply reply) override;
    void descriptionOfKeynoteWindowsWithReply(TextReply reply) override;

    /// Whom to tell; null tells nobody. Any thread.
    [[nodiscard]] std::shared_ptr<Delegate> delegate() const { return delegate_.get(); }
    void setDelegate(std::shared_ptr<Delegate> delegate) { delegate_.set(std::move(delegate)); }
    /// Who hears the timeline; null for nobody, as at first. Any thread.
    void setTimelineListener(std::shared_ptr<TimelineListener> listener) { timelineListener_.set(std::move(listener)); }

    /// `createDirectoryIfNeededAtFilePath:error:`: creates the directory with its parents when it is missing. False
    /// with error code 4 (no path), 1 (a file stands there) or the file manager's error. Any thread.
    [[nodiscard]] static bool createDirectoryIfNeededAtFilePath(const std::optional<Path>& fileURL, ErrorPtr& error);

    /// `imageFileNameForSlideNumber:`: slide 7 is "slide.007.jpg".
    [[nodiscard]] static std::string imageFileNameForSlideNumber(std::int64_t slideNumber);

    /// The record taken to show the slide show: the only window that fills a screen, else the one that the front
    /// scriptable window names and frames; nothing when there is none. Main queue.
    [[nodiscard]] std::optional<WindowRecord> currentSlidePresentationWindowDescription();

    /// Part of the object's interface; nothing uses it.
    using MonitorForMethod = std::optional<std::map<std::string, std::string>>;
    [[nodiscard]] const MonitorForMethod& monitorForMethod() const { return monitorForMethod_; }
    void setMonitorForMethod(MonitorForMethod monitors) { monitorForMethod_ = std::move(monitors); }

    // Read-only state. The first three may be read on any thread, the rest on the main queue.
    [[nodiscard]] bool isKeynoteRunning() const { return currentKeynoteRunningApplication_.get() != nullptr; }
    [[nodiscard]] std::optional<std::string> currentDocumentID() const { return currentDocumentID_.get(); }
    [[nodiscard]] double pollingInterval() const { return pollingInterval_; }
    [[nodiscard]] bool isMonitoringActive() const { return monitoringActive_; }
    [[nodiscard]] bool isKeynotePresenting() const { return keynotePresenting_; }
    /// Whether the program owes the answer to a poll: until it has come, further polls are left out.
    [[nodiscard]] bool isPollUnderWay() const;
    [[nodiscard]] std::int64_t currentSlideNumber() const { return currentSlideNumber_; }
    [[nodiscard]] const std::optional<Path>& baseCaptureDirectoryURL() const { return baseCaptureDirectoryURL_; }
    [[nodiscard]] const std::optional<Path>& baseWorkingDirectoryURL() const { return baseWorkingDirectoryURL_; }
    [[nodiscard]] const std::optional<std::vector<WindowRecord>>& presentingWindowDescriptions() const {
        return presentingWindowDescriptions_;
    }

private:
    explicit KeynoteCaptureService(std::shared_ptr<Delegate> delegate);

    // Control
    void startOnMainQueue(const std::optional<Path>& captureDirectoryURL, const std::optional<std::string>& recordingID,
                          const ErrorReply& errorReply);
    void startMonitoring();
    void stopMonitoring();
    void handlePollingIntervalChanged();

    // Monitoring: the program's process and the polling timer. Main queue.
    [[nodiscard]] Workspace* observedWorkspace() const;
    void setObservedWorkspace(Workspace* workspace);
    void observeValueForKeyPath(std::string_view keyPath, const void* object);
    void handleRunningApplicationsChanged();
    /// Tells the launch once, after the first poll: what that finds is told before.
    void notifyLaunched();
    void handleKeynoteStarted();
    void handleKeynoteStopped();
    void handleKeynotePIDChanged();
    void updateScriptingApplicationIfNeeded();
    /// Makes whichever program runs the current one. Any thread.
    [[nodiscard]] std::shared_ptr<ScriptingApplication> replaceKeynoteApplication();
    void scheduleTimer();
    void removeTimer();
    void performPeriodicTask();

    // Presenting: what a poll evaluates. Main queue.
    void updateKeynotePresentingState();
    void askPresentingState(const std::shared_ptr<ScriptingApplication>& application);
    void takeAnswer(const std::shared_ptr<ScriptingApplication>& application, const PresentingState& state,
                    const ErrorPtr& lastError);
    void takePresentingState(const PresentingState& state);
    void updatePresentedDocumentState(const std::optional<ScriptingDocumentState>& firstDocument);
    void handlePresentingStateChanged();
    void handlePresentingStarted();
    void handlePresentingStopped();
    void handleCurrentSlideChanged();
    void notifyStartedPresenting(const std::optional<std::string>& archiveFileName, const ErrorPtr& error);
    void notifyStoppedPresenting(const std::optional<std::string>& presentationID, const ErrorPtr& error);
    void notifyTransitionToSlide(std::int64_t slideNumber, Date timestamp, const std::optional<Path>& imageFilePathURL);
    void eventDidFail(const std::string& event, const Error& error) override;
    /// A reference to the document with ID `currentDocumentID`; null without program or document. Any thread.
    [[nodiscard]] std::shared_ptr<ScriptingDocument> currentDocument() const;

    // Timeline: what polls see goes in, what comes of it to the listener. Main queue.
    void noteAnswer(ScriptingTimes times, const std::optional<std::string>& presentationID);
    void noteProgramGone(const std::optional<std::string>& presentationID);
    void reportTimeline(const Timeline::Entries& entries, std::optional<std::string> presentationID);

    // Windows
    [[nodiscard]] std::string descriptionOfCurrentScriptableWindows() const;
    [[nodiscard]] std::string descriptionOfCurrentKeynoteWindows() const;
    [[nodiscard]] std::vector<WindowRecord> currentKeynoteWindowDescriptions() const;
    void updateKeynotePresentingWindows();

    // Output: directories, archive copy, slide images. Main queue; extractions export and wait from their own thread.
    [[nodiscard]] bool prepareCaptureDiretoryForNewPresentation(ErrorPtr& error);
    [[nodiscard]] std::optional<std::string> saveCopyOfKeynoteDocument(
        const std::shared_ptr<ScriptingDocument>& document);
    /// Where the program writes the images of the current presentation; nothing without one.
    [[nodiscard]] std::optional<Path> slideExportDirectoryURL() const;
    void beginExportOfSlideImagesForDocument(const std::shared_ptr<ScriptingDocument>& document);
    void startVerificationOfSlideImages(const std::optional<std::set<std::string>>& names,
                                        const std::optional<Path>& inDirectory,
                                        const std::optional<Path>& toTargetDirectory,
                                        const std::optional<std::string>& documentID);
    /// Has a monitor move the images; `whenDone` runs on its queue, if this object still keeps the monitor then. Any
    /// thread.
    using WhenDone = std::function<void(KeynoteCaptureService&, const ErrorPtr&)>;
    void awaitSlideImages(std::set<std::string> names, const std::optional<Path>& inDirectory,
                          const std::optional<Path>& toTargetDirectory, WhenDone whenDone);
    using Monitor = KeynoteCaptureSlideImageFileMonitor;
    void keepMonitor(const std::shared_ptr<Monitor>& monitor);
    void dropMonitor(const std::shared_ptr<Monitor>& monitor);

    // Extraction. The thread of the host's call.
    /// Writes the document's text as `documentID.key.text.xml` into the directory.
    static void extractTextFromKeynoteDocument(const std::shared_ptr<ScriptingDocument>& document,
                                               const Path& toTargetDirectory, const std::string& documentID);

    Path sandboxRootURL_;
    Path temporaryDirectoryURL_;
    std::atomic<double> pollingInterval_{0.25};
    Handle periodicTimer_;
    std::optional<Path> baseCaptureDirectoryURL_;
    std::optional<Path> baseWorkingDirectoryURL_;
    std::string recordingID_;
    std::shared_ptr<DispatchQueue> fileOutputQueue_;
    shared::Atomic<std::shared_ptr<RunningApplication>> currentKeynoteRunningApplication_;
    Handle processIdentifierObservation_;
    shared::Atomic<std::shared_ptr<ScriptingApplication>> keynoteApplication_;
    std::shared_ptr<ScriptingApplication>
        askedApplication_;  ///< owes the answer to the latest poll; null when none does
    mutable std::recursive_mutex workspaceMutex_;
    Workspace* observedWorkspace_ = nullptr;
    Handle workspaceObservation_;
    bool launchIsUntold_ = false;
    bool monitoringActive_ = false;
    bool keynotePresenting_ = false;
    std::int64_t currentSlideNumber_ = 0;
    shared::Atomic<std::optional<std::string>> currentDocumentID_;
    std::optional<Path> currentDocumentFilePath_;
    std::optional<std::vector<WindowRecord>> presentingWindowDescriptions_;
    std::optional<std::string> currentPresentationID_;
    shared::Atomic<std::optional<Path>> currentPresentationCaptureDirectoryURL_;
    shared::Atomic<std::optional<Path>> currentPresentationWorkingDirectoryURL_;
    std::optional<std::set<std::string>> capturedSlideImageFileNames_;
    /// Keeps running monitors alive. Nothing after the first stop: later monitors are not kept, so they end at once.
    shared::Atomic<std::optional<std::vector<std::shared_ptr<Monitor>>>> slideImageMonitors_;
    MonitorForMethod monitorForMethod_;
    shared::Atomic<std::shared_ptr<Delegate>> delegate_;
    Timeline timeline_;
    shared::Atomic<std::shared_ptr<TimelineListener>> timelineListener_;
};
