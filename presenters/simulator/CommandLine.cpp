#include "presenters/simulator/CommandLine.h"

#include "commandline/Examples.h"
#include "commandline/Translation.h"
#include "commandline/Values.h"
#include "presenters/model/ScriptValues.h"

#include <CLI/CLI.hpp>

namespace simulator {

std::shared_ptr<CLI::App> makeCommandLine(Options& options) {
    auto program =
        makeProgram("keynote-simulator", translated("Plays a presentation program on the session bus, from a script"));
    program->add_option("SCRIPT", options.script,
                        translated("A file with one command per line, or - for standard input; without it, a deck is "
                                   "shown once"));
    program->add_option("--bundle", options.bundle, translated("Bundle directory to present"))
        ->check(valueCheck(checkDirectory))
        ->type_name(translatable("DIR"))
        ->default_str(translated("the simulator's own"));
    program->add_flag("--no-window", options.hidesWindows, translated("Show no windows even if there is a display"));
    program->add_option("--deck", options.deck, translated("Name of the deck shown without a script"))
        ->type_name(translatable("NAME"))
        ->default_str(options.deck);
    program->add_option("--slides", options.slides, translated("Its slides"))
        ->check(rangeCheck(1, presenters::kMostSlides))
        ->type_name(translatable("N"))
        ->default_str("6");
    program->add_option("--seconds-per-slide", options.secondsPerSlide, translated("How long each is shown"))
        ->check(rangeCheck(0, 3600))
        ->type_name(translatable("S"))
        ->default_str("1");
    program->footer(
        examples({{"keynote-simulator --slides 8", translated("a deck of eight slides, once")},
                  {"keynote-simulator lecture.simulation", translated("what the file says")},
                  {"keynote-simulator - < lecture.simulation", {}}}) +
        translated("Exit status: 0 done; 1 the script failed; 2 wrong usage, also in the script; 3 no session bus."));
    return program;
}

}  // namespace simulator
