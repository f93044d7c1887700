#include "MacShared/NSFileManager+VELAdditions.h"

#include "ports/Directories.h"
#include "ports/Platform.h"

std::filesystem::path appendingPathComponent(const std::filesystem::path& directory, const std::string& component) {
    // As if the directory were the root: whatever the component says, it cannot lead out of it.
    const auto absolute = (std::filesystem::path("/") / component).lexically_normal();
    const auto relative = (absolute.has_filename() ? absolute : absolute.parent_path()).relative_path();
    return relative.empty() ? directory : directory / relative;
}

std::optional<std::filesystem::path> findOrCreateDirectory(FileManager& fileManager, SearchPathDirectory /*directory*/,
                                                           SearchPathDomain /*inDomain*/,
                                                           const std::optional<std::string>& appendPathComponent,
                                                           ErrorPtr* error) {
    if (error != nullptr) *error = nullptr;
    auto url = platform().directories.applicationSupportDirectory();
    if (!url) return std::nullopt;
    if (appendPathComponent) *url = appendingPathComponent(*url, *appendPathComponent);
    if (auto failure = fileManager.createDirectory(*url)) {
        if (error != nullptr) *error = std::move(failure);
        return std::nullopt;
    }
    return url;
}
