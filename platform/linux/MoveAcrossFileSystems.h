#pragma once

#include <filesystem>

/// Moves a regular file to another file system: waits until nobody writes it, copies it under a hidden name beside the
/// destination, makes the copy durable, gives it its name unless that is taken, and then removes the source.
/// Answers 0, or the `errno` value of what failed: then the source is untouched and the destination as it was.
/// `EBUSY` after 30 s in which the source was never at rest.
[[nodiscard]] int moveAcrossFileSystems(const std::filesystem::path& from, const std::filesystem::path& to);

/// Renames, never over something that exists (`EEXIST`); also where the file system cannot do that by itself.
/// Answers 0 or an `errno` value.
[[nodiscard]] int renameExclusively(const std::filesystem::path& from, const std::filesystem::path& to);
