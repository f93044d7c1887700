#pragma once

#include <string>

/// Facts about and control over this process. Callable from any thread.
class ProcessInfo {
public:
    virtual ~ProcessInfo() = default;
    /// Keeps the system from ending the idle process until a matching enable. Counted.
    virtual void disableAutomaticTermination(const std::string& reason) = 0;
    /// Takes one disable back. More enables than disables do no harm.
    virtual void enableAutomaticTermination(const std::string& reason) = 0;
    /// The operating system's version for people, in the form `Version 12.8 (Build 6.1.0-27-amd64)`.
    [[nodiscard]] virtual std::string operatingSystemVersionString() const = 0;
};
