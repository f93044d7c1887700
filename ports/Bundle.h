#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

/// A directory with code, an information dictionary and resources. Immutable; callable from any thread.
class Bundle {
public:
    virtual ~Bundle() = default;
    [[nodiscard]] virtual const std::filesystem::path& path() const = 0;
    /// The string under a key of the information dictionary; nothing when absent, unreadable or no string.
    [[nodiscard]] virtual std::optional<std::string> infoString(const std::string& key) const = 0;
    /// The translation of an English text into the user's language; the text itself when there is none.
    [[nodiscard]] virtual std::string localizedString(const std::string& english) const = 0;
    /// Where the resource `name.ofType` lies: among the bundle's resources or, with `inDirectory`, in that folder of
    /// theirs; nothing when nothing stands there. An empty type means a name without one.
    [[nodiscard]] virtual std::optional<std::filesystem::path> pathForResource(
        const std::string& name, const std::string& ofType, const std::filesystem::path& inDirectory = {}) const = 0;
};

/// Where bundles come from. Callable from any thread.
class Bundles {
public:
    virtual ~Bundles() = default;
    /// The bundle of this process. Never null.
    [[nodiscard]] virtual std::shared_ptr<const Bundle> mainBundle() = 0;
    /// The bundle at a path, or null when no directory stands there.
    [[nodiscard]] virtual std::shared_ptr<const Bundle> bundleAtPath(const std::filesystem::path& path) = 0;
    /// The string under a key of the property list in a file; nothing when there is none or the list is unreadable.
    [[nodiscard]] virtual std::optional<std::string> propertyListString(const std::filesystem::path& file,
                                                                        const std::string& key) = 0;
};
