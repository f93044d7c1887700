#pragma once

#include <string>

/// What the user has set for this program, read anew at each call. Callable from any thread; waits for the disk.
class UserDefaults {
public:
    virtual ~UserDefaults() = default;
    /// The boolean under a key. A whole number is true unless it is zero; a text is true when it begins, after blanks,
    /// sign and zeros, with a digit of 1 to 9 or a letter of "yYtT". False when absent, unreadable or of another kind.
    [[nodiscard]] virtual bool boolForKey(const std::string& defaultName) = 0;
};
