#pragma once

#include "commandline/Program.h"

#include <cstdint>
#include <filesystem>
#include <string>

namespace simulator {

/// What the command line asks for.
struct Options {
    std::string script;            ///< a path, "-" for standard input, empty for the built-in lecture
    std::filesystem::path bundle;  ///< empty for the simulator's own
    bool hidesWindows = false;
    std::string deck = "Lecture";
    std::int64_t slides = 6;
    double secondsPerSlide = 1;
};

/// The simulator's command line. Reading it sets the options, which must live as long.
[[nodiscard]] std::shared_ptr<CLI::App> makeCommandLine(Options& options);

}  // namespace simulator
