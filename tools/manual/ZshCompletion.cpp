#include "tools/manual/Manual.h"

#include <fmt/format.h>

#include <algorithm>

namespace manual {
namespace zsh {
namespace {

/// Within single quotes.
std::string quoted(const std::string& text) {
    std::string result;
    for (const char character : text) result += character == '\'' ? std::string("'\\''") : std::string(1, character);
    return "'" + result + "'";
}

/// A description between `[` and `]`, or between `:` and `:`.
std::string words(const std::string& text) {
    return escaped(text, "[]:\\", "\\");
}

/// `:value:how to complete it`.
std::string value(const Argument& argument) {
    switch (argument.values) {
        case Argument::Values::none:
            return {};
        case Argument::Values::choice:
            return fmt::format(":value:({})", fmt::join(argument.choices, " "));
        case Argument::Values::file:
            return ":" + argument.value + ":_files";
        case Argument::Values::directory:
            return ":" + argument.value + ":_files -/";
        default:
            return ":" + argument.value + ": ";
    }
}

std::string lines(const Command& command, const char* indent) {
    std::string text;
    const auto add = [&](const std::string& entry) { text += fmt::format(" \\\n{}{}", indent, quoted(entry)); };
    for (const auto& argument : command.arguments) {
        if (!argument.isOption()) add((argument.repeats ? "*" : "") + value(argument));
        for (const auto& name : argument.names) {
            const auto several = argument.repeats ? "*" : "";
            const auto equals = argument.value.empty() ? "" : "=";
            add(several + name + equals + "[" + words(argument.description) + "]" + value(argument));
        }
    }
    return text;
}

}  // namespace
}  // namespace zsh

std::string zshCompletion(const Command& program) {
    auto text =
        fmt::format("#compdef {0}\n# Completion of {0} for zsh, made from its own command line.\n", program.name);
    if (program.commands.empty()) return text + "_arguments -S" + zsh::lines(program, "    ") + "\n";
    std::string names;
    std::string cases;
    for (const auto& command : program.commands) {
        names += " \\\n            " + zsh::quoted(command.name + ":" + escaped(command.description, ":", "\\"));
        cases += fmt::format("            {})\n                _arguments -S{} ;;\n", command.name,
                             zsh::lines(command, "                    "));
    }
    return text +
           fmt::format(
               "local state line\nlocal -a commands\n_arguments -C{} \\\n    '1: :->command' \\\n    '*:: :->rest'\n"
               "case $state in\n    command)\n        commands=({})\n        _describe -t commands command commands "
               ";;\n"
               "    rest)\n        case $words[1] in\n{}        esac ;;\nesac\n",
               zsh::lines(program, "    "), names, cases);
}

}  // namespace manual
