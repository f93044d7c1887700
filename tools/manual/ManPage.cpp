#include "tools/manual/Manual.h"

#include <fmt/format.h>

#include <sstream>

namespace manual {
namespace {

/// As a terminal shows it, so that it can be copied from there.
std::string literal(const std::string& text) {
    std::string line;
    for (const char character : text) {
        switch (character) {
            case '\\':
                line += "\\e";
                break;
            case '-':
                line += "\\-";
                break;
            case '\'':
                line += "\\(aq";
                break;
            case '`':
                line += "\\(ga";
                break;
            case '~':
                line += "\\(ti";
                break;
            case '^':
                line += "\\(ha";
                break;
            default:
                line += character;
        }
    }
    return line;
}

/// Prose, each sentence on a line of its own.
std::string prose(std::string text) {
    text = escaped(text, "\\", "\\");
    for (const std::string end : {". ", "? "}) {
        for (auto at = text.find(end); at != std::string::npos; at = text.find(end, at + 1)) text[at + 1] = '\n';
    }
    const bool isRequest = text.starts_with('.') || text.starts_with('\'');
    return (isRequest ? "\\&" : "") + text;
}

/// The source of a name such as `-h` or `--help`, behind a macro.
std::string flag(const std::string& name) {
    return "Fl " + name.substr(1);
}

std::string item(const Argument& argument) {
    std::string line;
    for (const auto& name : argument.names) line += (line.empty() ? "" : " , ") + flag(name);
    if (!argument.value.empty()) line += (line.empty() ? "Ar " : " Ar ") + argument.value;
    return line + (argument.repeats && !argument.isOption() ? " ..." : "");
}

std::string description(const Argument& argument) {
    auto text = argument.description;
    if (argument.isRequired && argument.isOption()) text += " (required)";
    if (!argument.defaultValue.empty()) text += fmt::format(" (default: {})", argument.defaultValue);
    return prose(text + ".");
}

std::string list(const std::vector<Argument>& arguments) {
    std::string text;
    for (const auto& argument : arguments) text += fmt::format(".It {}\n{}\n", item(argument), description(argument));
    return text.empty() ? text : ".Bl -tag -width Ds\n" + text + ".El\n";
}

/// A macro a line, because brackets end with their line.
std::string usage(const Command& command) {
    std::string text;
    for (const auto& option : command.options()) {
        if (option.isRequired) text += fmt::format(".{} Ar {}\n", flag(option.names.back()), option.value);
    }
    text += ".Op Ar OPTION ...\n";
    for (const auto& place : command.places()) {
        text += (place.isRequired ? "." : ".Op ") + item(place) + "\n";
    }
    return text;
}

std::string synopsis(const Command& program) {
    std::string text;
    for (const auto& command : program.commands) text += fmt::format(".Nm\n.Cm {}\n{}", command.name, usage(command));
    return text.empty() ? ".Nm\n" + usage(program) : text;
}

/// Indented lines, as they are, and what is said around them.
std::string footer(const std::string& text) {
    std::string source;
    bool isLiteral = false;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("Example")) continue;
        if (line.starts_with(' ') != isLiteral) {
            source += isLiteral ? ".Ed\n" : ".Bd -literal -offset indent\n";
            isLiteral = !isLiteral;
        }
        if (!isLiteral && !line.starts_with("Exit status:")) source += ".Pp\n" + prose(line) + '\n';
        if (isLiteral) source += literal(line.substr(2)) + '\n';
    }
    return isLiteral ? source + ".Ed\n" : source;
}

std::string commands(const Command& program) {
    std::string text;
    for (const auto& command : program.commands) {
        text += fmt::format(".Ss {}\n{}\n{}{}", command.name, prose(command.description + "."), list(command.arguments),
                            footer(command.footer));
    }
    return text;
}

}  // namespace

std::string escaped(const std::string& text, const std::string& special, const std::string& by) {
    std::string result;
    for (const char character : text) {
        if (special.find(character) != std::string::npos) result += by;
        result += character;
    }
    return result;
}

std::string manPage(const Command& program, const std::string& frame) {
    std::string page;
    std::istringstream lines(frame);
    for (std::string line; std::getline(lines, line);) {
        if (line == "@SYNOPSIS@") {
            page += synopsis(program);
        } else if (line == "@COMMANDS@") {
            page += commands(program);
        } else if (line == "@OPTIONS@") {
            page += list(program.arguments);
        } else if (line == "@EXAMPLES@") {
            page += footer(program.footer);
        } else {
            page += line + '\n';
        }
    }
    return page;
}

}  // namespace manual
