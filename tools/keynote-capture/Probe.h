#pragma once

#include "host/CaptureServiceClient.h"
#include "tools/keynote-capture/Commands.h"
#include "tools/keynote-capture/Inbox.h"

namespace keynote_capture {

/// A short recording for one question or command. The service knows a program only while it records for the caller,
/// so this records into a directory of its own, which is removed with all traces at the end.
class Probe {
public:
    Probe();
    ~Probe();
    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;

    [[nodiscard]] bool waitForProgram();
    [[nodiscard]] bool waitForShow();
    [[nodiscard]] bool waitForEndOfShow(std::chrono::seconds atMost);
    /// The program's windows, scriptable ones or the window server's; false when no answer came.
    [[nodiscard]] bool waitForWindows(bool scriptable);
    /// What that answered.
    [[nodiscard]] const std::string& windows() const { return windows_; }
    /// Asks the program to end its show. After a successful wait.
    void stopPresenting() const { client_->stopPresenting(); }
    /// The exit status after a wait that failed; the sentence is for people and says what did not come.
    [[nodiscard]] ExitStatus failed(std::string_view sentence) const;

private:
    template <typename Done>
    bool waitUntil(std::chrono::milliseconds atMost, Done done);
    void start();

    void note(const host::DelegateCall& call);
    void note(const host::ProgramLaunched& call);
    void note(const host::ProgramTerminated& call);
    void note(const host::StartedPresenting& call);
    void note(const host::StoppedPresenting& call);
    void note(const RequestRefused& failure);
    void note(const WindowsDescribed& answer);
    void note(const ServiceLost& event);
    void note(const Interrupted& event);
    template <typename Other>
    void note(const Other& /*of no interest*/) {}

    Inbox inbox_;
    std::filesystem::path directory_;
    std::string recordingID_;
    std::unique_ptr<host::CaptureServiceClient> client_;
    bool programRuns_ = false;
    bool showRuns_ = false;
    bool showWasSeen_ = false;
    bool windowsCame_ = false;
    std::string windows_;
    std::optional<ExitStatus> fatal_;  ///< already told; ends every wait
};

}  // namespace keynote_capture
