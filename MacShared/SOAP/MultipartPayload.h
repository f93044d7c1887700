#pragma once

#include <optional>
#include <string_view>

namespace shared {

/// The first part's content in a multipart body that ends exactly with its closing delimiter: what lies between the
/// first empty line and CR LF, two hyphens, the boundary and two hyphens. Only lengths are looked at: further parts or
/// other bytes behind the delimiter shift the end. Nothing when there is no empty line, or no room for a delimiter
/// behind it.
[[nodiscard]] std::optional<std::string_view> multipartPayload(std::string_view body, std::string_view boundary);

}  // namespace shared
