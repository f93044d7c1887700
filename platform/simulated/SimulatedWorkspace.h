#pragma once

#include "base/ObserverList.h"
#include "ports/Dispatch.h"
#include "ports/Workspace.h"

namespace simulated {

/// An application that a test makes and changes.
class SimulatedApplication final : public RunningApplication {
public:
    SimulatedApplication(std::string bundleIdentifier, std::optional<std::filesystem::path> bundleURL, pid_t pid)
        : bundleIdentifier_(std::move(bundleIdentifier)), bundleURL_(std::move(bundleURL)), pid_(pid) {}

    [[nodiscard]] std::string bundleIdentifier() const override { return bundleIdentifier_; }
    [[nodiscard]] std::optional<std::filesystem::path> bundleURL() const override { return bundleURL_; }
    [[nodiscard]] pid_t processIdentifier() const override { return pid_; }
    [[nodiscard]] Handle observeProcessIdentifier(std::function<void()> observer) override {
        return observers_.addAndTell(observer);
    }

    void setProcessIdentifier(pid_t pid) {
        pid_ = pid;
        observers_.notify();
    }

private:
    const std::string bundleIdentifier_;
    const std::optional<std::filesystem::path> bundleURL_;
    pid_t pid_;
    ObserverList<> observers_;
};

/// The running applications as a test sets them.
class SimulatedWorkspace final : public Workspace {
public:
    explicit SimulatedWorkspace(DispatchQueue& mainQueue) : mainQueue_(mainQueue) {}

    [[nodiscard]] std::vector<std::shared_ptr<RunningApplication>> runningApplications() const override {
        return told_;
    }
    [[nodiscard]] Handle observeRunningApplications(std::function<void()> observer) override {
        return observers_.addAndTell(observer);
    }

    bool openFile(const std::filesystem::path& path, const std::string& withApplication) override {
        return opener && opener(path, withApplication);
    }
    void openFile(const std::filesystem::path& path, const std::string& withApplication,
                  std::function<void(bool)> whenTold) override {
        mainQueue_.async([this, path, withApplication, whenTold = std::move(whenTold)] {
            whenTold(openFile(path, withApplication));
        });
    }

    /// What `openFile` does; without it no application can be found.
    std::function<bool(const std::filesystem::path&, const std::string&)> opener;
    /// How late observers hear of a change; without it, before `add` and `remove` return.
    std::optional<Duration> tellsAfter;

    void add(std::shared_ptr<RunningApplication> application) {
        applications_.push_back(std::move(application));
        tell();
    }

    void remove(const std::shared_ptr<RunningApplication>& application) {
        std::erase(applications_, application);
        tell();
    }

private:
    using Applications = std::vector<std::shared_ptr<RunningApplication>>;

    void tell() {
        const auto change = [this, now = applications_] {
            told_ = now;
            observers_.notify();
        };
        tellsAfter ? mainQueue_.after(*tellsAfter, change) : change();
    }

    DispatchQueue& mainQueue_;
    Applications applications_;
    Applications told_;  ///< what observers have heard of
    ObserverList<> observers_;
};

}  // namespace simulated
