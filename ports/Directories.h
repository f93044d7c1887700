#pragma once

#include <filesystem>
#include <optional>
#include <string>

/// Where the well-known directories lie. Paths are absolute. Callable from any thread; each call asks the system anew.
class Directories {
public:
    virtual ~Directories() = default;
    /// The user's home directory. Always a path, although nothing may stand there.
    [[nodiscard]] virtual std::filesystem::path homeDirectory() const = 0;
    /// The home directory of another user by name; nothing when there is no such user.
    [[nodiscard]] virtual std::optional<std::filesystem::path> homeDirectoryForUser(const std::string& user) const = 0;
    /// The directory in which programs keep their files for this user, created when missing; nothing when the platform
    /// has none or it cannot be created.
    [[nodiscard]] virtual std::optional<std::filesystem::path> applicationSupportDirectory() = 0;
};
