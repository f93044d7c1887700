#include <sdbus-c++/sdbus-c++.h>
#include <csignal>
#include <cstdlib>
#include <string>

/// The least that a D-Bus service can be: a name and a method with the signature of one of the capture service's.
int main() {
    std::signal(SIGTERM, [](int) { std::_Exit(EXIT_SUCCESS); });
    const auto connection = sdbus::createSessionBusConnection();
    const auto object = sdbus::createObject(*connection, "/com/veldrin/EmptyService");
    object->registerMethod("descriptionOfKeynoteWindowsWithReply")
        .onInterface("com.veldrin.EmptyService")
        .implementedAs([] { return std::string(); });
    object->finishRegistration();
    connection->requestName("com.veldrin.EmptyService");
    connection->enterEventLoop();
}
