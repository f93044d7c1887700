#pragma once

#include <sdbus-c++/IConnection.h>
#include <functional>
#include <memory>
#include <thread>

namespace bus {

/// Opens a connection to the session bus. Throws `sdbus::Error` when there is none.
[[nodiscard]] std::unique_ptr<sdbus::IConnection> openSessionBus();

/// Runs a connection's event loop on a thread of its own until it is destroyed or the bus goes away.
class EventLoopThread {
public:
    /// `onLost` is called on the loop's thread when the bus has gone away. The connection must outlive this object.
    EventLoopThread(sdbus::IConnection& connection, std::function<void()> onLost);
    ~EventLoopThread();
    EventLoopThread(const EventLoopThread&) = delete;
    EventLoopThread& operator=(const EventLoopThread&) = delete;

private:
    sdbus::IConnection& connection_;
    std::thread thread_;
};

}  // namespace bus
