#include "recorder-shared/VELVersion.h"

#include "recorder-shared/NSString+VELStringAdditions.h"

#include <cstdint>
#include <string_view>

std::optional<VELVersion> VELVersion::versionWithString(const std::optional<std::string>& string) {
    if (!string) return std::nullopt;
    VELVersion version(0, 0, 0, 0);
    std::string_view rest = *string;
    for (std::uint64_t& component : version.components_) {
        const auto dot = rest.find('.');
        const auto number = numberFromServerString(rest.substr(0, dot));
        if (!number) return std::nullopt;
        component = number->unsignedIntegerValue;
        if (dot == std::string_view::npos) return version;
        rest.remove_prefix(dot + 1);
    }
    return std::nullopt;  // a fifth component
}

int VELVersion::compareTo(const std::optional<VELVersion>& other) const {
    // No version is the lowest one.
    const auto theirs = other ? other->components_ : decltype(components_){};
    if (components_ == theirs) return 0;
    return components_ > theirs ? 1 : -1;
}

bool VELVersion::isAtleastVersion(const std::optional<std::string>& version) const {
    return compareTo(versionWithString(version)) >= 0;
}

std::string VELVersion::stringValue() const {
    std::string result;
    for (const std::uint64_t component : components_) {
        if (!result.empty()) result += '.';
        // Components are kept in 64 bits for comparing, and printed as the 32 that the platform prints.
        result += std::to_string(static_cast<std::uint32_t>(component));
    }
    return result;
}

std::string VELVersion::description() const {
    const auto address = std::to_string(reinterpret_cast<std::uintptr_t>(this));
    return "<VELVersion:0x" + address + "x " + stringValue() + ">";
}
