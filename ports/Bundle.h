#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

/// A directory with code, an information dictionary and resources. What it says of itself was read when it was made
/// and does not change; resources and translations are looked up at each call. Callable from any thread.
class Bundle {
public:
    virtual ~Bundle() = default;
    /// Where the bundle lies, without a slash at its end.
    [[nodiscard]] virtual const std::filesystem::path& path() const = 0;
    /// The string under a key of the information dictionary. Nothing when the key is absent, its value is no string, or
    /// the dictionary cannot be read.
    [[nodiscard]] virtual std::optional<std::string> infoString(const std::string& key) const = 0;
    /// The translation of an English text into the user's language; the text itself when there is none.
    [[nodiscard]] virtual std::string localizedString(const std::string& english) const = 0;
    /// Where the resource `name.ofType` lies: directly among the bundle's resources, or in the folder `inDirectory` of
    /// theirs. An empty type means a name without one. Nothing when nothing stands there.
    [[nodiscard]] virtual std::optional<std::filesystem::path> pathForResource(
        const std::string& name, const std::string& ofType, const std::filesystem::path& inDirectory = {}) const = 0;
};

/// Where bundles come from. Callable from any thread. Bundles are not trusted: files that are too large, damaged or no
/// files at all read as if they were missing.
class Bundles {
public:
    virtual ~Bundles() = default;
    /// The bundle of this process: the same one at every call. Never null.
    [[nodiscard]] virtual std::shared_ptr<const Bundle> mainBundle() = 0;
    /// The bundle at a path, read anew; null when no directory stands there. A directory that says nothing of itself is
    /// a bundle without any information.
    [[nodiscard]] virtual std::shared_ptr<const Bundle> bundleAtPath(const std::filesystem::path& path) = 0;
    /// The string under a key of the property list in a file, read anew; nothing when the file has no such string or
    /// cannot be read.
    [[nodiscard]] virtual std::optional<std::string> propertyListString(const std::filesystem::path& file,
                                                                        const std::string& key) = 0;
};
