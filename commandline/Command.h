#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}  // namespace CLI

/// What a command line offers, as values: all that help, manual and completions are made of.

/// An option, or an argument that is told by its place.
struct Argument {
    enum class Values { none, text, file, directory, choice };

    std::vector<std::string> names;    ///< "-h", "--help"; none where the place tells
    std::string value;                 ///< what stands for the value in texts, such as "DIR"; empty for a switch
    std::string description;           ///< without a full stop
    std::string defaultValue;          ///< in words; empty where there is none
    std::vector<std::string> choices;  ///< the only values that there are; none where there are others
    Values values = Values::none;
    bool isRequired = false;
    bool repeats = false;

    [[nodiscard]] bool isOption() const { return !names.empty(); }
};

/// A program, or one of its commands.
struct Command {
    std::string name;
    std::string description;
    std::string footer;  ///< examples, indented, and sentences
    std::vector<Argument> arguments;
    std::vector<Command> commands;

    [[nodiscard]] std::vector<Argument> options() const;
    [[nodiscard]] std::vector<Argument> places() const;
};

/// Which values are meant goes by what stands for them: DIR and CAPTURE are directories, FILE, DECK and SCRIPT files,
/// and words with `|` between them the only ones that there are.
[[nodiscard]] Command commandOf(const CLI::App& app);

/// The command line in short, such as `record --to DIR [OPTION]...`, after the words that come first.
[[nodiscard]] std::string usageOf(const Command& command, std::string words);
