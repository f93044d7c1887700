#include "tools/keynote-capture/office/Offices.h"

#include "base/FileURL.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <string_view>

namespace keynote_capture {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostOfProcess = 1UL << 20U;

/// The rest of the last of these texts that begins so; each ends in a zero.
std::optional<std::string> restOf(std::string_view texts, std::string_view beginning) {
    std::optional<std::string> rest;
    while (!texts.empty()) {
        const auto text = texts.substr(0, texts.find('\0'));
        if (text.starts_with(beginning)) rest = text.substr(beginning.size());
        texts.remove_prefix(std::min(text.size() + 1, texts.size()));
    }
    return rest;
}

std::string allOf(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::string bytes(kMostOfProcess, '\0');
    in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(in.gcount()));
    return bytes;
}

fs::path profileBelow(const std::optional<std::string>& config, const std::optional<std::string>& home) {
    const bool isSet = config && config->starts_with('/');
    return fs::path(isSet ? *config : home.value_or("") + "/.config") / "libreoffice/4";
}

bool isOffice(const fs::path& process) {
    struct stat status {};
    if (stat(process.c_str(), &status) != 0 || status.st_uid != geteuid()) return false;
    std::error_code failure;
    const auto program = fs::read_symlink(process / "exe", failure).filename().native();
    // One that was updated while it ran is told to be deleted.
    return program == "soffice.bin" || program == "soffice.bin (deleted)";
}

fs::path profileOf(const fs::path& office) {
    if (const auto url = restOf(allOf(office / "cmdline"), "-env:UserInstallation=")) {
        return pathFromURL(*url).value_or(fs::path());
    }
    const auto environment = allOf(office / "environ");
    return profileBelow(restOf(environment, "XDG_CONFIG_HOME="), restOf(environment, "HOME="));
}

bool isSame(const fs::path& one, const fs::path& other) {
    std::error_code failure;
    return fs::weakly_canonical(one, failure) == fs::weakly_canonical(other, failure);
}

std::optional<std::string> variable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

}  // namespace

fs::path officeProfile() {
    return profileBelow(variable("XDG_CONFIG_HOME"), variable("HOME"));
}

fs::path settingsIn(const fs::path& profile) {
    return profile / "user/registrymodifications.xcu";
}

std::optional<std::string> contentOf(const fs::path& file, std::size_t most) {
    std::error_code failure;
    if (!fs::is_regular_file(file, failure)) return std::nullopt;
    std::ifstream in(file, std::ios::binary);
    std::string bytes(std::min<std::uintmax_t>(fs::file_size(file, failure), most), '\0');
    if (failure || !in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) return std::nullopt;
    return bytes;
}

std::optional<pid_t> runningOffice(const fs::path& profile) {
    std::error_code failure;
    for (const auto& process : fs::directory_iterator("/proc", failure)) {
        const auto name = process.path().filename().native();
        pid_t number = 0;
        const auto [end, problem] = std::from_chars(name.data(), name.data() + name.size(), number);
        const bool isNumber = problem == std::errc() && end == name.data() + name.size();
        if (isNumber && isOffice(process.path()) && isSame(profileOf(process.path()), profile)) return number;
    }
    return std::nullopt;
}

OfficePipe officePipe(const std::string& name) {
    // Address, references, protocol, flags, type, state, node and path; the flag is that of a socket which listens.
    constexpr std::string_view kListens = "00010000";
    const auto ending = fmt::format("/OSL_PIPE_{}_{}", geteuid(), name);
    std::ifstream sockets("/proc/net/unix");
    for (std::string line; std::getline(sockets, line);) {
        if (!line.ends_with(ending) || line.find(kListens) == std::string::npos) continue;
        struct stat status {};
        const auto path = line.substr(line.find('/'));
        const bool isForeign = stat(path.c_str(), &status) == 0 && status.st_uid != geteuid();
        return isForeign ? OfficePipe::foreign : OfficePipe::listening;
    }
    return OfficePipe::absent;
}

}  // namespace keynote_capture
