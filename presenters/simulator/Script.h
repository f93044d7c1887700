#pragma once

#include "base/Error.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace simulator {

class Simulator;

/// The commands of a simulation script; docs/simulator.md tells what they do.

/// How carrying a command out went: null for done, an error for failed, nothing for not done yet.
using Outcome = std::optional<ErrorPtr>;
/// Carries a command out.
using Command = std::function<Outcome(Simulator&)>;

/// What a line of a script holds: a command, nothing (a blank line or a comment), or a sentence that says what is wrong
/// with it and what is allowed.
struct Line {
    std::optional<Command> command;
    std::string error;  ///< empty when the line is good
};

/// Reads one line. Words are parted by blanks; "..." makes one word of several; # begins a comment.
[[nodiscard]] Line parseLine(std::string_view text);

}  // namespace simulator
