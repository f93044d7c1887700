#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace simulator {

/// What the command line asks for.
struct Options {
    std::string script;  ///< a path, "-" for standard input, empty for the built-in lecture
    std::filesystem::path bundle;
    bool showsWindows = true;
    std::string deck = "Lecture";
    std::int64_t slides = 6;
    double secondsPerSlide = 1;
};

/// Reads the command line. Answers nothing, with the exit status set, when the process has nothing more to do: help
/// was asked for, or the usage is wrong.
[[nodiscard]] std::optional<Options> parseOptions(int argc, char** argv, int& status);
/// The script for people who give none: it shows every slide of a deck and waits for the export.
[[nodiscard]] std::string builtInScript(const Options& options);

}  // namespace simulator
