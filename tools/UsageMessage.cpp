#include "tools/UsageMessage.h"

#include "tools/PrintableText.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <numeric>
#include <string_view>
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

std::vector<const CLI::App*> commandsOf(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App*) { return true; });
}

/// The command that is most like the word; empty when none is like it.
std::string nearestCommand(const CLI::App& app, std::string_view word) {
    constexpr std::size_t kLongestCommand = 64;
    if (word.size() > kLongestCommand) return {};
    std::string nearest;
    std::size_t least = std::max<std::size_t>(2, word.size() / 3) + 1;
    for (const auto* command : commandsOf(app)) {
        const auto& name = command->get_name();
        const auto apart = name.starts_with(word) ? 0 : distance(name, word);
        if (apart >= least) continue;
        least = apart;
        nearest = name;
    }
    return nearest;
}

std::string sentenceFor(const CLI::App& app, const CLI::Error& error) {
    // The library asks for a command before it looks at what it does not know.
    if (commandsOf(app).empty() || !app.get_subcommands().empty()) return error.what();
    const auto rest = app.remaining();
    if (rest.empty()) return "A command is missing.";
    const auto word = printableText(rest.front());
    if (word.starts_with('-')) return fmt::format("There is no option {}.", word);
    const auto nearest = nearestCommand(app, rest.front());
    return nearest.empty() ? fmt::format("There is no command {}.", word)
                           : fmt::format("There is no command {}; did you mean {}?", word, nearest);
}

}  // namespace

std::string usageMessage(const CLI::App* app, const CLI::Error& error) {
    auto command = app->get_name();
    for (const auto* each : app->get_subcommands()) command += " " + each->get_name();
    return fmt::format("{}: {}\nRun {} --help for more information.\n", app->get_name(), sentenceFor(*app, error),
                       command);
}
