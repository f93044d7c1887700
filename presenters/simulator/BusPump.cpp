#include "presenters/simulator/BusPump.h"

#include "bus/BusConnection.h"

#include <sdbus-c++/Error.h>
#include <utility>

BusPump::BusPump(sdbus::IConnection& connection, EventLoop& loop, std::function<void()> onLost)
    : connection_(connection),
      onLost_(std::move(onLost)),
      watch_(loop.watch(connection.getEventLoopPollData().fd, [this] { handlePending(); })) {}

void BusPump::handlePending() {
    if (!watch_) return;
    try {
        while (bus::processPending(connection_)) {
        }
    } catch (const sdbus::Error&) {
        watch_.reset();
        onLost_();
    }
}
