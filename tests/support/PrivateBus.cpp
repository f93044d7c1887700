#include "tests/support/PrivateBus.h"

#include <csignal>
#include <cstdlib>

namespace {

/// Limits out of the way and everything allowed, as on a session bus.
constexpr const char* kLimitsAndPolicy =
    "<limit name='max_connections_per_user'>100000</limit><limit name='max_completed_connections'>100000</limit>"
    "<limit name='max_match_rules_per_connection'>50000</limit><limit name='max_replies_per_connection'>50000</limit>"
    "<policy context='default'><allow send_destination='*' eavesdrop='true'/><allow eavesdrop='true'/>"
    "<allow own='*'/></policy>";

}  // namespace

// The name of a socket must be short, so TMPDIR does not count.
PrivateBus::PrivateBus(const std::filesystem::path& dataDirectory) : directory_("/tmp") {
    const auto configuration = directory_.path / "bus.conf";
    writeFile(configuration, "<busconfig><type>session</type><listen>unix:dir=" + directory_.path.string() +
                                 "</listen><servicedir>" + (dataDirectory / "dbus-1/services").string() +
                                 "</servicedir>" + kLimitsAndPolicy + "</busconfig>");
    daemon_ = std::make_unique<ChildProcess>(std::vector<std::string>{
        "dbus-daemon", "--config-file=" + configuration.string(), "--nofork", "--nopidfile", "--print-address"});
    address_ = daemon_->waitForLine("unix:");
    setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
}

PrivateBus::~PrivateBus() {
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

void PrivateBus::end() {
    daemon_->send(SIGKILL);
    static_cast<void>(daemon_->exitStatus());
}
