#include "platform/linux/SystemVersion.h"

#include <fmt/format.h>
#include <sys/utsname.h>
#include <fstream>
#include <string_view>

namespace {

constexpr std::string_view kVersionKey = "VERSION_ID=";

std::string distributionVersion(const std::filesystem::path& etc) {
    std::string line;
    std::ifstream debian(etc / "debian_version");
    if (std::getline(debian, line) && !line.empty() && line.find_first_not_of("0123456789.") == std::string::npos) {
        return line;
    }
    for (std::ifstream release(etc / "os-release"); std::getline(release, line);) {
        if (!line.starts_with(kVersionKey)) continue;
        line.erase(0, kVersionKey.size());
        std::erase_if(line, [](char c) { return c == '"' || c == '\''; });
        return line;
    }
    return "unknown";
}

}  // namespace

std::string systemVersionString(const std::filesystem::path& etc) {
    struct utsname kernel {};
    const bool known = ::uname(&kernel) == 0;
    return fmt::format("Version {} (Build {})", distributionVersion(etc), known ? kernel.release : "unknown");
}
