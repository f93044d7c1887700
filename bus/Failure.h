#pragma once

#include <sdbus-c++/Error.h>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

/// What the bus library calls back must not throw. There is C below it: an exception that leaves a callback ruins the
/// connection, which serves nothing from then on. The library itself stops its own errors in methods and replies, but
/// none in matches, and no other exception anywhere.
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

/// What the work throws, by this name unless it has one; nothing when it ends well.
[[nodiscard]] std::optional<Failure> failureOf(const char* name, const std::function<void()>& work);
/// Runs the work of a callback. What it throws ends here: a message that cannot be read or answered is dropped without
/// a word, since anybody may send such; anything else gets a line on standard error.
void guarded(const std::function<void()>& work) noexcept;

/// What the work returns; an error of the library that it throws becomes a `Failure`.
template <typename Work>
auto translated(const Work& work) {
    try {
        return work();
    } catch (const sdbus::Error& error) {
        throw Failure(error.getName(), error.getMessage());
    }
}

}  // namespace bus
