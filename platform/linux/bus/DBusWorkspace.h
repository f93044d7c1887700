#pragma once

#include "bus/SessionBus.h"
#include "platform/linux/bus/ProgramFinder.h"
#include "platform/linux/bus/ProgramList.h"
#include "platform/linux/bus/ProgramWatch.h"
#include "ports/Workspace.h"

#include <sys/types.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class DispatchQueue;

namespace bus {

/// The running presentation programs: the owners of names BUNDLEIDENTIFIER.instanceN on the session bus.
///
/// A program that appears is asked once, without waiting, for its process, bundle identifier and bundle; it is listed
/// when the answer makes sense, in the order in which the programs appeared, and removed when its name leaves. One
/// whose identifier is not that of its name is never listed. At most 64 are watched, and 4 names of one owner; others
/// get their turn when a place becomes free.
///
/// The list becomes known a moment after construction; observers hear of it.
class DBusWorkspace final : public Workspace {
public:
    /// Watches the names that belong to these bundle identifiers. The bus may be null: nothing runs then. It must not
    /// have been started, and must have been stopped when the workspace is destroyed. The queue must outlive both.
    /// `patience`: how long the list waits for a program's answer before it counts as complete without it.
    DBusWorkspace(std::shared_ptr<SessionBus> bus, DispatchQueue& mainQueue, std::vector<std::string> bundleIdentifiers,
                  std::chrono::milliseconds patience = std::chrono::seconds(10));
    ~DBusWorkspace() override;
    DBusWorkspace(const DBusWorkspace&) = delete;
    DBusWorkspace& operator=(const DBusWorkspace&) = delete;

    [[nodiscard]] std::vector<std::shared_ptr<RunningApplication>> runningApplications() const override;
    [[nodiscard]] Handle observeRunningApplications(std::function<void()> observer) override;
    /// Whether `runningApplications` holds every program on the bus, but for those that do not say what they are. Any
    /// thread.
    [[nodiscard]] bool isComplete() const;

    bool openFile(const std::filesystem::path& path, const std::string& withApplication) override;
    void openFile(const std::filesystem::path& path, const std::string& withApplication,
                  std::function<void(bool)> whenTold) override;
    /// Tells the unique bus name of the last program with this bundle identifier, which the bus is asked to start when
    /// none runs, as `ProgramFinder` does. Any thread.
    void findStarted(const std::string& bundleIdentifier, ProgramFinder::Found found);
    /// Ends the waits for programs that start, now and from now on. Any thread.
    void shutDown();

    /// The unique bus name of the last program with this bundle identifier that runs now, whether observers have heard
    /// of it or not. Any thread.
    [[nodiscard]] std::optional<std::string> busNameOfBundle(const std::string& bundleIdentifier) const;
    /// The same of the program with this process identifier; if there are several, of the one that had it first, so
    /// that nobody takes another's place. Any thread.
    [[nodiscard]] std::optional<std::string> busNameOfProcess(pid_t processIdentifier) const;

private:
    /// `whenTold`: whether the application with this name, which is started if need be, was told to open the file. On
    /// any thread, maybe within the call.
    void open(const std::filesystem::path& path, const std::string& withApplication,
              const std::function<void(bool)>& whenTold);

    DispatchQueue& mainQueue_;
    const std::vector<std::string> bundleIdentifiers_;
    const std::shared_ptr<SessionBus> bus_;
    const std::shared_ptr<ProgramList> list_;
    std::unique_ptr<ProgramFinder> finder_;  ///< null without a bus
    std::unique_ptr<ProgramWatch> watch_;    ///< null without a bus
};

}  // namespace bus
