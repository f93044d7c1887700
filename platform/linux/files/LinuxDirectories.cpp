#include "platform/linux/files/LinuxDirectories.h"

#include "platform/linux/files/LinuxFileManager.h"

#include <pwd.h>
#include <unistd.h>
#include <cstdlib>
#include <vector>

namespace files {

namespace {

using std::filesystem::path;

/// As other paths are written, so that texts can be compared.
path standardised(const char* text) {
    auto result = path(text).lexically_normal();
    return result.has_filename() ? result : result.parent_path();
}

std::optional<path> absolutePathFromEnvironment(const char* variable) {
    const char* value = std::getenv(variable);
    // A relative directory would depend on where the program was started (XDG base directories).
    if (value == nullptr || *value != '/') return std::nullopt;
    return standardised(value);
}

template <class Find, class Key>
std::optional<path> homeInPasswordDatabase(Find find, Key key) {
    // More than the library suggests; an entry that needs still more counts as none.
    std::vector<char> buffer(16384);
    struct passwd entry {};
    struct passwd* found = nullptr;
    const int error = find(key, &entry, buffer.data(), buffer.size(), &found);
    if (error != 0 || found == nullptr || found->pw_dir == nullptr || *found->pw_dir != '/') return std::nullopt;
    return standardised(found->pw_dir);
}

}  // namespace

path LinuxDirectories::homeDirectory() const {
    if (auto home = absolutePathFromEnvironment("HOME")) return *home;
    return homeInPasswordDatabase(::getpwuid_r, ::getuid()).value_or("/");
}

std::optional<path> LinuxDirectories::homeDirectoryForUser(const std::string& user) const {
    return homeInPasswordDatabase(::getpwnam_r, user.c_str());
}

std::optional<path> LinuxDirectories::applicationSupportDirectory() {
    const auto data = absolutePathFromEnvironment("XDG_DATA_HOME");
    const path directory = data ? *data : homeDirectory() / ".local/share";
    if (LinuxFileManager().createDirectory(directory)) return std::nullopt;
    return directory;
}

}  // namespace files
