/// The commands about shows that run.

#include "tools/keynote-capture/definition/Definitions.h"
#include "tools/keynote-capture/definition/Values.h"
#include "tools/keynote-capture/hook/CommandWords.h"

#include <fmt/chrono.h>
#include <unistd.h>

namespace keynote_capture {
namespace {

/// Readable in a listing, and another one for each of several recorders that are started in the same second.
std::string defaultRecordingID() {
    const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    return fmt::format("keynote-capture-{:%Y%m%d-%H%M%S}-{}", fmt::gmtime(now.time_since_epoch().count()), getpid());
}

}  // namespace

void defineRecord(CLI::App& program, Request& request) {
    auto [command, options] = define<RecordOptions>(
        program, request, "record", translated("Record slide shows until interrupted, events as they happen"));
    options.recordingID = defaultRecordingID();
    addDirectory(command, "--to", options.directory, translated("Capture directory; made when missing"))->required();
    command.add_option("--recording-id", options.recordingID, translated("Name of the recording's working directory"))
        ->check(valueCheck(checkRecordingID))
        ->type_name(translatable("ID"))
        ->default_str(translated("from the time"));
    command
        .add_option("--polling-interval", options.pollingInterval,
                    translated("Seconds between two looks at the program"))
        ->check(valueCheck(checkInterval))
        ->type_name(translatable("S"))
        ->default_str("0.25");
    command
        .add_option_function<std::string>(
            "--exec", [&hook = options.hook](const std::string& words) { hook = wordsOf(words).value(); },
            translated("Run this per event, with its JSON on standard input; no shell"))
        ->check(valueCheck(checkCommand))
        ->type_name(translatable("CMD"));
    addJSON(command, options.json);
    command.footer(
        examples({{"keynote-capture record --to ~/lectures/12", {}},
                  {"keynote-capture record --to ~/lectures/12 --json | jq -r .event", {}},
                  {"keynote-capture record --to ~/lectures/12 --exec 'light --red'", {}}}) +
        translated("Ctrl-C ends it; during a show, or while its images are awaited, with the show's images. Exit "
                   "status 1 also when a show was given up before."));
}

void defineStopPresenting(CLI::App& program, Request& request) {
    auto [command, options] =
        define<StopPresentingOptions>(program, request, "stop-presenting", translated("End the running slide show"));
    addJSON(command, options.json);
    command.footer(examples({{"keynote-capture stop-presenting", {}}}));
}

void defineWindows(CLI::App& program, Request& request) {
    auto [command, options] =
        define<WindowsOptions>(program, request, "windows", translated("List the presentation program's windows"));
    command.add_flag("--scriptable", options.scriptable, translated("As the program tells, not the window server"));
    addJSON(command, options.json);
    command.footer(examples({{"keynote-capture windows --scriptable", {}}}));
}

void defineWaitForSaving(CLI::App& program, Request& request) {
    auto [command, options] = define<WaitForSavingOptions>(
        program, request, "wait-for-saving", translated("Wait until the presentation program has finished saving"));
    addJSON(command, options.json);
    command.footer(examples({{"keynote-capture wait-for-saving && umount /media/stick", {}}}));
}

}  // namespace keynote_capture
