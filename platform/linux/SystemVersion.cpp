#include "platform/linux/SystemVersion.h"

#include <fmt/format.h>
#include <sys/utsname.h>
#include <fstream>
#include <string_view>

namespace {

constexpr std::string_view kVersionKey = "VERSION_ID=";

/// Empty when the distribution does not say it.
std::string ownVersion(const std::filesystem::path& etc) {
    std::string line;
    for (std::ifstream release(etc / "os-release"); std::getline(release, line);) {
        if (!line.starts_with(kVersionKey)) continue;
        line.erase(0, kVersionKey.size());
        std::erase_if(line, [](char c) { return c == '"' || c == '\''; });
        return line;
    }
    return {};
}

/// Empty when Debian's version is no number.
std::string debianVersion(const std::filesystem::path& etc) {
    std::string line;
    std::ifstream debian(etc / "debian_version");
    std::getline(debian, line);
    return line.find_first_not_of("0123456789.") == std::string::npos ? line : std::string();
}

std::string distributionVersion(const std::filesystem::path& etc) {
    const auto own = ownVersion(etc);
    const auto debian = debianVersion(etc);
    if (own.empty()) return debian.empty() ? "unknown" : debian;
    // Debian's own `os-release` has the major version only; on a derived one the file tells what it derives from.
    return debian.starts_with(own + ".") ? debian : own;
}

}  // namespace

std::string systemVersionString(const std::filesystem::path& etc) {
    struct utsname kernel {};
    const bool known = ::uname(&kernel) == 0;
    return fmt::format("Version {} (Build {})", distributionVersion(etc), known ? kernel.release : "unknown");
}

std::string LinuxSystem::versionString() const {
    static const auto version = systemVersionString();
    return version;
}
