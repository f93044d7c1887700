#pragma once

#include <filesystem>

namespace files {

/// Moves a regular file to another file system: copies it under a hidden name beside the destination, makes the copy
/// durable, gives it its name unless that is taken, and then removes the source. Permissions and times come along where
/// the destination takes them.
/// Answers 0, or the `errno` value of what failed: then the source is untouched and the destination as it was.
/// `EBUSY`, without waiting, when somebody has the source open for writing, or has written to it meanwhile. Where the
/// file system cannot tell, a source that changed in the last few seconds counts as being written.
[[nodiscard]] int moveAcrossFileSystems(const std::filesystem::path& from, const std::filesystem::path& to);

/// Renames, never over something that exists (`EEXIST`); also where the file system cannot do that by itself.
/// Answers 0 or an `errno` value.
[[nodiscard]] int renameExclusively(const std::filesystem::path& from, const std::filesystem::path& to);

}  // namespace files
