#pragma once

#include "ports/Scripting.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

/// Scripting over the session bus, on connections of its own, opened at the first event: waiting for a program never
/// holds up hosts. Each event is one call and one reply. Applications made for a process share a connection, on which
/// the events of all threads take turns; one made for a bundle identifier has its own, as its events may take long.
///
/// No loop serves the connection. What nobody waits for any more (late replies) or never asked for is thrown away
/// before the next event, so nothing piles up. A connection that broke is opened anew for the next event.
class DBusScripting final : public Scripting {
public:
    /// Tells the unique bus name of the program with a process identifier; called on any thread.
    using BusNameOfProcess = std::function<std::optional<std::string>(pid_t)>;

    /// Tells the unique bus name of the last program with a bundle identifier; called on any thread.
    using BusNameOfBundle = std::function<std::optional<std::string>(const std::string&)>;

    DBusScripting(BusNameOfProcess busNameOfProcess, BusNameOfBundle busNameOfBundle);
    ~DBusScripting() override;
    DBusScripting(const DBusScripting&) = delete;
    DBusScripting& operator=(const DBusScripting&) = delete;

    [[nodiscard]] std::shared_ptr<ScriptingApplication> applicationForProcess(pid_t processIdentifier) override;
    [[nodiscard]] std::shared_ptr<ScriptingApplication> applicationForBundleIdentifier(
        const std::string& bundleIdentifier) override;
    /// Fails the events that wait, and all later ones, at once. Any thread.
    void shutDown();

private:
    class Sockets;
    class Channel;
    class Application;
    class Document;

    const BusNameOfProcess busNameOfProcess_;
    const BusNameOfBundle busNameOfBundle_;
    const std::shared_ptr<Sockets> sockets_;
    const std::shared_ptr<Channel> channel_;
};
