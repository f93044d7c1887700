#include "commandline/Command.h"

#include "commandline/Translation.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iterator>
#include <string_view>

namespace {

Argument::Values valuesNamed(std::string_view name) {
    using Values = Argument::Values;
    if (name.empty()) return Values::none;
    if (name == "DIR" || name == "CAPTURE") return Values::directory;
    if (name == "FILE" || name == "DECK" || name == "SCRIPT") return Values::file;
    return name.find('|') == std::string_view::npos ? Values::text : Values::choice;
}

std::vector<std::string> namesOf(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const auto& name : option.get_snames()) names.push_back("-" + name);
    for (const auto& name : option.get_lnames()) names.push_back("--" + name);
    return names;
}

Argument argumentOf(const CLI::Option& option) {
    Argument argument;
    argument.names = namesOf(option);
    if (option.get_positional()) {
        argument.value = option.get_name(true);
    } else if (option.get_type_size() > 0) {
        argument.value = option.get_type_name();
    }
    argument.description = option.get_description();
    argument.defaultValue = option.get_default_str();
    argument.values = valuesNamed(argument.value);
    if (argument.values == Argument::Values::choice) argument.choices = CLI::detail::split(argument.value, '|');
    argument.isRequired = option.get_required();
    argument.repeats = option.get_expected_max() > 1;
    return argument;
}

template <typename Condition>
std::vector<Argument> argumentsThat(const Command& command, Condition condition) {
    std::vector<Argument> found;
    std::ranges::copy_if(command.arguments, std::back_inserter(found), condition);
    return found;
}

}  // namespace

std::vector<Argument> Command::options() const {
    return argumentsThat(*this, [](const Argument& argument) { return argument.isOption(); });
}

std::vector<Argument> Command::places() const {
    return argumentsThat(*this, [](const Argument& argument) { return !argument.isOption(); });
}

Command commandOf(const CLI::App& app) {
    Command command{app.get_name(), app.get_description(), app.get_footer(), {}, {}};
    for (const auto* option : app.get_options()) command.arguments.push_back(argumentOf(*option));
    // Help is what the library knows first, and what people look for last.
    const auto isHelp = [](const Argument& each) {
        return each.isOption() && (each.names.back() == "--help" || each.names.back() == "--version");
    };
    std::stable_partition(command.arguments.begin(), command.arguments.end(),
                          [&](const Argument& each) { return !isHelp(each); });
    for (const auto* each : app.get_subcommands([](const CLI::App*) { return true; })) {
        command.commands.push_back(commandOf(*each));
    }
    return command;
}

std::string usageOf(const Command& command, std::string words) {
    const auto options = command.options();
    for (const auto& option : options) {
        if (option.isRequired) words += " " + option.names.back() + " " + translation(option.value.c_str());
    }
    words += std::string(" [") + translation("OPTION") + "]...";
    for (const auto& place : command.places()) {
        const auto name = translation(place.value.c_str()) + std::string(place.repeats ? "..." : "");
        words += place.isRequired ? " " + name : " [" + name + "]";
    }
    return command.commands.empty() ? words : words + " " + translation("COMMAND") + " ...";
}
