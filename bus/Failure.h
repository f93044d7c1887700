#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace bus {

/// Why something could not be done on the bus, or is refused there: the name of a D-Bus error, and a sentence.
class Failure : public std::runtime_error {
public:
    Failure(std::string name, const std::string& sentence) : std::runtime_error(sentence), name_(std::move(name)) {}
    [[nodiscard]] const std::string& name() const { return name_; }

private:
    std::string name_;
};

/// Names of errors that calls get.
inline constexpr const char* kFailed = "org.freedesktop.DBus.Error.Failed";
inline constexpr const char* kLimitsExceeded = "org.freedesktop.DBus.Error.LimitsExceeded";
inline constexpr const char* kInvalidArguments = "org.freedesktop.DBus.Error.InvalidArgs";
inline constexpr const char* kAccessDenied = "org.freedesktop.DBus.Error.AccessDenied";
/// No reply came in time; the library has two names for that.
inline constexpr const char* kTimeout = "org.freedesktop.DBus.Error.Timeout";
inline constexpr const char* kTimedOut = "org.freedesktop.DBus.Error.TimedOut";
/// Somebody else has answered, so the reply counts for nothing. Without a dot nobody can send it as a name.
inline constexpr const char* kForged = "Forged";

}  // namespace bus
