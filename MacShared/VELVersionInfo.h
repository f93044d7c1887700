#pragma once

#include <optional>
#include <string>

/// Version texts that identify system and program to others. Asked of the platform at every call; callable from any
/// thread.
class VELVersionInfo {
public:
    /// `osVersionString`: the "ProductVersion" of the system's version property list when there is such a file, and
    /// nothing when the file does not say it; without the file, the platform's long form such as
    /// `Version 12.8 (Build 6.1.0-27-amd64)`.
    [[nodiscard]] static std::optional<std::string> osVersionString();
    /// `appVersionString`: "CFBundleShortVersionString" of the main bundle.
    [[nodiscard]] static std::optional<std::string> appVersionString();
    /// `buildVersionString`: "CFBundleVersion" of the main bundle.
    [[nodiscard]] static std::optional<std::string> buildVersionString();
};
