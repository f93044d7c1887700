#include "platform/linux/files/PropertyListDefaults.h"

#include "platform/linux/files/PropertyList.h"
#include "ports/Bundle.h"
#include "ports/Directories.h"

#include <algorithm>
#include <cstdlib>

namespace files {

namespace {

namespace fs = std::filesystem;

fs::path configurationDirectory(const Directories& directories) {
    const char* value = std::getenv("XDG_CONFIG_HOME");
    const fs::path path(value != nullptr ? value : "");
    // A relative directory would depend on where the program was started (XDG base directories).
    return path.is_absolute() ? path : directories.homeDirectory() / ".config";
}

bool boolValue(std::string_view text) {
    // As the platform reads a text as a boolean: what begins like a number, "yes" or "true".
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    if (text.starts_with('+') || text.starts_with('-')) text.remove_prefix(1);
    text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
    return !text.empty() && std::string_view("123456789yYtT").find(text.front()) != std::string_view::npos;
}

}  // namespace

PropertyListDefaults::PropertyListDefaults(const Directories& directories, const Bundle& mainBundle)
    : PropertyListDefaults(configurationDirectory(directories) /
                           (mainBundle.infoString("CFBundleExecutable").value_or("") + ".plist")) {}

bool PropertyListDefaults::boolForKey(const std::string& defaultName) {
    const auto scalars = readPropertyScalars(file_);
    const auto found = scalars.find(defaultName);
    if (found == scalars.end()) return false;
    const auto* const flag = std::get_if<bool>(&found->second);
    return flag != nullptr ? *flag : boolValue(std::get<std::string>(found->second));
}

}  // namespace files
