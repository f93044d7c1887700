#include "tests/host/PrivateBus.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <utility>

TestDirectory::TestDirectory() {
    std::string path = "/tmp/host-test-XXXXXX";
    if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("mkdtemp");
    path_ = path;
    setenv("HOME", path.c_str(), 1);
    setenv("TMPDIR", path.c_str(), 1);
}

TestDirectory::~TestDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

PrivateBus::PrivateBus(const std::filesystem::path& services) {
    const auto configuration = services / "bus.conf";
    std::ofstream(configuration)
        << "<busconfig><type>session</type><listen>unix:dir=" << services.native() << "</listen><servicedir>"
        << services.native() << "</servicedir><policy context='default'><allow send_destination='*' eavesdrop='true'/>"
        << "<allow eavesdrop='true'/><allow own='*'/></policy></busconfig>";
    daemon_ = std::make_unique<ChildProcess>(std::vector<std::string>{
        "dbus-daemon", "--config-file=" + configuration.native(), "--nofork", "--nopidfile", "--print-address"});
    address_ = daemon_->readLine().value();
    setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
}

PrivateBus::~PrivateBus() {
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
}
