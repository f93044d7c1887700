#include "presenters/impress/CommandLine.h"

#include "bus/Names.h"
#include "commandline/Examples.h"
#include "commandline/Translation.h"
#include "commandline/Values.h"

#include <CLI/CLI.hpp>

namespace impress {
namespace {

constexpr double kSecondsADay = 86400;

std::string checkPipe(const std::string& name) {
    const bool isUsable = !name.empty() && name.find_first_of("/,;") == std::string::npos;
    return isUsable ? std::string() : translated("a pipe's name has no slash, comma or semicolon");
}

}  // namespace

std::shared_ptr<CLI::App> makeCommandLine(Options& options) {
    auto program = makeProgram(
        "keynote-impress", translated("Makes LibreOffice Impress answer as a presentation program on the session bus"));
    options.pipe = bus::kBridgePipe;
    program->add_option("--pipe", options.pipe, translated("Where an office listens"))
        ->check(valueCheck(checkPipe))
        ->type_name(translatable("NAME"))
        ->default_str(options.pipe);
    auto* const deck = program->add_option("--present", options.deck, translated("Open this deck and show it"))
                           ->check(valueCheck(checkFile))
                           ->type_name(translatable("DECK"));
    program->add_option("--advance", options.advance, translated("Seconds each slide of --present stays"))
        ->check(rangeCheck(0.1, kSecondsADay))
        ->needs(deck)
        ->type_name(translatable("S"))
        ->default_str("3");
    program
        ->add_option("--exit-when-idle", options.exitWhenIdle,
                     translated("Start an office when none listens, and end both after so many seconds without a "
                                "caller, work or a window"))
        ->check(rangeCheck(1, kSecondsADay))
        ->type_name(translatable("S"))
        ->default_str(translated("never"));
    program->footer(examples({{"keynote-impress", translated("waits for offices of yours")},
                              {"keynote-impress --present optics.odp --advance 5", translated("shows a deck")}}) +
                    translated("An office listens after keynote-capture setup, or when started as "
                               "soffice --accept=\"pipe,name=NAME;urp;\".") +
                    "\n" + translated("Exit status: 0 done; 1 the office failed; 2 wrong usage; 3 no session bus."));
    return program;
}

}  // namespace impress
