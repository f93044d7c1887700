#pragma once

#include "ports/Scripting.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

/// Scripting over the session bus, on a connection of its own, opened at the first event: waiting for a program never
/// holds up hosts. Each event is one call and one reply; events of all threads take turns.
///
/// No loop serves the connection. What nobody waits for any more (late replies) or never asked for is thrown away
/// before the next event, so nothing piles up. A connection that broke is opened anew for the next event.
class DBusScripting final : public Scripting {
public:
    /// Tells the unique bus name of the program with a process identifier; called on any thread.
    using BusNameOfProcess = std::function<std::optional<std::string>(pid_t)>;

    explicit DBusScripting(BusNameOfProcess busNameOfProcess);
    ~DBusScripting() override;
    DBusScripting(const DBusScripting&) = delete;
    DBusScripting& operator=(const DBusScripting&) = delete;

    [[nodiscard]] std::shared_ptr<ScriptingApplication> applicationForProcess(pid_t processIdentifier) override;

private:
    class Channel;
    class Application;
    class Document;

    const BusNameOfProcess busNameOfProcess_;
    const std::shared_ptr<Channel> channel_;
};
