#include "commandline/HelpText.h"

#include "commandline/Command.h"
#include "commandline/Translation.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <sstream>

namespace {

constexpr std::size_t kColumns = 80;
constexpr std::size_t kDescriptionColumn = 26;

/// In characters, of which each is taken to be one column wide.
std::size_t widthOf(std::string_view text) {
    return static_cast<std::size_t>(
        std::ranges::count_if(text, [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; }));
}

/// Puts words into lines. The first begins at the column where it stands already.
std::string wrappedLine(const std::string& text, std::size_t column, std::size_t indent) {
    std::string lines;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        const auto width = widthOf(word);
        const bool isFirst = lines.empty() || lines.back() == ' ';
        if (!isFirst && column + 1 + width > kColumns) {
            lines += '\n' + std::string(indent, ' ');
            column = indent;
        } else if (!isFirst) {
            lines += ' ';
            ++column;
        }
        lines += word;
        column += width;
    }
    return lines;
}

std::string descriptionOf(const Argument& argument) {
    auto text = argument.description;
    if (argument.isRequired && argument.isOption()) text += translation(" (required)");
    if (!argument.defaultValue.empty()) text += translated(" (default: {})", argument.defaultValue);
    return text;
}

/// A name in the left column and what it is in the right one; below it where the name is long.
std::string entry(const std::string& name, const std::string& description) {
    auto line = "  " + name;
    const auto width = widthOf(line);
    line += width + 2 > kDescriptionColumn ? '\n' + std::string(kDescriptionColumn, ' ')
                                           : std::string(kDescriptionColumn - width, ' ');
    return line + wrappedLine(description, kDescriptionColumn, kDescriptionColumn) + '\n';
}

std::string nameOf(const Argument& argument) {
    const std::string value = translation(argument.value.c_str());
    if (!argument.isOption()) return value + (argument.repeats ? "..." : "");
    const auto names = fmt::format("{}", fmt::join(argument.names, ", "));
    return value.empty() ? names : names + " " + value;
}

std::string section(const char* heading, const std::vector<Argument>& arguments) {
    std::string text = arguments.empty() ? "" : fmt::format("\n{}\n", heading);
    for (const auto& argument : arguments) text += entry(nameOf(argument), descriptionOf(argument));
    return text;
}

std::string section(const char* heading, const std::vector<Command>& commands) {
    std::string text = commands.empty() ? "" : fmt::format("\n{}\n", heading);
    for (const auto& command : commands) text += entry(command.name, command.description);
    return text;
}

class HelpText final : public CLI::FormatterBase {
    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode /*mode*/) const override {
        const auto command = commandOf(*app);
        auto text = wrapped(command.description + ".") + wrapped(usageOf(command, translation("Usage: ") + name), 7);
        text += section(translation("Commands:"), command.commands);
        text += section(translation("Arguments:"), command.places());
        text += section(translation("Options:"), command.options());
        return command.footer.empty() ? text : text + '\n' + wrapped(command.footer);
    }
};

}  // namespace

std::string wrapped(const std::string& text, std::size_t indent) {
    std::string all;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        all += (line.starts_with(' ') ? line : wrappedLine(line, 0, indent)) + '\n';
    }
    return all;
}

std::shared_ptr<CLI::FormatterBase> makeHelpText() {
    return std::make_shared<HelpText>();
}
