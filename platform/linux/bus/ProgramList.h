#pragma once

#include "base/ObserverList.h"
#include "ports/Dispatch.h"
#include "ports/Workspace.h"

#include <atomic>
#include <cstdint>
#include <mutex>

namespace bus {

/// A presentation program that runs. Any thread.
class RunningProgram final : public RunningApplication {
public:
    /// What a program tells of itself. `since` counts up over all programs: who had its process identifier first.
    struct Facts {
        std::string bundleIdentifier;
        std::optional<std::filesystem::path> bundleURL;
        pid_t processIdentifier = 0;
        std::uint64_t since = 0;
        std::string owner;  ///< the program's unique name on the bus
    };

    RunningProgram(Facts facts, DispatchQueue& mainQueue);

    [[nodiscard]] std::string bundleIdentifier() const override { return facts_.bundleIdentifier; }
    [[nodiscard]] std::optional<std::filesystem::path> bundleURL() const override { return facts_.bundleURL; }
    [[nodiscard]] pid_t processIdentifier() const override { return processIdentifier_; }
    [[nodiscard]] Handle observeProcessIdentifier(std::function<void()> observer) override {
        return observers_->addAndTell(observer);
    }

    [[nodiscard]] const std::string& owner() const { return facts_.owner; }
    [[nodiscard]] std::uint64_t since() const { return since_; }
    void setProcessIdentifier(pid_t processIdentifier, std::uint64_t since);

private:
    const Facts facts_;
    DispatchQueue& mainQueue_;
    std::atomic<pid_t> processIdentifier_;
    std::atomic<std::uint64_t> since_;
    const std::shared_ptr<ObserverList<>> observers_ = std::make_shared<ObserverList<>>();
};

/// The programs that run, in their order: as they are now, and as the main queue has been told. The latter follows
/// change by change, however busy the main queue was meanwhile, so that it sees a program leave before it sees another
/// in its place. Any thread.
class ProgramList : public std::enable_shared_from_this<ProgramList> {
public:
    using Programs = std::vector<std::shared_ptr<RunningProgram>>;

    explicit ProgramList(DispatchQueue& mainQueue);

    /// What there is now. Complete: every program has said what it is, or is not waited for.
    void publish(Programs programs, bool isComplete);

    /// The unique name of the last program with the bundle identifier, as it is now.
    [[nodiscard]] std::optional<std::string> ownerOfBundle(const std::string& bundleIdentifier) const;
    /// The unique name of the program that has had the process identifier for the longest time, as it is now.
    [[nodiscard]] std::optional<std::string> ownerOfProcess(pid_t processIdentifier) const;
    [[nodiscard]] bool isComplete() const;

    /// What the main queue has been told.
    [[nodiscard]] std::vector<std::shared_ptr<RunningApplication>> toldPrograms() const;
    [[nodiscard]] bool toldIsComplete() const;
    [[nodiscard]] Handle observe(const std::function<void()>& observer) { return observers_.addAndTell(observer); }

private:
    struct State {
        Programs programs;
        bool isComplete = false;
    };
    void tell(const State& state);

    DispatchQueue& mainQueue_;
    ObserverList<> observers_;
    mutable std::mutex mutex_;
    State now_;   ///< guarded by `mutex_`
    State told_;  ///< guarded by `mutex_`
};

}  // namespace bus
