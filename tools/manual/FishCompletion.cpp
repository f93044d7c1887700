#include "tools/manual/Manual.h"

#include <fmt/format.h>

namespace manual {
namespace fish {
namespace {

std::string quoted(const std::string& text) {
    return "'" + escaped(text, "'\\", "\\") + "'";
}

std::string value(const Argument& argument) {
    switch (argument.values) {
        case Argument::Values::none:
            return {};
        case Argument::Values::choice:
            return fmt::format(" -x -a '{}'", fmt::join(argument.choices, " "));
        case Argument::Values::file:
            return " -r -F";
        case Argument::Values::directory:
            return " -x -a '(__fish_complete_directories)'";
        default:
            return " -x";
    }
}

/// A place takes files like an option, but needs no word before it.
std::string place(const Argument& argument) {
    if (argument.values == Argument::Values::file) return " -F";
    return argument.values == Argument::Values::directory ? " -a '(__fish_complete_directories)'" : "";
}

std::string option(const Argument& argument) {
    std::string words;
    for (const auto& name : argument.names) {
        words += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    }
    return words + value(argument) + " -d " + quoted(argument.description);
}

std::string lines(const Command& command, const std::string& start) {
    std::string text;
    for (const auto& argument : command.arguments) {
        const auto what = argument.isOption() ? option(argument) : place(argument);
        if (!what.empty()) text += start + what + '\n';
    }
    return text;
}

}  // namespace
}  // namespace fish

std::string fishCompletion(const Command& program) {
    const auto start = "complete -c " + program.name;
    auto text =
        fmt::format("# Completion of {0} for fish, made from its own command line.\n{1} -f\n", program.name, start);
    if (program.commands.empty()) return text + fish::lines(program, start);
    const auto first = start + " -n __fish_use_subcommand";
    text += fish::lines(program, first);
    for (const auto& command : program.commands) {
        text += fmt::format("{} -a {} -d {}\n", first, command.name, fish::quoted(command.description));
        text += fish::lines(command, fmt::format("{} -n '__fish_seen_subcommand_from {}'", start, command.name));
    }
    return text;
}

}  // namespace manual
