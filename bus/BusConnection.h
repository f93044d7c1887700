#pragma once

#include "bus/Connection.h"

#include <sdbus-c++/IConnection.h>
#include <sdbus-c++/IProxy.h>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>

namespace bus {

/// Opens a connection to the session bus. Throws `sdbus::Error` when there is none.
[[nodiscard]] std::unique_ptr<sdbus::IConnection> openSessionBus();

/// Serves what has arrived, one message at a time; answers whether there may be more. A message that cannot be served
/// is dropped. Throws `sdbus::Error` when the bus has gone away. On the thread that serves the connection.
[[nodiscard]] bool processPending(sdbus::IConnection& connection);

/// Runs a connection's event loop on a thread of its own until it is destroyed or the bus goes away.
class EventLoopThread {
public:
    /// `onLost` is called on the loop's thread when the bus has gone away. The connection must outlive this object.
    EventLoopThread(sdbus::IConnection& connection, std::function<void()> onLost);
    EventLoopThread(const Connection& connection, std::function<void()> onLost)
        : EventLoopThread(connection.library(), std::move(onLost)) {}
    ~EventLoopThread();
    EventLoopThread(const EventLoopThread&) = delete;
    EventLoopThread& operator=(const EventLoopThread&) = delete;

    /// Takes a name on the bus. The library's own call reads what arrives meanwhile, and nobody tells the loop of it.
    /// Throws `Failure` when another has the name. Any thread but the loop's.
    void requestName(const std::string& name);

private:
    sdbus::IConnection& connection_;
    const std::unique_ptr<sdbus::IProxy> daemon_;
    std::thread thread_;
};

}  // namespace bus
