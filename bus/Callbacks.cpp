#include "bus/Callbacks.h"

#include <cstdio>
#include <utility>

namespace bus {
namespace {

constexpr const char* kDaemon = "org.freedesktop.DBus";

}  // namespace

void complainOfCallback(const char* reason) noexcept {
    std::fprintf(stderr, "A message on the bus could not be served: %s\n", reason);
}

sdbus::Slot addMatch(sdbus::IConnection& connection, const std::string& rule,
                     std::function<void(sdbus::Message&)> callback) {
    return connection.addMatch(
        rule, [callback = std::move(callback)](sdbus::Message& message) { guarded([&] { callback(message); }); });
}

sdbus::Slot watchNames(sdbus::IConnection& connection, const std::string& condition,
                       std::function<void(const std::string& name, const std::string& owner)> changed) {
    const std::string rule =
        "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
        "interface='org.freedesktop.DBus',member='NameOwnerChanged'," +
        condition;
    return addMatch(connection, rule, [changed = std::move(changed)](sdbus::Message& message) {
        if (message.getSender() != kDaemon) return;
        std::string name;
        std::string before;
        std::string now;
        message >> name >> before >> now;
        changed(name, now);
    });
}

bool isReplyFrom(const sdbus::IProxy& proxy, const std::string& peer) {
    const auto* const reply = proxy.getCurrentlyProcessedMessage();
    const std::string sender = reply == nullptr ? std::string() : reply->getSender();
    return sender == peer || sender == kDaemon;
}

}  // namespace bus
