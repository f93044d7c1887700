#pragma once

#include "base/Error.h"
#include "ports/FileManager.h"

#include <filesystem>
#include <optional>
#include <string>

/// Kinds of well-known directories and where to look for them.
enum class SearchPathDirectory { applicationSupport, caches, documents };
enum class SearchPathDomain { user, local, system };

/// The directory with the component appended, which may be a path of several. Whatever it holds, the result lies in the
/// directory: slashes at its ends do not count, and ".." leads no further up.
[[nodiscard]] std::filesystem::path appendingPathComponent(const std::filesystem::path& directory,
                                                           const std::string& component);

/// `findOrCreateDirectory:inDomain:appendPathComponent:error:`
/// The user's Application Support directory, with the component appended when there is one, created when missing.
/// Kind and domain are ignored: the answer is the user's Application Support directory whatever the caller passes.
/// Nothing on failure; `error`, when given, says why (null when the platform has no such directory) and is null on
/// success.
std::optional<std::filesystem::path> findOrCreateDirectory(FileManager& fileManager, SearchPathDirectory directory,
                                                           SearchPathDomain inDomain,
                                                           const std::optional<std::string>& appendPathComponent,
                                                           ErrorPtr* error);
