#include "tools/keynote-capture/definition/CommandLine.h"

#include "commandline/Translation.h"
#include "tools/keynote-capture/definition/Definitions.h"

namespace keynote_capture {

std::shared_ptr<CLI::App> makeCommandLine(Request& request) {
    auto program =
        makeProgram("keynote-capture", translated("Watches a presentation program through the capture service"));
    program->require_subcommand(1);
    for (const auto define : {defineRecord, defineExport, defineRecover, defineExtract, defineStatus, defineSetup,
                              defineKeynotes, defineWindows, defineStopPresenting, defineWaitForSaving}) {
        define(*program, request);
    }
    // After the commands, which would have it too.
    program->footer(
        examples({{"keynote-capture status", translated("what is needed, and what is missing")},
                  {"keynote-capture record --to ~/lectures/12", translated("slide shows, until Ctrl-C")},
                  {"keynote-capture extract optics.odp", translated("images and text of a deck")}}) +
        translated("Exit status: 0 done; 1 the operation reported an error; 2 wrong usage; 3 no capture service.") +
        "\n" + translated("Each command has a --help of its own; all of it is in {}.", "man keynote-capture"));
    return program;
}

}  // namespace keynote_capture
