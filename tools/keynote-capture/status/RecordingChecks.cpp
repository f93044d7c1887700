#include "tools/keynote-capture/status/RecordingChecks.h"

#include "commandline/PrintableText.h"

#include <fmt/format.h>

#include <algorithm>

namespace keynote_capture {
namespace {

using State = Check::State;

constexpr std::uintmax_t kMegabyte = 1'000'000;
/// A show with its deck takes some tens of megabytes.
constexpr std::uintmax_t kTooLittle = 100 * kMegabyte;
constexpr std::uintmax_t kLittle = 1000 * kMegabyte;
constexpr const char* kInstall =
    "Install keynote-capture for this computer, or put its share folder into XDG_DATA_DIRS of the bus";

Check checkService(const BusFacts& bus) {
    constexpr const char* kName = "service";
    if (!bus.serviceAnswers) {
        return {kName, State::failed,
                fmt::format("The capture service does not answer. ({})", printableText(bus.serviceProblem)),
                bus.serviceCanBeStarted ? "journalctl --user -u keynote-capture" : kInstall};
    }
    if (bus.serviceVersion != KCS_VERSION) {
        return {kName, State::warning,
                fmt::format("The capture service is of version {}, and this tool of " KCS_VERSION ".",
                            printableText(bus.serviceVersion.value_or("unknown"))),
                "systemctl --user restart keynote-capture"};
    }
    return {kName, State::ok, "The capture service answers, version " KCS_VERSION "."};
}

Check checkActivation(const BusFacts& bus) {
    if (bus.serviceCanBeStarted) return {"activation", State::ok, "The bus can start the capture service."};
    return {"activation", bus.serviceAnswers ? State::warning : State::failed,
            "The bus does not know how to start the capture service.", kInstall};
}

Check checkBridge(const BusFacts& bus) {
    constexpr const char* kName = "bridge";
    if (bus.bridgeRuns) return {kName, State::ok, "The bridge to LibreOffice runs."};
    if (bus.program) return {kName, State::ok, "A presentation program answers by itself."};
    if (bus.bridgeCanBeStarted) return {kName, State::ok, "The bridge to LibreOffice starts with the first recording."};
    return {kName, State::failed,
            "The bridge to LibreOffice, keynote-impress, does not run and the bus cannot start it.", kInstall};
}

Check checkOfficeThatIsAway(const MachineFacts& machine) {
    constexpr const char* kName = "office";
    if (!machine.officeIsInstalled) {
        return {kName, State::failed, "LibreOffice is not installed.", "apt install libreoffice-impress"};
    }
    if (!machine.officeIsSetUp) {
        return {kName, State::failed, "LibreOffice does not run yet, and would not be found.", "keynote-capture setup"};
    }
    return {kName, State::warning, "LibreOffice does not run yet; it is found as soon as it does.",
            "libreoffice --impress"};
}

Check checkOffice(const BusFacts& bus, const MachineFacts& machine, const std::string& pipe) {
    constexpr const char* kName = "office";
    if (bus.program) return {kName, State::ok, "A presentation program is found."};
    if (machine.pipe == OfficePipe::foreign) {
        return {kName, State::failed, fmt::format("The pipe {} belongs to another user.", pipe),
                "keynote-capture setup --pipe NAME, and keynote-impress --pipe NAME"};
    }
    if (machine.pipe == OfficePipe::listening) {
        return {kName, State::warning, "LibreOffice listens, but has not answered the bridge yet.",
                "Wait a moment; if it hangs, quit it and start it again"};
    }
    if (!machine.office) return checkOfficeThatIsAway(machine);
    return {kName, State::failed, fmt::format("LibreOffice runs (process {}), but does not listen.", *machine.office),
            fmt::format("soffice --accept=\"{}\"", "pipe,name=" + pipe + ";urp;")};
}

Check checkDeck(const ProgramNow& program) {
    constexpr const char* kName = "deck";
    if (!program.answers) {
        return {kName, State::failed, "The presentation program does not say what it shows.",
                "Look for a dialog in it; if it hangs, quit it and start it again"};
    }
    if (!program.hasDeck) return {kName, State::warning, "No deck is open.", "Open the deck"};
    const auto deck = program.deck.empty() ? "A deck without a file" : printableText(program.deck);
    return {kName, State::ok,
            program.playing ? fmt::format("{} is shown, slide {}.", deck, program.slide)
                            : fmt::format("{} is open; no show runs.", deck)};
}

Check checkDisplay(const MachineFacts& machine) {
    constexpr const char* kName = "display";
    if (machine.isWayland) {
        return {kName, State::warning,
                "Wayland: the list of windows is not available; shows are recorded all the same.",
                "Log in to an X11 session, if the windows are wanted"};
    }
    if (machine.x11Display.empty()) {
        return {kName, State::warning, "There is no display here; shows of another one cannot tell their windows.",
                "Run this where the lecture is shown"};
    }
    return {kName, State::ok, fmt::format("X11, {}.", printableText(machine.x11Display))};
}

Check checkSpace(const MachineFacts& machine, const std::filesystem::path& directory) {
    constexpr const char* kName = "disk";
    const auto name = printableText(directory.native());
    const auto free = machine.freeBytes.value_or(0);
    if (!machine.directoryCanBeWritten) {
        return {kName, State::failed, fmt::format("{} cannot be written.", name),
                "Choose another directory, or change its permissions"};
    }
    const auto sentence = fmt::format("{} has {} MB free.", name, free / kMegabyte);
    if (free < kLittle) return {kName, free < kTooLittle ? State::failed : State::warning, sentence, "Make room there"};
    return {kName, State::ok, sentence};
}

Check checkClock(const MachineFacts& machine) {
    if (machine.clockIsSynchronised) return {"clock", State::ok, "The clock is synchronised."};
    return {"clock", State::warning, "The clock is not synchronised; the times of day may be wrong.",
            "timedatectl set-ntp true"};
}

}  // namespace

const char* nameOf(State state) {
    switch (state) {
        case State::ok:
            return "ok";
        case State::warning:
            return "warning";
        case State::failed:
            break;
    }
    return "failed";
}

const Check* firstMissing(const Checks& checks) {
    const auto failed = std::ranges::find(checks, State::failed, &Check::state);
    if (failed != checks.end()) return &*failed;
    const auto isAway = [](const Check& check) {
        return check.state == State::warning && check.name == std::string_view("office");
    };
    const auto away = std::ranges::find_if(checks, isAway);
    return away != checks.end() ? &*away : nullptr;
}

Checks checksOf(const BusFacts& bus, const MachineFacts& machine, const CheckedPlaces& places) {
    Checks checks;
    if (!bus.problem.empty()) {
        checks.push_back({"bus", State::failed, printableText(bus.problem), "dbus-run-session -- bash"});
    } else {
        checks.push_back({"bus", State::ok, "The session bus answers."});
        checks.push_back(checkService(bus));
        checks.push_back(checkActivation(bus));
        checks.push_back(checkBridge(bus));
        checks.push_back(checkOffice(bus, machine, places.pipe));
        if (bus.program) checks.push_back(checkDeck(*bus.program));
    }
    checks.push_back(checkDisplay(machine));
    checks.push_back(checkSpace(machine, places.directory));
    checks.push_back(checkClock(machine));
    return checks;
}

}  // namespace keynote_capture
