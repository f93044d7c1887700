#include "tools/keynote-capture/Probe.h"

#include "commandline/PrintableText.h"
#include "commandline/Translation.h"
#include "ports/CaptureNames.h"

#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>

namespace keynote_capture {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

fs::path homeDirectory() {
    if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') return home;
    const passwd* entry = getpwuid(getuid());
    return entry != nullptr ? entry->pw_dir : "/";
}

/// Where the service keeps a recording's working files.
fs::path workingDirectory(const std::string& recordingID) {
    return capture::workingRoot(homeDirectory()) / recordingID;
}

fs::path makeTemporaryDirectory() {
    std::error_code failure;
    // The name becomes the recording ID, so that probes at the same time keep apart.
    std::string path = (fs::temp_directory_path(failure) / "keynote-capture-XXXXXX").native();
    if (failure || mkdtemp(path.data()) == nullptr) return {};
    return path;
}

/// The presentation program may still be writing into the directory, so removing it can take several attempts.
void removeDirectory(const fs::path& directory) {
    std::error_code failure;
    for (int attempt = 0; attempt < 20; ++attempt) {
        fs::remove_all(directory, failure);
        if (!failure) return;
        std::this_thread::sleep_for(50ms);
    }
    complain(translated("Cannot remove {}: {}", printable(directory), failure.message()));
}

}  // namespace

Probe::Probe() : directory_(makeTemporaryDirectory()), recordingID_(directory_.filename()) {
    if (directory_.empty()) {
        complain(translated("Cannot make a temporary directory: {}", std::strerror(errno)));
        fatal_ = kOperationFailed;
        return;
    }
    ErrorPtr error;
    client_ = host::CaptureServiceClient::connect(
        inbox_, [this] { inbox_.post(ServiceLost{}); }, error);
    if (client_) {
        start();
    } else {
        fatal_ = reported(*error);
    }
}

Probe::~Probe() {
    if (client_) client_->stopDetectionAndCapture();
    // Stopping in the middle of a show makes the program export its slides; let that begin before its target goes.
    if (showRuns_) waitUntil(1s, [this] { return !showRuns_; });
    // The service forgets the directories before they are removed.
    client_.reset();
    if (directory_.empty()) return;
    removeDirectory(directory_);
    removeDirectory(workingDirectory(recordingID_));
}

void Probe::start() {
    client_->startDetectionAndCaptureTo(directory_, recordingID_,
                                        [this](const ErrorPtr& error) { inbox_.post(RequestRefused{error}); });
}

/// The service finds a program that runs within its first poll; a loaded computer gets a few.
bool Probe::waitForProgram() {
    return waitUntil(3s, [this] { return programRuns_; });
}

/// Shorter: the program is known by now, and whoever asks expects that no show runs.
bool Probe::waitForShow() {
    return waitUntil(1500ms, [this] { return showWasSeen_; });
}

bool Probe::waitForEndOfShow(std::chrono::seconds atMost) {
    return waitUntil(atMost, [this] { return !showRuns_; });
}

bool Probe::waitForWindows(bool scriptable) {
    const auto reply = [this](const std::optional<std::string>& text) { inbox_.post(WindowsDescribed{text}); };
    if (scriptable) {
        client_->descriptionOfScriptableWindowsWithReply(reply);
    } else {
        client_->descriptionOfKeynoteWindowsWithReply(reply);
    }
    // A busy program takes its time, and the service waits for it as long as its reply may take.
    return waitUntil(30s, [this] { return windowsCame_; });
}

ExitStatus Probe::failed(std::string_view sentence) const {
    if (fatal_) return *fatal_;
    complain(sentence);
    return kOperationFailed;
}

template <typename Done>
bool Probe::waitUntil(std::chrono::milliseconds atMost, Done done) {
    const Instant deadline = std::chrono::steady_clock::now() + atMost;
    while (!fatal_ && !done()) {
        const Event event = inbox_.next(deadline);
        // What comes in meanwhile counts, whatever is waited for: a program may quit.
        if (std::holds_alternative<TimedOut>(event)) return false;
        std::visit([this](const auto& each) { this->note(each); }, event);
    }
    return !fatal_;
}

void Probe::note(const host::DelegateCall& call) {
    std::visit([this](const auto& each) { this->note(each); }, call);
}

void Probe::note(const host::ProgramLaunched& /*call*/) {
    programRuns_ = true;
}

void Probe::note(const host::ProgramTerminated& /*call*/) {
    fatal_ = failed(translated("The presentation program has quit."));
}

void Probe::note(const host::StartedPresenting& /*call*/) {
    showRuns_ = true;
    showWasSeen_ = true;
}

void Probe::note(const host::StoppedPresenting& /*call*/) {
    showRuns_ = false;
}

void Probe::note(const RequestRefused& failure) {
    fatal_ = reported(*failure.error);
}

void Probe::note(const WindowsDescribed& answer) {
    windowsCame_ = true;
    windows_ = answer.text.value_or(std::string());
}

void Probe::note(const ServiceLost& /*event*/) {
    fatal_ = kNoService;
    complain(translated("The capture service has gone."));
}

/// Without a word: whoever interrupts knows.
void Probe::note(const Interrupted& /*event*/) {
    fatal_ = kOperationFailed;
}

}  // namespace keynote_capture
