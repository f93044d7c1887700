#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace shared {

/// The main bundle's translation of an English text.
[[nodiscard]] std::string localizedString(const std::string& english);

/// Puts the arguments in place of `%1$@` to `%9$@`, so that a translation may order them as its language does. A
/// position without an argument stays as it is written.
[[nodiscard]] std::string localizedFormat(std::string_view format, std::initializer_list<std::string_view> arguments);

}  // namespace shared
