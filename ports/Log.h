#pragma once

#include <string>
#include <string_view>

/// The platform's unified log. Callable from any thread; a failure is dropped.
class UnifiedLog {
public:
    virtual ~UnifiedLog() = default;
    /// Whether messages of the default level are taken at all.
    [[nodiscard]] virtual bool isDefaultLevelEnabled() const = 0;
    /// Emits a public (never redacted) message at the default level.
    virtual void write(const std::string& subsystem, const std::string& category, std::string_view message) = 0;
};

/// Where the log machinery complains about itself. Callable from any thread.
class ConsoleLog {
public:
    virtual ~ConsoleLog() = default;
    virtual void write(std::string_view message) = 0;
};
