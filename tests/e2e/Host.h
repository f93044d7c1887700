#pragma once

#include "host/CaptureServiceClient.h"
#include "host/DelegateCalls.h"
#include "tests/support/Deadline.h"

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// A recorder in the test's process. What the service tells it becomes a line each; presentations are numbered as they
/// come: "launched", "P1 started", "P1 slide 3", "P1 stopped", "terminated", with the error's code at the end if there
/// is one ("P1 stopped, error 5"). "start failed: ..." and "lost" come from the client.
class Host final : private host::DelegateCalls {
public:
    using Lines = std::vector<std::string>;

    Host();
    ~Host() override;
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    [[nodiscard]] host::CaptureServiceClient& service() { return *client_; }
    void record(const std::optional<std::filesystem::path>& directory,
                const std::optional<std::string>& recordingID = "recording");

    /// All lines, once the line is among them so often; fails the test with an exception when it does not come in time.
    Lines waitFor(const std::string& line, int times = 1, std::chrono::milliseconds deadline = kDeadline);
    /// All lines, once everything is told that the service had decided to tell.
    Lines settled();
    [[nodiscard]] Lines lines() const;
    /// The error of the last start that failed.
    [[nodiscard]] ErrorPtr startError() const;

    struct Presentation {
        std::string id;
        std::optional<std::filesystem::path> document;
        std::optional<std::string> archive;
        /// Where the slides' images were said to come.
        std::vector<std::filesystem::path> images;
    };
    /// From 1.
    [[nodiscard]] Presentation presentation(std::size_t number) const;

private:
    void take(const host::DelegateCall& call) override;
    void note(const host::ProgramLaunched& /*call*/) { add("launched"); }
    void note(const host::ProgramTerminated& /*call*/) { add("terminated"); }
    void note(const host::StartedPresenting& call);
    void note(const host::PresentedSlide& call);
    void note(const host::StoppedPresenting& call) { add(nameOf(call.presentationID) + " stopped", call.error); }
    void note(const host::ExtractedSlideFiles& call) { add("extracted " + call.presentationPath, call.error); }
    void note(const host::SavingEnded& call) { add(call.error ? "not saved" : "saved", call.error); }

    void add(const std::string& line, const ErrorPtr& error = nullptr);
    /// "P" and the number; with the lock held.
    [[nodiscard]] std::string nameOf(const std::optional<std::string>& presentationID) const;

    mutable std::recursive_mutex mutex_;
    std::condition_variable_any changed_;
    Lines lines_;  ///< this and what follows guarded by `mutex_`
    std::vector<Presentation> presentations_;
    ErrorPtr startError_;
    int settled_ = 0;
    std::unique_ptr<host::CaptureServiceClient> client_;  ///< last, so that its thread ends first
};
