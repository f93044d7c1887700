#pragma once

#include "ports/UserDefaults.h"

#include <filesystem>

class Bundle;
class Directories;

namespace files {

/// Defaults from a property list (XML or binary) of the user's, which is read anew at each question.
class PropertyListDefaults final : public UserDefaults {
public:
    explicit PropertyListDefaults(std::filesystem::path file) : file_(std::move(file)) {}
    /// From `<executable>.plist` in `$XDG_CONFIG_HOME` when that is absolute, else in `.config` in the home directory.
    PropertyListDefaults(const Directories& directories, const Bundle& mainBundle);

    [[nodiscard]] bool boolForKey(const std::string& defaultName) override;

private:
    const std::filesystem::path file_;
};

}  // namespace files
