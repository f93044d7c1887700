#include "KeynoteCaptureService/CommandLine.h"

#include "commandline/Examples.h"
#include "commandline/Program.h"
#include "commandline/Translation.h"
#include "commandline/Values.h"

#include <CLI/CLI.hpp>

std::shared_ptr<CLI::App> makeCommandLine(ServiceOptions& options) {
    auto program = makeProgram("KeynoteCaptureService",
                               translated("Watches a presentation program for hosts that record lectures"));
    program
        ->add_option("--exit-when-idle", options.exitWhenIdle, translated("End after so many seconds without a host"))
        ->check(valueCheck(checkInterval))
        ->type_name(translatable("S"))
        ->default_str(translated("never"));
    program->footer(examples({{"systemctl --user status keynote-capture", {}}}) +
                    translated("Started by the session bus, when a host calls.") + "\n" +
                    translated("Exit status: 0 done; 1 no session bus, or another one serves it; 2 wrong usage."));
    return program;
}
