#pragma once

#include "commandline/Command.h"

#include <string>

namespace manual {

/// What is made of a program's own definition of its command line, so that it is never out of step. The values are
/// English.

/// The manual page in mdoc. The frame is its source with lines `@SYNOPSIS@`, `@COMMANDS@`, `@OPTIONS@` and
/// `@EXAMPLES@`, in whose places come what the definition says of them.
[[nodiscard]] std::string manPage(const Command& program, const std::string& frame);

/// Completions for three shells: of commands, of options, and of values that are files, directories or choices.
[[nodiscard]] std::string bashCompletion(const Command& program);
[[nodiscard]] std::string zshCompletion(const Command& program);
[[nodiscard]] std::string fishCompletion(const Command& program);

/// The text with the character put before each of these ones in it.
[[nodiscard]] std::string escaped(const std::string& text, const std::string& special, const std::string& by);

}  // namespace manual
