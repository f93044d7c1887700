#pragma once

#include "ports/Directories.h"

namespace files {

/// The user's directories from the environment and the password database. Paths have no superfluous slashes.
class LinuxDirectories final : public Directories {
public:
    /// `$HOME` when it is absolute, else the password database's entry, else "/".
    [[nodiscard]] std::filesystem::path homeDirectory() const override;
    /// From the password database.
    [[nodiscard]] std::optional<std::filesystem::path> homeDirectoryForUser(const std::string& user) const override;
    /// `$XDG_DATA_HOME` when it is absolute, else `.local/share` in the home directory.
    [[nodiscard]] std::optional<std::filesystem::path> applicationSupportDirectory() override;
};

}  // namespace files
