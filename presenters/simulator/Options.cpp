#include "presenters/simulator/Options.h"

#include "presenters/model/ScriptValues.h"
#include "runtime/Installation.h"

#include <fmt/format.h>
#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

namespace simulator {

std::optional<Options> parseOptions(int argc, char** argv, int& status) {
    Options options;
    CLI::App app("Plays a presentation program on the session bus, from a script.", "keynote-simulator");
    bool noWindow = false;
    app.add_option("SCRIPT", options.script,
                   "file with one command per line, or - for standard input; without it, a deck is shown once");
    app.add_option("--bundle", options.bundle, "bundle directory to present (default: the simulator's own)")
        ->check(CLI::ExistingDirectory);
    app.add_flag("--no-window", noWindow, "show no windows even if there is a display");
    app.add_option("--deck", options.deck, "name of the deck shown without a script")->capture_default_str();
    app.add_option("--slides", options.slides, "its slides")
        ->check(CLI::Range(std::int64_t{1}, presenters::kMostSlides))
        ->capture_default_str();
    app.add_option("--seconds-per-slide", options.secondsPerSlide, "how long each is shown")
        ->check(CLI::Range(0.0, 3600.0))
        ->capture_default_str();
    app.failure_message([](const CLI::App* program, const CLI::Error& error) {
        return program->get_name() + ": " + CLI::FailureMessage::simple(program, error);
    });
    app.set_version_flag("--version", std::string("keynote-simulator ") + KCS_VERSION);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        static constexpr int kWrongUsage = 2;
        status = app.exit(error) == 0 ? 0 : kWrongUsage;
        return std::nullopt;
    }
    options.showsWindows = !noWindow;
    if (options.bundle.empty()) options.bundle = runtime::installed("KeynoteSimulator.app");
    return options;
}

std::string builtInScript(const Options& options) {
    std::string script = fmt::format("launch\nopen \"{}\" slides {}\nwait 1\nstart\n", options.deck, options.slides);
    for (std::int64_t slide = 1; slide <= options.slides; ++slide) {
        script += fmt::format("slide {}\nwait {}\n", slide, options.secondsPerSlide);
    }
    return script + "stop\nwait-for export 30\nquit\n";
}

}  // namespace simulator
