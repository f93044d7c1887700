#include "commandline/Program.h"

#include "commandline/HelpText.h"
#include "commandline/Translation.h"
#include "commandline/UsageMessage.h"

#include <CLI/CLI.hpp>

#include <cstdio>

std::shared_ptr<CLI::App> makeProgram(const std::string& name, const std::string& description) {
    auto program = std::make_shared<CLI::App>(description, name);
    program->formatter(makeHelpText());
    program->failure_message(usageMessage);
    program->set_help_flag("-h,--help", translated("Show this help"));
    program->set_version_flag("--version", name + " " KCS_VERSION, translated("Show the version"));
    return program;
}

std::optional<ExitStatus> readCommandLine(CLI::App& program, int argc, const char* const* argv) {
    try {
        program.parse(argc, argv);
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        return program.exit(error) == 0 ? kDone : kWrongUsage;
    }
}

void complainAs(const char* program, const std::string& sentence) {
    const auto line = program + (": " + sentence) + '\n';
    // One write, so that a line of another thread does not fall into it.
    std::fwrite(line.data(), 1, line.size(), stderr);
}
