#pragma once

#include <string>

/// Tells the system when this process must not be ended for being idle. Callable from any thread; nothing fails.
class AutomaticTermination {
public:
    virtual ~AutomaticTermination() = default;
    /// Keeps the system from ending the idle process. Each call owes one `enable`; the reason is for people who debug.
    virtual void disable(const std::string& reason) = 0;
    /// Takes one `disable` back. More of these than of those do no harm.
    virtual void enable(const std::string& reason) = 0;
};
