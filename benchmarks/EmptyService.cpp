#include "bus/Sdbus.h"

#include <csignal>
#include <cstdlib>
#include <string>

/// The least that a D-Bus service can be: a name and a method with the signature of one of the capture service's.
int main() {
    std::signal(SIGTERM, [](int) { std::_Exit(EXIT_SUCCESS); });
    const auto connection = sdbus::createSessionBusConnection();
    const auto object = bus::createObject(*connection, "/com/veldrin/EmptyService");
    bus::addMethod(*object, "com.veldrin.EmptyService", "descriptionOfKeynoteWindowsWithReply",
                   [] { return std::string(); });
    bus::finishRegistration(*object);
    connection->requestName(bus::ServiceName("com.veldrin.EmptyService"));
    connection->enterEventLoop();
}
