#include "bus/BusConnection.h"

#include <sdbus-c++/Error.h>
#include <utility>

namespace bus {
namespace {

/// Whether the connection serves nothing any more: it is closed, or stuck in a callback that never returned to it.
bool isLost(const sdbus::IConnection& connection, const sdbus::Error& failure) {
    if (failure.getName() == "System.Error.EBUSY") return true;
    try {
        static_cast<void>(connection.getEventLoopPollData());  // throws when closed
        return false;
    } catch (const sdbus::Error&) {
        return true;
    }
}

/// Answers whether the bus has stayed until somebody asked the loop to end.
bool serve(sdbus::IConnection& connection) {
    while (true) {
        try {
            connection.enterEventLoop();
            return true;
        } catch (const sdbus::Error& failure) {
            if (isLost(connection, failure)) return false;
        }
    }
}

}  // namespace

std::unique_ptr<sdbus::IConnection> openSessionBus() {
    return sdbus::createSessionBusConnection();
}

bool processPending(sdbus::IConnection& connection) {
    try {
        return connection.processPendingRequest();
    } catch (const sdbus::Error& failure) {
        if (isLost(connection, failure)) throw;
        return true;
    }
}

EventLoopThread::EventLoopThread(sdbus::IConnection& connection, std::function<void()> onLost)
    : connection_(connection), thread_([&connection, onLost = std::move(onLost)] {
          if (!serve(connection)) onLost();
      }) {}

EventLoopThread::~EventLoopThread() {
    connection_.leaveEventLoop();
    thread_.join();
}

}  // namespace bus
