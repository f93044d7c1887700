#pragma once

#include "tests/support/ChildProcess.h"

#include <filesystem>
#include <string>

/// A session bus of the test's own, which the environment names while it lives. It can start the services whose
/// activation files lie in `dataDirectory`/dbus-1/services.
class PrivateBus {
public:
    explicit PrivateBus(const std::filesystem::path& dataDirectory = "/nonexistent");
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    [[nodiscard]] const std::string& address() const { return address_; }
    /// Kills the daemon, as in a crash.
    void end();

private:
    ChildProcess daemon_;
    std::string address_;
};
