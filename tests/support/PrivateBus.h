#pragma once

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <filesystem>
#include <memory>
#include <string>

/// A session bus of the test's own, which the environment names while it lives. It can start the services whose
/// activation files lie in `dataDirectory`/dbus-1/services and no others, whatever is installed.
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
    TemporaryDirectory directory_;
    std::unique_ptr<ChildProcess> daemon_;
    std::string address_;
};
