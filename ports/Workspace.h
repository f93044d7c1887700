#pragma once

#include "base/Registration.h"

#include <sys/types.h>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// One running application: the same object for as long as it runs. Callable from any thread where nothing else is
/// said.
class RunningApplication {
public:
    virtual ~RunningApplication() = default;
    /// What kind of application it is, such as "com.apple.iWork.Keynote".
    [[nodiscard]] virtual std::string bundleIdentifier() const = 0;
    /// Where the application's bundle lies, when it says so.
    [[nodiscard]] virtual std::optional<std::filesystem::path> bundleURL() const = 0;
    /// The process of the application now; a restart behind the same record changes it.
    [[nodiscard]] virtual pid_t processIdentifier() const = 0;
    /// Calls the observer within this call, and then on the main queue after each change of the process identifier.
    /// Main queue only. The caller keeps the handle for as long as it wants to hear.
    [[nodiscard]] virtual Handle observeProcessIdentifier(std::function<void()> observer) = 0;
};

/// The running applications of this user's session.
class Workspace {
public:
    virtual ~Workspace() = default;
    /// The running applications in the order in which they appeared, as the observers have last been told: on the main
    /// queue every state is seen in turn, and none is skipped when changes come quickly. Any thread.
    [[nodiscard]] virtual std::vector<std::shared_ptr<RunningApplication>> runningApplications() const = 0;
    /// Calls the observer within this call, and then on the main queue after each change of the list. Main queue only.
    /// The caller keeps the handle for as long as it wants to hear, and may drop it on any thread.
    [[nodiscard]] virtual Handle observeRunningApplications(std::function<void()> observer) = 0;
    /// `openFile:withApplication:andDeactivate:`: has the application with this name open the file, and starts the
    /// application first when it does not run; the caller keeps the focus. Returns once the application runs and has
    /// been told, after half a minute at the latest; the document may open later. False when there is no such
    /// application. Any thread but the main one, which others need meanwhile.
    virtual bool openFile(const std::filesystem::path& path, const std::string& withApplication) = 0;
    /// The same without waiting: returns at once, and calls `whenTold` once on the main queue with whether there is
    /// such an application; never, when the platform goes before. What `whenTold` uses must still be there when it is
    /// called. Any thread.
    virtual void openFile(const std::filesystem::path& path, const std::string& withApplication,
                          std::function<void(bool)> whenTold) = 0;
};
