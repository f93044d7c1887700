#pragma once

#include "ports/OperatingSystem.h"

#include <filesystem>
#include <string>

/// The system's version in the form `Version 12.8 (Build 6.1.0-27-amd64)`: the distribution's version and the kernel's
/// release. The version is `VERSION_ID` of `os-release`, or, where this names a point release of it, the number in
/// `debian_version`; `unknown` when neither says one. Both files lie in the given folder.
[[nodiscard]] std::string systemVersionString(const std::filesystem::path& etc = "/etc");

/// This system, whose version is looked up once in the process's life: web service calls ask each time.
class LinuxSystem final : public OperatingSystem {
public:
    [[nodiscard]] std::string versionString() const override;
};
