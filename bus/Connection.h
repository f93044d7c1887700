#pragma once

#include "base/Registration.h"
#include "base/Time.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace sdbus {
class IConnection;
}

namespace bus {

/// A connection to the session bus. Whoever has it serves it: with `processPending` whenever its descriptor can be
/// read, or through an `EventLoop` or `EventLoopThread`. Sending is possible on any thread.
class Connection {
public:
    /// Throws `Failure` when there is no session bus.
    Connection();
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// What can be read when something has arrived. It stays the connection's.
    [[nodiscard]] int descriptor() const;
    /// Serves what has arrived, one message at a time; answers whether there may be more. A message that cannot be
    /// served is dropped. Throws `Failure` when the bus has gone away. On the thread that serves the connection.
    [[nodiscard]] bool processPending();
    /// Whether something waits because the daemon could not take it at once. Throws like `processPending`.
    [[nodiscard]] bool hasUnsent() const;
    /// When `processPending` has something to do even if nothing arrives: a reply is overdue. Throws likewise.
    [[nodiscard]] std::optional<Instant> deadline() const;

    /// Takes or gives back a name. Waits for the daemon; what arrives meanwhile is pending afterwards, though nothing
    /// is left to be read. Throws `Failure` when another has the name.
    void requestName(const std::string& name);
    void releaseName(const std::string& name);

    /// Has `changed` called, guarded, with each name whose owner changes and its new owner, empty for none, until the
    /// handle is dropped. `condition` names one or several: "arg0='...'". Only the bus daemon is believed: the library
    /// hands over a signal that anybody else has addressed to this connection, whatever sender the rule names.
    [[nodiscard]] Handle watchNames(const std::string& condition,
                                    std::function<void(const std::string& name, const std::string& owner)> changed);
    /// Has `left` called, guarded, with the unique name of each connection that leaves the bus.
    [[nodiscard]] Handle watchDepartures(std::function<void(const std::string& name)> left);

    /// The library's own, for this folder.
    [[nodiscard]] sdbus::IConnection& library() const { return *library_; }

private:
    const std::unique_ptr<sdbus::IConnection> library_;
};

}  // namespace bus
