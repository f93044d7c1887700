#pragma once

#include "platform/linux/SessionBus.h"
#include "ports/Workspace.h"

#include <sys/types.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class DispatchQueue;

/// The running presentation programs: the owners of names BUNDLEIDENTIFIER.instanceN on the session bus.
///
/// A program that appears is asked once, without waiting, for its process, bundle identifier and bundle; it is listed
/// when the answer makes sense, in the order in which the programs appeared, and removed when its name leaves. One that
/// does not answer in ten seconds, or whose identifier is not that of its name, is never listed. At most 64 are
/// watched.
///
/// The list becomes known a moment after construction; observers hear of it.
class DBusWorkspace final : public Workspace {
public:
    /// Watches the names that belong to these bundle identifiers. The bus may be null: nothing runs then. It must not
    /// have been started, and must have been stopped when the workspace is destroyed. The queue must outlive both.
    DBusWorkspace(std::shared_ptr<SessionBus> bus, DispatchQueue& mainQueue,
                  std::vector<std::string> bundleIdentifiers);
    ~DBusWorkspace() override;
    DBusWorkspace(const DBusWorkspace&) = delete;
    DBusWorkspace& operator=(const DBusWorkspace&) = delete;

    [[nodiscard]] std::vector<std::shared_ptr<RunningApplication>> runningApplications() const override;
    [[nodiscard]] Handle observeRunningApplications(std::function<void()> observer) override;
    /// Whether every program on the bus has said what it is, or that it will not. Any thread.
    [[nodiscard]] bool isComplete() const;

    bool openFile(const std::filesystem::path& path, const std::string& withApplication) override;
    /// The unique bus name of the last program with this bundle identifier, which the bus is asked to start when none
    /// runs; nothing when it cannot be started or is not listed within half a minute. Any thread but the bus thread,
    /// which must run.
    [[nodiscard]] std::optional<std::string> busNameOfStartedBundle(const std::string& bundleIdentifier) const;
    /// Ends the waits for programs that start, now and from now on. Any thread.
    void shutDown();

    /// The unique bus name of the last listed program with this bundle identifier. Any thread.
    [[nodiscard]] std::optional<std::string> busNameOfBundle(const std::string& bundleIdentifier) const;
    /// The unique bus name of the listed program with this process identifier; the last one if there are several. Any
    /// thread.
    [[nodiscard]] std::optional<std::string> busNameOfProcess(pid_t processIdentifier) const;

private:
    class Application;
    class Watch;
    struct List;

    const std::vector<std::string> bundleIdentifiers_;
    const std::shared_ptr<List> list_;
    std::unique_ptr<Watch> watch_;
};
