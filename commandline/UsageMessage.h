#pragma once

#include <string>

namespace CLI {
class App;
class Error;
}  // namespace CLI

/// What a program says of a wrong command line, for `CLI::App::failure_message`: the program's name, what is wrong, and
/// where help is. A command or an option that there is not is named, with the one that was perhaps meant.
[[nodiscard]] std::string usageMessage(const CLI::App* app, const CLI::Error& error);
