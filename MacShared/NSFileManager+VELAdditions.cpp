#include "MacShared/NSFileManager+VELAdditions.h"

#include "ports/Platform.h"

std::optional<std::filesystem::path> findOrCreateDirectory(FileManager& fileManager, SearchPathDirectory /*directory*/,
                                                           SearchPathDomain /*inDomain*/,
                                                           const std::optional<std::string>& appendPathComponent,
                                                           ErrorPtr* error) {
    if (error != nullptr) *error = nullptr;
    auto url = platform().fileManager.applicationSupportDirectory();
    if (!url) return std::nullopt;
    if (appendPathComponent) *url /= *appendPathComponent;
    if (auto failure = fileManager.createDirectory(*url)) {
        if (error != nullptr) *error = std::move(failure);
        return std::nullopt;
    }
    return url;
}
