/// The command line host of the capture service.

#include "base/UTF8.h"
#include "tools/PrintableText.h"
#include "tools/StandardStreams.h"
#include "tools/UsageMessage.h"
#include "tools/keynote-capture/Commands.h"
#include "tools/keynote-capture/SlideList.h"
#include "tools/keynote-capture/hook/Hook.h"

#include <fmt/chrono.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <functional>
#include <map>
#include <memory>

namespace keynote_capture {
namespace {

constexpr const char* kFooter =
    "Examples:\n"
    "  keynote-capture status                       what is needed, and what is missing\n"
    "  keynote-capture record --to ~/lectures/12    slide shows, until Ctrl-C\n"
    "  keynote-capture extract optics.odp           images and text of a deck, without a show\n"
    "Exit status: 0 done; 1 the operation reported an error; 2 wrong usage; 3 no capture service.";

/// Readable in a listing, and another one for each of several recorders that are started in the same second.
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
    // The library reads "nan" and "inf" as numbers.
    if (CLI::detail::lexical_cast(text, seconds) && std::isfinite(seconds) && seconds > 0) return {};
    return "must be a number of seconds above 0";
}

std::string checkSlides(const std::string& text) {
    return slidesFrom(text) ? std::string() : "must be slide numbers like 1-9,12, at most 10000";
}

std::string checkCommand(const std::string& text) {
    return wordsOf(text) ? std::string() : "must be a program and its arguments, quotes closed";
}

std::string checkPath(const std::string& text) {
    return text.empty() ? "must not be empty" : std::string();
}

/// What is to be run: chosen while the line is read, run once all of it has been found to be right.
using Run = std::function<ExitStatus()>;

void addJSON(CLI::App& command, bool& json) {
    command.add_flag("--json", json, "JSON Lines: one object per event on standard output");
}

/// The service has another working directory, and what it is told over the bus must hold there.
std::filesystem::path absolutePath(const std::filesystem::path& path) {
    return std::filesystem::absolute(path).lexically_normal();
}

void addRecord(CLI::App& app, Run& chosen) {
    auto& command = *app.add_subcommand("record", "Record slide shows until interrupted, events as they happen");
    const auto options = std::make_shared<RecordOptions>();
    options->recordingID = defaultRecordingID();
    command.add_option("--to", options->directory, "Capture directory; made when missing")
        ->required()
        ->check(CLI::Validator(checkPath, "DIR"))
        ->option_text("DIR (required)");
    command.add_option("--recording-id", options->recordingID, "Name of the recording's working directory")
        ->check(CLI::Validator(checkRecordingID, "ID"))
        ->option_text("ID (default: from the time)");
    command
        .add_option_function<double>(
            "--polling-interval", [options](double seconds) { options->pollingInterval = seconds; },
            "Seconds between two looks at the program")
        ->check(CLI::Validator(checkInterval, "S"))
        ->option_text("S (default: 0.25)");
    command
        .add_option_function<std::string>(
            "--exec", [options](const std::string& words) { options->hook = wordsOf(words).value(); },
            "Run this per event, with its JSON on standard input; no shell")
        ->check(CLI::Validator(checkCommand, "CMD"))
        ->option_text("CMD");
    addJSON(command, options->json);
    command.footer(
        "Examples:\n"
        "  keynote-capture record --to ~/lectures/12\n"
        "  keynote-capture record --to ~/lectures/12 --json | jq -r .event\n"
        "  keynote-capture record --to ~/lectures/12 --exec 'light --red'\n"
        "Ctrl-C ends it; during a show, or while its images are awaited, with the show's images. Exit status 1 also "
        "when a "
        "show was given up before.");
    command.callback([options, &chosen] {
        options->directory = absolutePath(options->directory);
        chosen = [options] { return record(*options); };
    });
}

std::string checkOffset(const std::string& text) {
    constexpr double kLongest = 1e9;
    double seconds = 0;
    if (CLI::detail::lexical_cast(text, seconds) && std::abs(seconds) <= kLongest) return {};
    return "must be a number of seconds";
}

/// A directory has one name here, with and without a slash at its end.
std::filesystem::path absoluteDirectory(const std::filesystem::path& path) {
    const auto absolute = absolutePath(path);
    return absolute.has_filename() ? absolute : absolute.parent_path();
}

void addExport(CLI::App& app, Run& chosen) {
    static const std::map<std::string, ExportFormat> kFormats{
        {"vtt", ExportFormat::vtt},           {"ffmetadata", ExportFormat::ffmetadata},
        {"matroska", ExportFormat::matroska}, {"ogm", ExportFormat::ogm},
        {"json", ExportFormat::json},         {"csv", ExportFormat::csv}};
    auto& command = *app.add_subcommand("export", "Write a lecture's chapters, or all that is known of its slides");
    const auto options = std::make_shared<ExportOptions>();
    command.add_option("CAPTURE", options->directory, "What `record` has written: all of it, or one presentation's")
        ->required()
        ->check(CLI::ExistingDirectory)
        ->option_text(" ");
    command.add_option("--format", options->format, "vtt, ffmetadata, matroska, ogm: chapters; json, csv: all visits")
        ->transform(CLI::CheckedTransformer(kFormats))
        ->option_text("FORMAT (default: vtt)");
    auto* const offset =
        command.add_option("--offset", options->offset, "Seconds from the video's beginning to the show's")
            ->check(CLI::Validator(checkOffset, "S"))
            ->option_text("S (default: 0)");
    command
        .add_option_function<std::string>(
            "--video", [options](const std::string& file) { options->video = file; },
            "A video that tells when its recording began")
        ->check(CLI::ExistingFile)
        ->excludes(offset)
        ->option_text("FILE");
    command.footer(
        "Examples:\n"
        "  keynote-capture export ~/lectures/12 --video lecture.mkv > chapters.vtt\n"
        "  keynote-capture export ~/lectures/12 --format ffmetadata --offset 3.5");
    command.callback([options, &chosen] {
        options->directory = absoluteDirectory(options->directory);
        chosen = [options] { return exportLecture(*options); };
    });
}

void addRecover(CLI::App& app, Run& chosen) {
    auto& command = *app.add_subcommand("recover", "Make what a recording lacks: images, text, chapters and page");
    const auto directory = std::make_shared<std::filesystem::path>();
    command.add_option("CAPTURE", *directory, "What `record` has written: all of it, or one presentation's")
        ->required()
        ->check(CLI::ExistingDirectory)
        ->option_text(" ");
    command.callback(
        [directory, &chosen] { chosen = [directory = absoluteDirectory(*directory)] { return recover(directory); }; });
}

void addStopPresenting(CLI::App& app, Run& chosen) {
    auto& command = *app.add_subcommand("stop-presenting", "End the running slide show");
    const auto json = std::make_shared<bool>(false);
    addJSON(command, *json);
    command.callback([json, &chosen] { chosen = [json] { return stopPresenting(*json); }; });
}

void addWindows(CLI::App& app, Run& chosen) {
    auto& command = *app.add_subcommand("windows", "List the presentation program's windows");
    const auto scriptable = std::make_shared<bool>(false);
    command.add_flag("--scriptable", *scriptable, "As the program tells, not the window server");
    const auto json = std::make_shared<bool>(false);
    addJSON(command, *json);
    command.callback([=, &chosen] { chosen = [=] { return listWindows(*scriptable, *json); }; });
}

void addExtract(CLI::App& app, Run& chosen) {
    auto& command = *app.add_subcommand("extract", "Write a deck's slide images and text beside it");
    const auto options = std::make_shared<ExtractOptions>();
    command.add_option("DECK", options->deck, "The presentation")
        ->required()
        ->check(CLI::Validator(checkPath, "DECK"))
        ->option_text(" ");
    command
        .add_option_function<std::string>(
            "--slides", [options](const std::string& list) { options->slides = slidesFrom(list); },
            "These slides only, like 1-9,12")
        ->check(CLI::Validator(checkSlides, "LIST"))
        ->option_text("LIST");
    command.add_flag("--replace", options->replace, "Remove images of the same names first");
    addJSON(command, options->json);
    command.footer(
        "Examples:\n"
        "  keynote-capture extract optics.odp\n"
        "  keynote-capture extract optics.odp --slides 1-9,12 --replace");
    command.callback([options, &chosen] {
        options->deck = absolutePath(options->deck);
        chosen = [options] { return extract(*options); };
    });
}

void addWaitForSaving(CLI::App& app, Run& chosen) {
    auto& command = *app.add_subcommand("wait-for-saving", "Wait until the presentation program has finished saving");
    const auto json = std::make_shared<bool>(false);
    addJSON(command, *json);
    command.callback([json, &chosen] { chosen = [json] { return waitForSaving(*json); }; });
}

void addKeynotes(CLI::App& app, Run& chosen) {
    auto& command = *app.add_subcommand(
        "keynotes", "List the presentation programs that run and those installed on this computer's local disks");
    const auto options = std::make_shared<KeynotesOptions>();
    command.add_option("--root", options->roots, "Search below this directory only; may be repeated")
        ->allow_extra_args(false)
        ->check(CLI::ExistingDirectory)
        ->option_text("DIR");
    command.add_flag("--json", options->json, "JSON Lines: one object per finding on standard output");
    command.callback([options, &chosen] { chosen = [options] { return listKeynotes(*options); }; });
}

std::string checkPipe(const std::string& text) {
    const auto isUsable = [](unsigned char byte) { return std::isalnum(byte) != 0 || byte == '-' || byte == '_'; };
    return !text.empty() && std::ranges::all_of(text, isUsable) ? std::string() : "must be letters, digits, - and _";
}

void addPipe(CLI::App& command, std::string& pipe) {
    command.add_option("--pipe", pipe, "Where LibreOffice listens, for a bridge with the same option")
        ->check(CLI::Validator(checkPipe, "NAME"))
        ->option_text("NAME (default: keynote-capture)");
}

void addSetup(CLI::App& app, Run& chosen) {
    auto& command = *app.add_subcommand("setup", "Have your LibreOffice found by recordings from its next start on");
    const auto options = std::make_shared<SetupOptions>();
    command.add_flag("--undo", options->undo, "Take back what an earlier setup has changed");
    command.add_option("--profile", options->profile, "LibreOffice's profile, if it is not the usual one")
        ->check(CLI::Validator(checkPath, "DIR"))
        ->option_text("DIR");
    addPipe(command, options->pipe);
    command.footer(
        "Not needed where keynote-capture is installed for the whole computer. Examples:\n"
        "  keynote-capture setup           while LibreOffice does not run\n"
        "  keynote-capture setup --undo");
    command.callback([options, &chosen] {
        if (!options->profile.empty()) options->profile = absoluteDirectory(options->profile);
        chosen = [options] { return setUpOffice(*options); };
    });
}

void addStatus(CLI::App& app, Run& chosen) {
    auto& command = *app.add_subcommand("status", "Tell what a recording needs, and how to get what is missing");
    const auto options = std::make_shared<StatusOptions>();
    command.add_option("--to", options->directory, "Where captures are to go")
        ->check(CLI::Validator(checkPath, "DIR"))
        ->option_text("DIR (default: here)");
    addPipe(command, options->pipe);
    command.add_flag("--json", options->json, "One JSON object on standard output");
    command.callback([options, &chosen] {
        options->directory = absoluteDirectory(options->directory.empty() ? "." : options->directory);
        chosen = [options] { return status(*options); };
    });
}

int run(int argc, char** argv) try {
    openStandardStreams();
    CLI::App app("Watches a presentation program through the capture service.", "keynote-capture");
    app.set_version_flag("--version", std::string("keynote-capture ") + KCS_VERSION);
    app.require_subcommand(1);
    app.failure_message(usageMessage);
    Run chosen;
    for (const auto add : {addRecord, addStopPresenting, addWindows, addExtract, addWaitForSaving, addKeynotes,
                           addExport, addRecover, addSetup, addStatus}) {
        add(app, chosen);
    }
    // After the commands, which would have it too.
    app.footer(kFooter);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kDone : kWrongUsage;
    }
    return chosen();
} catch (const std::exception& error) {
    complain(error.what());
    return kOperationFailed;
}

}  // namespace
}  // namespace keynote_capture

int main(int argc, char** argv) {
    return keynote_capture::run(argc, argv);
}
