#pragma once

#include "commandline/ExitStatus.h"

#include <memory>
#include <optional>
#include <string>

namespace CLI {
class App;
}  // namespace CLI

/// The command line of a program: with help and a version, both in the form that all of ours have. The description has
/// no full stop.
[[nodiscard]] std::shared_ptr<CLI::App> makeProgram(const std::string& name, const std::string& description);

/// Reads the command line. Answers the exit status when nothing more is to be done: what was asked for has been
/// printed, or what is wrong.
[[nodiscard]] std::optional<ExitStatus> readCommandLine(CLI::App& program, int argc, const char* const* argv);

/// Writes a sentence for people to standard error, behind the program's name.
void complainAs(const char* program, const std::string& sentence);
