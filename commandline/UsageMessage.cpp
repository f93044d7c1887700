#include "commandline/UsageMessage.h"

#include "commandline/Command.h"
#include "commandline/PrintableText.h"
#include "commandline/Translation.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <numeric>
#include <string_view>
#include <utility>
#include <vector>

namespace {

/// How many characters must be put in, left out or changed to make one word of the other.
std::size_t distance(std::string_view one, std::string_view other) {
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), 0U);
    for (std::size_t i = 0; i < one.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < other.size(); ++j) {
            const auto changed = diagonal + (one[i] == other[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

/// The name that is most like the word; empty when none is like it.
std::string nearest(const std::vector<std::string>& names, std::string_view word) {
    constexpr std::size_t kLongestName = 64;
    if (word.size() > kLongestName) return {};
    std::string found;
    std::size_t least = std::max<std::size_t>(2, word.size() / 3) + 1;
    for (const auto& name : names) {
        const auto apart = name.starts_with(word) ? 0 : distance(name, word);
        if (apart >= least) continue;
        least = apart;
        found = name;
    }
    return found;
}

std::string sentenceForOption(const Command& command, std::string_view word) {
    std::vector<std::string> names;
    for (const auto& option : command.options()) names.push_back(option.names.back());
    word = word.substr(0, word.find('='));
    const auto meant = nearest(names, word);
    return meant.empty() ? translated("There is no option {}.", printableText(word))
                         : translated("There is no option {}; did you mean {}?", printableText(word), meant);
}

std::string sentenceForCommand(const Command& command, std::string_view word) {
    std::vector<std::string> names;
    for (const auto& each : command.commands) names.push_back(each.name);
    const auto meant = nearest(names, word);
    return meant.empty() ? translated("There is no command {}.", printableText(word))
                         : translated("There is no command {}; did you mean {}?", printableText(word), meant);
}

std::string sentenceForUnknown(const Command& command, std::string_view word) {
    if (word.starts_with('-')) return sentenceForOption(command, word);
    if (!command.commands.empty()) return sentenceForCommand(command, word);
    return translated("{} is one argument too many.", printableText(word));
}

std::string sentenceForMissing(const CLI::App& app) {
    for (const auto* option : app.get_options()) {
        if (option->get_required() && option->count() == 0) return translated("{} is missing.", option->get_name());
    }
    return translated("A command is missing.");
}

/// What is wrong with a value, by the library's sentence that names its option: it is missing, or cannot be read.
std::string sentenceForValue(const CLI::App& app, const std::string& sentence) {
    for (const auto* option : app.get_options()) {
        const auto name = option->get_name();
        const bool isMissing = sentence.starts_with(name + ":");
        if (!isMissing && sentence.find(": " + name + " =") == std::string::npos) continue;
        if (option->get_type_size() == 0) return translated("{} takes no value.", name);
        return isMissing ? translated("{} needs a value.", name) : translated("{}: must be a whole number", name);
    }
    return sentence;
}

/// Two options that were given and do not go together, or of which one was given alone.
std::string sentenceForPair(const CLI::App& app, bool isAlone) {
    for (const auto* option : app.get_options([](const CLI::Option* each) { return each->count() > 0; })) {
        for (const auto* other : isAlone ? option->get_needs() : option->get_excludes()) {
            if ((other->count() == 0) != isAlone) continue;
            return isAlone ? translated("{} goes with {} only.", option->get_name(), other->get_name())
                           : translated("{} and {} do not go together.", option->get_name(), other->get_name());
        }
    }
    return {};
}

std::string sentenceFor(const CLI::App& app, const CLI::Error& error) {
    switch (static_cast<CLI::ExitCodes>(error.get_exit_code())) {
        case CLI::ExitCodes::RequiredError:
            return sentenceForMissing(app);
        case CLI::ExitCodes::ArgumentMismatch:
        case CLI::ExitCodes::ConversionError:
            return sentenceForValue(app, error.what());
        case CLI::ExitCodes::RequiresError:
            return sentenceForPair(app, true);
        case CLI::ExitCodes::ExcludesError:
            return sentenceForPair(app, false);
        default:
            return error.what();
    }
}

}  // namespace

std::string usageMessage(const CLI::App* app, const CLI::Error& error) {
    auto words = app->get_name();
    const auto* command = app;
    for (; !command->get_subcommands().empty(); words += " " + command->get_name()) {
        command = command->get_subcommands().front();
    }
    // What is not known comes first: the library looks for what is missing before, and a typing error looks like that.
    const auto unknown = app->remaining(true);
    const auto sentence =
        unknown.empty() ? sentenceFor(*command, error) : sentenceForUnknown(commandOf(*command), unknown.front());
    return fmt::format("{}: {}\n{}\n", app->get_name(), printableText(sentence),
                       translated("Run {} --help for more information.", words));
}
