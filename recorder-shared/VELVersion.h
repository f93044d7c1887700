#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

/// A four-part version number: major.minor.qfe.build. Missing parts are 0.
class VELVersion {
public:
    /// `versionWithString:` / `initWithString:`. One to four components separated by ".", each a number of the shared
    /// parser; nothing for anything else, and for nothing.
    [[nodiscard]] static std::optional<VELVersion> versionWithString(const std::optional<std::string>& string);

    /// `versionWithMajor:minor:qfe:build:`
    [[nodiscard]] static VELVersion versionWithMajor(std::uint64_t major, std::uint64_t minor, std::uint64_t qfe,
                                                     std::uint64_t build) {
        return {major, minor, qfe, build};
    }
    /// `initWithMajor:minor:qfe:build:`
    VELVersion(std::uint64_t major, std::uint64_t minor, std::uint64_t qfe, std::uint64_t build)
        : components_{major, minor, qfe, build} {}

    [[nodiscard]] std::uint64_t major() const { return components_[0]; }
    [[nodiscard]] std::uint64_t minor() const { return components_[1]; }
    [[nodiscard]] std::uint64_t qfe() const { return components_[2]; }
    [[nodiscard]] std::uint64_t build() const { return components_[3]; }
    void setMajor(std::uint64_t value) { components_[0] = value; }
    void setMinor(std::uint64_t value) { components_[1] = value; }
    void setQfe(std::uint64_t value) { components_[2] = value; }
    void setBuild(std::uint64_t value) { components_[3] = value; }

    /// `compareTo:`: +1 when this version is greater, -1 when it is smaller, 0 when equal, component by component.
    /// No version compares as 0.0.0.0.
    [[nodiscard]] int compareTo(const std::optional<VELVersion>& other) const;
    /// `isEqual:`
    [[nodiscard]] bool isEqual(const VELVersion& other) const { return compareTo(other) == 0; }
    /// `isAtleastVersion:`: whether this version is equal to or greater than that of the text. Every version is at
    /// least one that does not parse, and nothing.
    [[nodiscard]] bool isAtleastVersion(const std::optional<std::string>& version) const;

    /// `stringValue`: always four components, each as its low 32 bits.
    [[nodiscard]] std::string stringValue() const;
    /// `description`: class, address in decimal between "0x" and "x", and the components.
    [[nodiscard]] std::string description() const;

private:
    std::array<std::uint64_t, 4> components_;
};
