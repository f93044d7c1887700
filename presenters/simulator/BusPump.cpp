#include "presenters/simulator/BusPump.h"

#include "bus/Failure.h"

#include <utility>

BusPump::BusPump(bus::Connection& connection, runtime::Loop& loop, std::function<void()> onLost)
    : connection_(connection),
      onLost_(std::move(onLost)),
      watch_(loop.watch(connection.descriptor(), [this] { handlePending(); })) {}

void BusPump::handlePending() {
    if (!watch_) return;
    try {
        while (connection_.processPending()) {
        }
    } catch (const bus::Failure&) {
        watch_.reset();
        onLost_();
    }
}
