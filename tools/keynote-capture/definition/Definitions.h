#pragma once

#include "commandline/Examples.h"
#include "commandline/Translation.h"
#include "tools/keynote-capture/definition/Request.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace keynote_capture {

/// Each adds a command to the program and has it set the request, once all of the line has been found to be right.
void defineRecord(CLI::App& program, Request& request);
void defineExport(CLI::App& program, Request& request);
void defineRecover(CLI::App& program, Request& request);
void defineExtract(CLI::App& program, Request& request);
void defineStatus(CLI::App& program, Request& request);
void defineSetup(CLI::App& program, Request& request);
void defineKeynotes(CLI::App& program, Request& request);
void defineWindows(CLI::App& program, Request& request);
void defineStopPresenting(CLI::App& program, Request& request);
void defineWaitForSaving(CLI::App& program, Request& request);

/// A command, and the options that reading the line fills in.
template <typename Options>
struct Definition {
    CLI::App& command;
    Options& options;
};

template <typename Options>
Definition<Options> define(CLI::App& program, Request& request, const char* name, const std::string& description) {
    auto& command = *program.add_subcommand(name, description);
    const auto options = std::make_shared<Options>();
    command.callback([options, &request] { request = *options; });
    return {command, *options};
}

inline void addJSON(CLI::App& command, bool& json) {
    command.add_flag("--json", json, translated("JSON Lines: one object per event on standard output"));
}

}  // namespace keynote_capture
