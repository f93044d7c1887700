/// The command line host of the capture service.

#include "base/UTF8.h"
#include "tools/PrintableText.h"
#include "tools/StandardStreams.h"
#include "tools/keynote-capture/Commands.h"
#include "tools/keynote-capture/SlideList.h"

#include <fmt/chrono.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <cmath>

namespace {

constexpr const char* kFooter =
    "Exit status: 0 done; 1 the operation reported an error; 2 wrong usage; 3 no capture service.\n"
    "record ends with 1 also when a show was given up before its slide images came.";

std::string defaultRecordingID() {
    const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    return fmt::format("keynote-capture-{:%Y%m%d-%H%M%S}-{}", fmt::gmtime(now.time_since_epoch().count()), getpid());
}

std::string checkRecordingID(const std::string& text) {
    const bool isFileName = !text.empty() && text != "." && text != ".." && text.find('/') == std::string::npos;
    if (isFileName && utf8::isValid(text)) return {};
    return "must be usable as a directory's name";
}

std::string checkInterval(const std::string& text) {
    double seconds = 0;
    if (CLI::detail::lexical_cast(text, seconds) && std::isfinite(seconds) && seconds > 0) return {};
    return "must be a number of seconds above 0";
}

std::string checkSlides(const std::string& text) {
    return slidesFrom(text) ? std::string() : "must be slide numbers like 1-9,12, at most 10000";
}

std::string checkPath(const std::string& text) {
    return text.empty() ? "must not be empty" : std::string();
}

}  // namespace

int main(int argc, char** argv) try {
    openStandardStreams();
    CLI::App app("Watches a presentation program through the capture service.", "keynote-capture");
    app.set_version_flag("--version", std::string("keynote-capture ") + KCS_VERSION);
    app.require_subcommand(1);
    app.footer(kFooter);

    RecordOptions options;
    options.recordingID = defaultRecordingID();
    std::string directory;
    double interval = 0;
    auto* recordCommand = app.add_subcommand("record", "Record slide shows until interrupted, events as they happen");
    recordCommand->add_option("--to", directory, "Capture directory; made when missing")
        ->required()
        ->check(CLI::Validator(checkPath, "DIR"))
        ->option_text("DIR (required)");
    recordCommand->add_option("--recording-id", options.recordingID, "Name of the recording's working directory")
        ->check(CLI::Validator(checkRecordingID, "ID"))
        ->option_text("ID (default: from the time)");
    auto* intervalOption =
        recordCommand->add_option("--polling-interval", interval, "Seconds between two looks at the program")
            ->check(CLI::Validator(checkInterval, "S"))
            ->option_text("S (default: 0.25)");
    recordCommand->add_flag("--json", options.json, "JSON Lines: one object per event on standard output");
    auto* stopCommand = app.add_subcommand("stop-presenting", "End the running slide show");
    bool scriptable = false;
    auto* windowsCommand = app.add_subcommand("windows", "List the presentation program's windows");
    windowsCommand->add_flag("--scriptable", scriptable, "As the program tells, not the window server");

    ExtractOptions extraction;
    std::string slides;
    auto* extractCommand = app.add_subcommand("extract", "Write a deck's slide images and text beside it");
    extractCommand->add_option("DECK", extraction.deck, "The presentation")
        ->required()
        ->check(CLI::Validator(checkPath, "DECK"))
        ->option_text(" ");
    extractCommand->add_option("--slides", slides, "These slides only, like 1-9,12")
        ->check(CLI::Validator(checkSlides, "LIST"))
        ->option_text("LIST");
    extractCommand->add_flag("--replace", extraction.replace, "Remove images of the same names first");
    extractCommand->add_flag("--json", extraction.json, "JSON Lines: one object per event on standard output");
    bool savingJSON = false;
    auto* savingCommand =
        app.add_subcommand("wait-for-saving", "Wait until the presentation program has finished saving");
    savingCommand->add_flag("--json", savingJSON, "JSON Lines: one object per event on standard output");

    KeynotesOptions keynotes;
    auto* keynotesCommand = app.add_subcommand(
        "keynotes", "List the presentation programs that run and those installed on this computer's local disks");
    keynotesCommand->add_option("--root", keynotes.roots, "Search below this directory only; may be repeated")
        ->allow_extra_args(false)
        ->check(CLI::ExistingDirectory)
        ->option_text("DIR");
    keynotesCommand->add_flag("--json", keynotes.json, "JSON Lines: one object per finding on standard output");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kDone : kWrongUsage;
    }
    if (stopCommand->parsed()) return stopPresenting();
    if (windowsCommand->parsed()) return listWindows(scriptable);
    if (keynotesCommand->parsed()) return listKeynotes(keynotes);
    if (savingCommand->parsed()) return waitForSaving(savingJSON);
    if (extractCommand->parsed()) {
        extraction.deck = std::filesystem::absolute(extraction.deck).lexically_normal();
        if (!slides.empty()) extraction.slides = slidesFrom(slides);
        return extract(extraction);
    }
    options.directory = std::filesystem::absolute(directory).lexically_normal();
    if (intervalOption->count() > 0) options.pollingInterval = interval;
    return record(options);
} catch (const std::exception& error) {
    complain(error.what());
    return kOperationFailed;
}
