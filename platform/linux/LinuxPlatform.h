#pragma once

#include "platform/linux/IdleTermination.h"
#include "platform/linux/JournalLog.h"
#include "platform/linux/LinuxThreads.h"
#include "platform/linux/StandardErrorLog.h"
#include "platform/linux/SystemClock.h"
#include "platform/linux/SystemVersion.h"
#include "platform/linux/bus/DBusScripting.h"
#include "platform/linux/bus/DBusServiceListener.h"
#include "platform/linux/bus/DBusWorkspace.h"
#include "platform/linux/display/X11WindowServer.h"
#include "platform/linux/files/DirectoryBundles.h"
#include "platform/linux/files/LinuxDirectories.h"
#include "platform/linux/files/LinuxFileManager.h"
#include "platform/linux/files/PropertyListDefaults.h"
#include "platform/linux/search/ComputerSearch.h"
#include "platform/linux/text/IcuTextServices.h"
#include "platform/linux/text/LinuxXMLServices.h"
#include "ports/Platform.h"
#include "ports/URLSession.h"
#include "runtime/LastResort.h"
#include "runtime/LoopDispatch.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

/// Linux behind every port, for one process. Made on the main thread; the members are in the order of their needs.
class LinuxPlatform {
public:
    struct Options {
        /// How long the process may be idle before it ends; nothing keeps it until it is told to end.
        std::optional<Duration> exitWhenIdle;
        /// Where installed programs are searched for; on the whole computer when there are none.
        std::vector<std::filesystem::path> searchRoots;
        /// Whether programs and hosts are reached over the session bus. When there is none, standard error says so.
        bool usesSessionBus = true;
        /// Makes the HTTP client, for a program that needs one.
        std::function<std::unique_ptr<URLSessions>(Bundles&)> makeURLSessions;
    };

    explicit LinuxPlatform(const Options& options);
    /// Tasks under way end first: they use the other services. The HTTP client's threads hand in tasks until it goes.
    ~LinuxPlatform();
    LinuxPlatform(const LinuxPlatform&) = delete;
    LinuxPlatform& operator=(const LinuxPlatform&) = delete;

    [[nodiscard]] const Platform& platform() const { return platform_; }
    [[nodiscard]] ServiceListener& listener() { return listener_; }

    /// For a process that serves nobody: runs the main queue on the calling thread until `stop` and answers the status
    /// given there. Once, and not beside the listener's `resume`.
    [[nodiscard]] int run();
    void stop(int status) { dispatch_.stop(status); }
    /// For those who measure, instead of `run`: `start` once, then `runOne` for one task of the main queue each.
    void start();
    void runOne() { dispatch_.mainQueue().runOne(); }
    /// Whether running programs can be seen at all.
    [[nodiscard]] bool hasSessionBus() const { return bus_ != nullptr; }
    /// Whether every program that was running at the start has said what it is. Until then the list may lack some.
    [[nodiscard]] bool knowsRunningPrograms() const { return !bus_ || workspace_.isComplete(); }
    [[nodiscard]] const search::WalkProgress& searchProgress() const { return computerSearch_.progress(); }

private:
    void giveUp(int status);
    [[nodiscard]] std::shared_ptr<bus::SessionBus> openBus();

    runtime::LastResort lastResort_;  ///< first, so that it goes last
    StandardErrorLog consoleLog_;
    JournalLog unifiedLog_;
    SystemClock clock_;
    LinuxSystem operatingSystem_;
    runtime::LoopDispatch dispatch_;
    files::LinuxFileManager fileManager_;
    files::LinuxDirectories directories_;
    files::DirectoryBundles bundles_;
    files::PropertyListDefaults userDefaults_{directories_, *bundles_.mainBundle()};
    search::ComputerSearch computerSearch_;
    text::IcuTextServices text_;
    LinuxThreads threads_;
    text::LinuxXMLServices xml_;
    display::X11WindowServer windowServer_{consoleLog_, dispatch_.mainQueue()};
    const std::shared_ptr<bus::SessionBus> bus_;
    bus::DBusWorkspace workspace_;
    bus::DBusScripting scripting_;
    std::unique_ptr<URLSessions> urlSessions_;
    IdleTermination idleTermination_;
    bus::DBusServiceListener listener_;
    const Platform platform_;
};
