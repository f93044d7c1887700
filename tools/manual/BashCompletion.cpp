#include "tools/manual/Manual.h"

#include <fmt/format.h>

#include <algorithm>

namespace manual {
namespace bash {
namespace {

constexpr const char* kScript = R"(# Completion of {0} for bash, made from its own command line.
_{1}() {{
    local word=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD - 1]}} command='' each
    # --option=value comes as three words.
    if [[ $word == = ]]; then
        word=''
    elif [[ $previous == = ]]; then
        previous=${{COMP_WORDS[COMP_CWORD - 2]}}
    fi
    for each in "${{COMP_WORDS[@]:1:COMP_CWORD - 1}}"; do
        case $each in
            {2}) command=$each && break ;;
        esac
    done
    case "$command $previous" in
{3}    esac
    if [[ $word == -* ]]; then
        case $command in
{4}        esac
        return
    fi
    case $command in
{5}    esac
}}
complete -F _{1} {0}
)";

std::string choose(const std::string& words) {
    return fmt::format("mapfile -t COMPREPLY < <(compgen -W '{}' -- \"$word\")", words);
}

/// What completes a value, empty where nobody can tell.
std::string complete(const Argument& argument) {
    switch (argument.values) {
        case Argument::Values::choice:
            return choose(fmt::format("{}", fmt::join(argument.choices, " ")));
        case Argument::Values::file:
            return "compopt -o filenames && mapfile -t COMPREPLY < <(compgen -f -- \"$word\")";
        case Argument::Values::directory:
            return "compopt -o filenames && mapfile -t COMPREPLY < <(compgen -d -- \"$word\")";
        default:
            return {};
    }
}

/// The name of the command, which is none for the program itself.
std::string pattern(const std::string& command) {
    return command.empty() ? "''" : command;
}

std::string values(const std::string& name, const Command& command) {
    std::string text;
    for (const auto& option : command.options()) {
        if (option.value.empty()) continue;
        const auto completion = complete(option);
        text += fmt::format("        '{} {}') {}return ;;\n", name, option.names.back(),
                            completion.empty() ? completion : completion + "; ");
    }
    return text;
}

std::string options(const std::string& name, const Command& command) {
    std::vector<std::string> names;
    for (const auto& option : command.options()) names.push_back(option.names.back());
    return fmt::format("            {}) {} ;;\n", pattern(name), choose(fmt::format("{}", fmt::join(names, " "))));
}

std::string places(const std::string& name, const Command& command) {
    const auto all = command.places();
    const auto file = std::ranges::find_if(all, [](const Argument& place) { return !complete(place).empty(); });
    return file == all.end() ? "" : fmt::format("        {}) {} ;;\n", pattern(name), complete(*file));
}

}  // namespace
}  // namespace bash

std::string bashCompletion(const Command& program) {
    std::vector<std::string> names;
    auto ofValues = bash::values("", program);
    auto ofOptions = bash::options("", program);
    auto ofPlaces = bash::places("", program);
    for (const auto& command : program.commands) {
        names.push_back(command.name);
        ofValues += bash::values(command.name, command);
        ofOptions += bash::options(command.name, command);
        ofPlaces += bash::places(command.name, command);
    }
    if (!names.empty()) {
        ofPlaces =
            fmt::format("        '') {} ;;\n", bash::choose(fmt::format("{}", fmt::join(names, " ")))) + ofPlaces;
    }
    auto function = program.name;
    std::ranges::replace(function, '-', '_');
    return fmt::format(bash::kScript, program.name, function,
                       names.empty() ? "''" : fmt::format("{}", fmt::join(names, " | ")), ofValues, ofOptions,
                       ofPlaces);
}

}  // namespace manual
