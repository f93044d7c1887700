#pragma once

#include "base/Registration.h"
#include "runtime/Loop.h"

#include <functional>
#include <memory>
#include <string>

namespace sdbus {
class IConnection;
class Message;
}  // namespace sdbus

namespace bus {

/// A connection to the session bus. Sending is possible on any thread; what arrives is handled by the loop that serves
/// the connection.
class Connection {
public:
    /// Throws `Failure` when there is no session bus.
    Connection();
    /// While the loop that serves it runs, on its thread.
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Has the loop call, one at a time, what belongs to the messages that arrive and to replies that are overdue. A
    /// message that cannot be served is dropped. `onLost` is called on the loop's thread when the bus has gone away.
    /// Once, before another thread uses the connection. Throws `Failure` when the system cannot watch one more.
    void serveOn(runtime::Loop& loop, std::function<void()> onLost);
    /// Has the loop look after what a call may have left behind: messages that came while it waited for its reply, or
    /// what the daemon could not take at once. Any thread; for this folder.
    void wake() const;

    /// Takes or gives back a name. Waits for the daemon. Throws `Failure` when another has the name. Any thread.
    void requestName(const std::string& name);
    void releaseName(const std::string& name);

    /// Has `callback` called, guarded, with each message that the rule describes, until the handle is dropped. The
    /// message may hold anything unless the rule names the sender. Throws `Failure` when the connection is closed.
    [[nodiscard]] Handle addMatch(const std::string& rule, std::function<void(sdbus::Message&)> callback);
    /// Has `changed` called, guarded, with each name whose owner changes and its new owner, empty for none, until the
    /// handle is dropped. `condition` names one or several: "arg0='...'". Only the bus daemon is believed: the library
    /// hands over a signal that anybody else has addressed to this connection, whatever sender the rule names.
    [[nodiscard]] Handle watchNames(const std::string& condition,
                                    std::function<void(const std::string& name, const std::string& owner)> changed);

    /// The library's own, for this folder.
    [[nodiscard]] sdbus::IConnection& library() const { return *library_; }

private:
    class Server;

    const std::unique_ptr<sdbus::IConnection> library_;
    std::shared_ptr<Server> server_;  ///< null until a loop serves the connection
};

}  // namespace bus
