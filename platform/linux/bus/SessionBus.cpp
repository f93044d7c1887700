#include "platform/linux/bus/SessionBus.h"

#include "bus/BusConnection.h"

#include <sdbus-c++/Error.h>
#include <utility>

std::shared_ptr<SessionBus> SessionBus::open(std::string& problem) {
    try {
        return std::make_shared<SessionBus>(bus::openSessionBus());
    } catch (const sdbus::Error& error) {
        problem = "Cannot reach the session bus (" + error.getMessage() +
                  "). Run inside a login session, or under dbus-run-session.";
        return nullptr;
    }
}

SessionBus::SessionBus(std::unique_ptr<sdbus::IConnection> connection)
    : connection_(std::move(connection)), loop_(*connection_) {}

SessionBus::~SessionBus() {
    stop();
}

void SessionBus::start(std::function<void()> onLost) {
    thread_ = std::thread([this, onLost = std::move(onLost)] {
        if (!loop_.run() && !stopped_) onLost();
    });
}

void SessionBus::stop() {
    stopped_ = true;
    loop_.stop();
    if (thread_.joinable()) thread_.join();
}
