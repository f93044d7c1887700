#include "bus/SessionBus.h"

#include "bus/Failure.h"

#include <utility>

namespace bus {

std::shared_ptr<SessionBus> SessionBus::open(std::string& problem) {
    try {
        return std::make_shared<SessionBus>();
    } catch (const Failure& failure) {
        problem = "Cannot reach the session bus (" + std::string(failure.what()) +
                  "). Run inside a login session, or under dbus-run-session.";
        return nullptr;
    }
}

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

}  // namespace bus
