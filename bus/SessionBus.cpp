#include "bus/SessionBus.h"

#include "bus/Failure.h"

#include <cstdlib>
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

SessionBus::SessionBus() {
    // The loop does not run before `start`, so nothing arrives until everybody has put up what is to be called.
    connection_.serveOn(loop_, [this] {
        if (!stopped_) onLost_();
    });
}

SessionBus::~SessionBus() {
    stop();
}

void SessionBus::post(Task task) {
    loop_.async([task = std::move(task)] { guarded(task); });
}

void SessionBus::after(Duration delay, Task task) {
    loop_.after(delay, [task = std::move(task)] { guarded(task); });
}

void SessionBus::start(std::function<void()> onLost) {
    onLost_ = std::move(onLost);
    thread_ = std::thread([this] { static_cast<void>(loop_.run()); });
}

void SessionBus::stop() {
    // First, so that the end of the bus that may follow is nobody's loss.
    stopped_ = true;
    loop_.stop(EXIT_SUCCESS);
    if (thread_.joinable()) thread_.join();
    loop_.finish();  // answers that wait own the bus
}

}  // namespace bus
