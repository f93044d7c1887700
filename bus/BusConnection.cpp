#include "bus/BusConnection.h"

#include <sdbus-c++/Error.h>
#include <utility>

namespace bus {

std::unique_ptr<sdbus::IConnection> openSessionBus() {
    return sdbus::createSessionBusConnection();
}

EventLoopThread::EventLoopThread(sdbus::IConnection& connection, std::function<void()> onLost)
    : connection_(connection), thread_([&connection, onLost = std::move(onLost)] {
          try {
              connection.enterEventLoop();
          } catch (const sdbus::Error&) {
              onLost();
          }
      }) {}

EventLoopThread::~EventLoopThread() {
    connection_.leaveEventLoop();
    thread_.join();
}

}  // namespace bus
