#include "tests/support/PrivateBus.h"

#include <csignal>
#include <cstdlib>

PrivateBus::PrivateBus(const std::filesystem::path& dataDirectory)
    : daemon_({"env", "XDG_DATA_DIRS=" + dataDirectory.string(), "dbus-daemon", "--session", "--nofork", "--nopidfile",
               "--print-address"}),
      address_(daemon_.waitForLine("unix:")) {
    setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
}

PrivateBus::~PrivateBus() {
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

void PrivateBus::end() {
    daemon_.send(SIGKILL);
    static_cast<void>(daemon_.exitStatus());
}
