#pragma once

#include "base/Error.h"
#include "base/FileURL.h"
#include "base/Time.h"
#include "base/TimeBounds.h"
#include "bus/Failure.h"

#include <sdbus-c++/Types.h>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

/// How values travel on the bus, in both directions.
namespace bus {

using Path = std::filesystem::path;

/// The text with every byte that is not part of valid UTF-8 (or is NUL) replaced by U+FFFD: the bus refuses others.
[[nodiscard]] std::string validUTF8(std::string_view text);

/// Nothing becomes the empty text, and the other way round.
[[nodiscard]] std::string textFrom(const std::optional<std::string>& value);
[[nodiscard]] std::string textFrom(const std::optional<Path>& url);
[[nodiscard]] std::optional<std::string> optionalFrom(const std::string& text);
/// Throws `Failure` (invalid arguments, with a sentence) when the text is neither empty nor a file URL.
[[nodiscard]] std::optional<Path> optionalPathFrom(const std::string& url);

/// An error value as D-Bus error: name `kErrorPrefix` + domain + ".Code" + code, the sentence is the description. A
/// minus sign becomes "_", as do characters of the domain that such a name cannot hold.
[[nodiscard]] Failure failureFrom(const Error& error);
/// The error value that a D-Bus error carries; for a foreign one, its name as domain and code 0.
[[nodiscard]] ErrorPtr errorFrom(const Failure& failure);

/// An error value as an argument: domain, code and user information.
using ErrorStruct = sdbus::Struct<std::string, std::int32_t, std::map<std::string, sdbus::Variant>>;
[[nodiscard]] ErrorStruct structFrom(const ErrorPtr& error);
/// Null for an empty domain. User information that is not text is left out.
[[nodiscard]] ErrorPtr errorFrom(const ErrorStruct& value);

[[nodiscard]] std::int64_t microsecondsFrom(Date date);
/// Earliest, 0 for none, and latest by the steady clock. Rounded outwards: what happened must not lie outside for want
/// of a digit.
[[nodiscard]] std::pair<std::int64_t, std::int64_t> microsecondsFrom(const TimeBounds& bounds);
[[nodiscard]] Date dateFrom(std::int64_t microseconds);

}  // namespace bus
