#pragma once

#include "ports/Scripting.h"
#include "runtime/LoopThread.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace bus {

class ProgramCalls;

/// Scripting over the session bus, on connections of its own, opened at the first event. Each event is one call and one
/// reply.
///
/// Events that nobody waits for leave from the main queue, which hears the replies: the applications made for a
/// process share a connection for them, one made for a bundle identifier has its own, so that the program closes what
/// it has left open when it goes. Events that wait for their reply use a further connection of their application, which
/// a thread serves, so that all who wait can be told at once that nothing comes.
///
/// What nobody waits for any more (late replies) or never asked for is thrown away, so nothing piles up. A connection
/// that broke is opened anew for the next event.
class DBusScripting final : public Scripting {
public:
    /// Tells the unique bus name of the program with a process identifier; called on any thread.
    using BusNameOfProcess = std::function<std::optional<std::string>(pid_t)>;

    /// Tells the unique bus name of the last program with a bundle identifier; called on any thread.
    using BusNameOfBundle = std::function<std::optional<std::string>(const std::string&)>;

    /// The queue must outlive this object, and this object everything made here.
    DBusScripting(runtime::Loop& mainQueue, BusNameOfProcess busNameOfProcess, BusNameOfBundle busNameOfBundle);
    ~DBusScripting() override;
    DBusScripting(const DBusScripting&) = delete;
    DBusScripting& operator=(const DBusScripting&) = delete;

    [[nodiscard]] std::shared_ptr<ScriptingApplication> applicationForProcess(pid_t processIdentifier) override;
    [[nodiscard]] std::shared_ptr<ScriptingApplication> applicationForBundleIdentifier(
        const std::string& bundleIdentifier) override;
    /// Fails the events for which somebody waits, and all later ones, at once. Any thread.
    void shutDown();

private:
    class Application;
    class Document;

    [[nodiscard]] std::shared_ptr<ProgramCalls> makeCalls(runtime::Loop& loop);
    [[nodiscard]] std::vector<std::shared_ptr<ProgramCalls>> allCalls();

    runtime::Loop& mainQueue_;
    /// Its tasks throw nothing.
    runtime::LoopThread waiting_{[](const std::string&) {}, "scripting"};
    const BusNameOfProcess busNameOfProcess_;
    const BusNameOfBundle busNameOfBundle_;
    std::atomic<bool> isShutDown_ = false;
    std::mutex mutex_;
    std::vector<std::weak_ptr<ProgramCalls>> allCalls_;  ///< guarded by `mutex_`
    const std::shared_ptr<ProgramCalls> calls_;
};

}  // namespace bus
