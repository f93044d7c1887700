#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace files {

/// The texts, booleans and whole numbers of a property list's top dictionary by key; other values are left out. Of a
/// number, whether it is other than zero.
using PropertyScalars = std::map<std::string, std::variant<std::string, bool>, std::less<>>;

/// The text under a key; nothing when there is none.
[[nodiscard]] std::optional<std::string> stringIn(const PropertyScalars& scalars, std::string_view key);

/// Reads the property list (XML or binary) in a regular file of at most 1 MiB. Empty when it is none, when it is
/// damaged, or when it goes beyond what its reader takes (for XML, the limits of `ports/XMLParser.h`). Any thread.
[[nodiscard]] PropertyScalars readPropertyScalars(const std::filesystem::path& path);

/// The same for a file in an open directory, but through no link. Nothing when no regular file of that name lies there.
[[nodiscard]] std::optional<PropertyScalars> readPropertyScalarsIn(int directory, const char* name);

/// The same from memory, for a list that begins with `bplist00`.
[[nodiscard]] PropertyScalars binaryPropertyScalars(std::string_view contents);
/// The same from memory, for a list in XML.
[[nodiscard]] PropertyScalars xmlPropertyScalars(std::string_view contents);

}  // namespace files
