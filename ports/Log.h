#pragma once

#include <string>
#include <string_view>

/// The platform's unified log. Callable from any thread; a failure is dropped.
class UnifiedLog {
public:
    virtual ~UnifiedLog() = default;
    /// Whether messages of the default level are taken at all. A caller may then save itself the work of wording them.
    [[nodiscard]] virtual bool isDefaultLevelEnabled() const = 0;
    /// Emits a message at the default level that nobody redacts. Subsystem and category name the part of a program
    /// that speaks; either may be empty.
    virtual void write(const std::string& subsystem, const std::string& category, std::string_view message) = 0;
};

/// Where the log and the adapters say what is wrong with themselves. Callable from any thread.
class ConsoleLog {
public:
    virtual ~ConsoleLog() = default;
    /// Writes a message of one line, without its line feed. Nobody hears of a failure.
    virtual void write(std::string_view message) = 0;
};
