#pragma once

#include <filesystem>
#include <string>

/// The system's version in the form `Version 12.8 (Build 6.1.0-27-amd64)`: the distribution's version and the kernel's
/// release. The version is that of `debian_version` where this is a number (it names the point release), else
/// `VERSION_ID` of `os-release`, else `unknown`; both files lie in the given folder.
[[nodiscard]] std::string systemVersionString(const std::filesystem::path& etc = "/etc");
