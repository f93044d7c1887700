#pragma once

#include "base/Error.h"
#include "base/Geometry.h"
#include "base/Time.h"

#include <sdbus-c++/Error.h>
#include <sdbus-c++/Types.h>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

/// How values travel on the bus, in both directions.
namespace bus {

using ErrorStruct = sdbus::Struct<std::string, std::int32_t, std::map<std::string, sdbus::Variant>>;
using RectStruct = sdbus::Struct<double, double, double, double>;
using Path = std::filesystem::path;

/// A path as file URL: every byte but unreserved characters and "/" percent-encoded (RFC 3986, RFC 8089).
[[nodiscard]] std::string urlFromPath(const Path& path);
/// The absolute path of a file URL with an empty or "localhost" host, without slashes at its end; nothing when the text
/// is no such URL or holds a NUL byte.
[[nodiscard]] std::optional<Path> pathFromURL(std::string_view url);

/// The text with every byte that is not part of valid UTF-8 (or is NUL) replaced by U+FFFD: the bus refuses others.
[[nodiscard]] std::string validUTF8(std::string_view text);

/// Nothing becomes the empty text, and the other way round.
[[nodiscard]] std::string textFrom(const std::optional<std::string>& value);
[[nodiscard]] std::string textFrom(const std::optional<Path>& url);
[[nodiscard]] std::optional<std::string> optionalFrom(const std::string& text);
/// Throws `sdbus::Error` (invalid arguments, with a sentence) when the text is neither empty nor a file URL.
[[nodiscard]] std::optional<Path> optionalPathFrom(const std::string& url);

[[nodiscard]] ErrorStruct structFrom(const ErrorPtr& error);
/// Null for an empty domain. User information that is not text is left out.
[[nodiscard]] ErrorPtr errorFrom(const ErrorStruct& value);
/// An error value as D-Bus error: name `kErrorPrefix` + domain + ".Code" + code, message the description. A minus sign
/// becomes "_", as do characters of the domain that such a name cannot hold.
[[nodiscard]] sdbus::Error busErrorFrom(const Error& error);
/// The error value that a D-Bus error carries; for a foreign one, its name as domain and code 0.
[[nodiscard]] ErrorPtr errorFrom(const sdbus::Error& error);

[[nodiscard]] std::int64_t microsecondsFrom(Date date);
[[nodiscard]] Date dateFrom(std::int64_t microseconds);

}  // namespace bus
