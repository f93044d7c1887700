#pragma once

#include "tests/host/ChildProcess.h"

#include <filesystem>
#include <memory>
#include <string>

/// A directory of the test's own, removed at the end; for the test it is also the home and the place of temporary
/// files.
class TestDirectory {
public:
    TestDirectory();
    ~TestDirectory();
    TestDirectory(const TestDirectory&) = delete;
    TestDirectory& operator=(const TestDirectory&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

/// A session bus of the test's own, which the environment names while it lives. It can start only the services whose
/// activation files lie in `services`.
class PrivateBus {
public:
    explicit PrivateBus(const std::filesystem::path& services);
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    [[nodiscard]] const std::string& address() const { return address_; }

private:
    std::unique_ptr<ChildProcess> daemon_;
    std::string address_;
};
