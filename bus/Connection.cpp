#include "bus/Connection.h"

#include "bus/BusConnection.h"
#include "bus/Callbacks.h"
#include "bus/Library.h"
#include "bus/Names.h"

#include <poll.h>
#include <sdbus-c++/Message.h>
#include <chrono>
#include <cstdint>
#include <utility>

namespace bus {
namespace {

auto pollData(const sdbus::IConnection& connection) {
    return translated([&] { return connection.getEventLoopPollData(); });
}

}  // namespace

Connection::Connection() : library_(translated(&openSessionBus)) {}

Connection::~Connection() = default;

int Connection::descriptor() const {
    return pollData(*library_).fd;
}

bool Connection::processPending() {
    return translated([this] { return bus::processPending(*library_); });
}

bool Connection::hasUnsent() const {
    return (pollData(*library_).events & POLLOUT) != 0;
}

std::optional<Instant> Connection::deadline() const {
    const auto time = pollData(*library_).timeout_usec;
    return time == UINT64_MAX ? std::nullopt : std::optional(Instant(std::chrono::microseconds(time)));
}

void Connection::requestName(const std::string& name) {
    translated([&] { library_->requestName(name); });
}

void Connection::releaseName(const std::string& name) {
    translated([&] { library_->releaseName(name); });
}

Handle Connection::watchNames(const std::string& condition,
                              std::function<void(const std::string& name, const std::string& owner)> changed) {
    const std::string rule =
        "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
        "interface='org.freedesktop.DBus',member='NameOwnerChanged'," +
        condition;
    return addMatch(*library_, rule, [changed = std::move(changed)](sdbus::Message& message) {
        if (message.getSender() != kBusDaemon) return;
        std::string name;
        std::string before;
        std::string now;
        message >> name >> before >> now;
        changed(name, now);
    });
}

Handle Connection::watchDepartures(std::function<void(const std::string& name)> left) {
    return watchNames("arg2=''", [left = std::move(left)](const auto& name, const auto&) { left(name); });
}

}  // namespace bus
