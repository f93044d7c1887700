#pragma once

#include "bus/Connection.h"
#include "runtime/Loop.h"

#include <functional>

/// Handles what arrives on a bus connection in the loop, on its thread.
class BusPump {
public:
    /// `onLost` is called once, when the bus has gone. Connection and loop must outlive the pump.
    BusPump(bus::Connection& connection, runtime::Loop& loop, std::function<void()> onLost);
    /// Handles what a blocking call on the connection may have left behind it. Needed after each such call.
    void handlePending();

private:
    bus::Connection& connection_;
    const std::function<void()> onLost_;
    Handle watch_;
};
