#pragma once

#include "ports/Text.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

/// Small operations on texts in UTF-8. Callable from any thread. None of them trusts its input.

/// `base64DecodedData`: the bytes that the text stands for. Characters outside the Base64 alphabet are ignored; nothing
/// when the rest is not valid: a group that is not complete or not padded, or padding elsewhere than at the end.
[[nodiscard]] std::optional<std::string> base64DecodedData(std::string_view string);

/// `queryParameters`: names and values of a URL query, as written. Of parts with the same name the last one counts;
/// parts without exactly one "=" do not.
[[nodiscard]] std::map<std::string, std::string> queryParameters(std::string_view string);

/// `urlEncode`: percent-encodes every byte, also of letters and digits; only ";/?:@&=+$," stay as they are.
[[nodiscard]] std::string urlEncode(std::string_view string);

/// `isEmpty`: whether there is nothing but white space and line breaks, as Unicode counts them.
[[nodiscard]] bool isEmpty(std::string_view string);

/// `trimSlash`: without the slashes at both ends.
[[nodiscard]] std::string trimSlash(std::string_view string);

/// `isUnderHomeDirectory`: whether the standardised path begins with the text of the home directory's path. For a home
/// `/Users/bob` that holds for `/Users/bobby` too.
[[nodiscard]] bool isUnderHomeDirectory(std::string_view string);

/// `pathRelativeToHome`: the standardised path without as many characters as the home directory's path with a slash
/// has, whatever they are; ask `isUnderHomeDirectory` first.
[[nodiscard]] std::string pathRelativeToHome(std::string_view string);

/// `stringByStandardizingPath`: a leading "~" or "~user" replaced by that home directory (an unknown user's is kept),
/// empty components and "." removed. In absolute paths ".." leads to the real parent: a symbolic link before it is
/// followed. Relative paths keep theirs.
[[nodiscard]] std::string stringByStandardizingPath(std::string_view string);

/// `stringWithUUID`: a new random UUID: 36 characters, upper-case hexadecimal digits in groups of 8-4-4-4-12.
[[nodiscard]] std::string stringWithUUID();

/// `numberFormatter`: the shared number parser: decimal style without exponents, exact decimals, locale "en_US_POSIX"
/// whatever the user's settings are.
[[nodiscard]] std::shared_ptr<const NumberFormatter> numberFormatter();

/// `numberFromServerString:`: the number that the whole text stands for, or nothing.
[[nodiscard]] std::optional<DecimalNumber> numberFromServerString(std::string_view string);
