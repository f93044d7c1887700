/// The commands about this computer: what a recording needs of it.

#include "tools/keynote-capture/definition/Definitions.h"
#include "tools/keynote-capture/definition/Values.h"

namespace keynote_capture {

void defineKeynotes(CLI::App& program, Request& request) {
    auto [command, options] = define<KeynotesOptions>(
        program, request, "keynotes",
        translated("List the presentation programs that run and those installed on this computer's local disks"));
    command.add_option("--root", options.roots, translated("Search below this directory only; may be repeated"))
        ->allow_extra_args(false)
        ->check(valueCheck(checkDirectory))
        ->type_name(translatable("DIR"));
    command.add_flag("--json", options.json, translated("JSON Lines: one object per finding on standard output"));
    command.footer(examples({{"keynote-capture keynotes --root /opt --root /usr", {}}}));
}

void defineSetup(CLI::App& program, Request& request) {
    auto [command, options] = define<SetupOptions>(
        program, request, "setup", translated("Have your LibreOffice found by recordings from its next start on"));
    command.add_flag("--undo", options.undo, translated("Take back what an earlier setup has changed"));
    addDirectory(command, "--profile", options.profile,
                 translated("LibreOffice's profile, if it is not the usual one"));
    addPipe(command, options.pipe);
    command.footer(examples({{"keynote-capture setup", translated("while LibreOffice does not run")},
                             {"keynote-capture setup --undo", {}}}) +
                   translated("Not needed where keynote-capture is installed for the whole computer."));
}

void defineStatus(CLI::App& program, Request& request) {
    auto [command, options] = define<StatusOptions>(
        program, request, "status", translated("Tell what a recording needs, and how to get what is missing"));
    options.directory = absoluteDirectory(".");
    addDirectory(command, "--to", options.directory, translated("Where captures are to go"))
        ->default_str(translated("here"));
    addPipe(command, options.pipe);
    command.add_flag("--json", options.json, translated("One JSON object on standard output"));
    command.footer(examples({{"keynote-capture status", {}}, {"keynote-capture status --json | jq .ready", {}}}));
}

}  // namespace keynote_capture
