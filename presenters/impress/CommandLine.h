#pragma once

#include "commandline/Program.h"

#include <string>

namespace impress {

/// What the command line asks for.
struct Options {
    std::string pipe;      ///< on which an office listens
    std::string deck;      ///< to be shown at once; empty for none
    double advance = 3;    ///< seconds for each slide of that deck
    int exitWhenIdle = 0;  ///< seconds; 0 for never
};

/// The bridge's command line. Reading it sets the options, which must live as long.
[[nodiscard]] std::shared_ptr<CLI::App> makeCommandLine(Options& options);

}  // namespace impress
