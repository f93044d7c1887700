#pragma once

#include <string>

/// The operating system that this process runs on. Callable from any thread.
class OperatingSystem {
public:
    virtual ~OperatingSystem() = default;
    /// Its version for people, in the form `Version 12.8 (Build 6.1.0-27-amd64)`. A part that the system does not tell
    /// reads `unknown`.
    [[nodiscard]] virtual std::string versionString() const = 0;
};
