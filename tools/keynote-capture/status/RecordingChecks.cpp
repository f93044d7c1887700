#include "tools/keynote-capture/status/RecordingChecks.h"

#include "commandline/PrintableText.h"
#include "commandline/Translation.h"

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
    translatable("Install keynote-capture for this computer, or put its share folder into XDG_DATA_DIRS of the bus");

Check checkService(const BusFacts& bus) {
    constexpr const char* kName = translatable("service");
    if (!bus.serviceAnswers) {
        return {kName, State::failed,
                translated("The capture service does not answer. ({})", printableText(bus.serviceProblem)),
                bus.serviceCanBeStarted ? "journalctl --user -u keynote-capture" : translation(kInstall)};
    }
    if (bus.serviceVersion != KCS_VERSION) {
        return {kName, State::warning,
                translated("The capture service is of version {}, and this tool of {}.",
                           printableText(bus.serviceVersion.value_or(translated("unknown"))), KCS_VERSION),
                "systemctl --user restart keynote-capture"};
    }
    return {kName, State::ok, translated("The capture service answers, version {}.", KCS_VERSION)};
}

Check checkActivation(const BusFacts& bus) {
    if (bus.serviceCanBeStarted)
        return {translatable("activation"), State::ok, translated("The bus can start the capture service.")};
    return {translatable("activation"), bus.serviceAnswers ? State::warning : State::failed,
            translated("The bus does not know how to start the capture service."), translation(kInstall)};
}

Check checkBridge(const BusFacts& bus) {
    constexpr const char* kName = translatable("bridge");
    if (bus.bridgeRuns) return {kName, State::ok, translated("The bridge to LibreOffice runs.")};
    if (bus.program) return {kName, State::ok, translated("A presentation program answers by itself.")};
    if (bus.bridgeCanBeStarted)
        return {kName, State::ok, translated("The bridge to LibreOffice starts with the first recording.")};
    return {kName, State::failed,
            translated("The bridge to LibreOffice, keynote-impress, does not run and the bus cannot start it."),
            translation(kInstall)};
}

Check checkOfficeThatIsAway(const MachineFacts& machine) {
    constexpr const char* kName = translatable("office");
    if (!machine.officeIsInstalled) {
        return {kName, State::failed, translated("LibreOffice is not installed."), "apt install libreoffice-impress"};
    }
    if (!machine.officeIsSetUp) {
        return {kName, State::failed, translated("LibreOffice does not run yet, and would not be found."),
                "keynote-capture setup"};
    }
    return {kName, State::warning, translated("LibreOffice does not run yet; it is found as soon as it does."),
            "libreoffice --impress"};
}

Check checkOffice(const BusFacts& bus, const MachineFacts& machine, const std::string& pipe) {
    constexpr const char* kName = translatable("office");
    if (bus.program) return {kName, State::ok, translated("A presentation program is found.")};
    if (machine.pipe == OfficePipe::foreign) {
        return {kName, State::failed, translated("The pipe {} belongs to another user.", pipe),
                translated("keynote-capture setup --pipe NAME, and keynote-impress --pipe NAME")};
    }
    if (machine.pipe == OfficePipe::listening) {
        return {kName, State::warning, translated("LibreOffice listens, but has not answered the bridge yet."),
                translated("Wait a moment; if it hangs, quit it and start it again")};
    }
    if (!machine.office) return checkOfficeThatIsAway(machine);
    return {kName, State::failed, translated("LibreOffice runs (process {}), but does not listen.", *machine.office),
            fmt::format("soffice --accept=\"{}\"", "pipe,name=" + pipe + ";urp;")};
}

Check checkDeck(const ProgramNow& program) {
    constexpr const char* kName = translatable("deck");
    if (!program.answers) {
        return {kName, State::failed, translated("The presentation program does not say what it shows."),
                translated("Look for a dialog in it; if it hangs, quit it and start it again")};
    }
    if (!program.hasDeck) return {kName, State::warning, translated("No deck is open."), translated("Open the deck")};
    const auto deck = program.deck.empty() ? translated("A deck without a file") : printableText(program.deck);
    return {kName, State::ok,
            program.playing ? translated("{} is shown, slide {}.", deck, program.slide)
                            : translated("{} is open; no show runs.", deck)};
}

Check checkDisplay(const BusFacts& bus, const MachineFacts& machine) {
    constexpr const char* kName = translatable("display");
    if (machine.isWayland) {
        return {kName, State::warning,
                translated("Wayland: the list of windows is not available; shows are recorded all the same."),
                translated("Log in to an X11 session, if the windows are wanted")};
    }
    if (machine.x11Display.empty()) {
        return {kName, State::warning,
                translated("There is no display here; shows of another one cannot tell their windows."),
                translated("Run this where the lecture is shown")};
    }
    if (!bus.serviceHasDisplay) {
        return {kName, State::warning,
                translated("The capture service was started where no display is; shows cannot tell their windows."),
                "dbus-update-activation-environment --systemd DISPLAY XAUTHORITY; systemctl --user restart "
                "keynote-capture"};
    }
    return {kName, State::ok, fmt::format("X11, {}.", printableText(machine.x11Display))};
}

Check checkSpace(const MachineFacts& machine, const std::filesystem::path& directory) {
    constexpr const char* kName = translatable("disk");
    const auto name = printableText(directory.native());
    const auto free = machine.freeBytes.value_or(0);
    if (!machine.directoryCanBeWritten) {
        return {kName, State::failed, translated("{} cannot be written.", name),
                translated("Choose another directory, or change its permissions")};
    }
    const auto sentence = translated("{} has {} MB free.", name, free / kMegabyte);
    if (free < kLittle)
        return {kName, free < kTooLittle ? State::failed : State::warning, sentence, translated("Make room there")};
    return {kName, State::ok, sentence};
}

Check checkClock(const MachineFacts& machine) {
    if (machine.clockIsSynchronised)
        return {translatable("clock"), State::ok, translated("The clock is synchronised.")};
    return {"clock", State::warning, translated("The clock is not synchronised; the times of day may be wrong."),
            "timedatectl set-ntp true"};
}

}  // namespace

const char* nameOf(State state) {
    switch (state) {
        case State::ok:
            return translatable("ok");
        case State::warning:
            return translatable("warning");
        case State::failed:
            break;
    }
    return translatable("failed");
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
        checks.push_back({translatable("bus"), State::ok, translated("The session bus answers.")});
        checks.push_back(checkService(bus));
        checks.push_back(checkActivation(bus));
        checks.push_back(checkBridge(bus));
        checks.push_back(checkOffice(bus, machine, places.pipe));
        if (bus.program) checks.push_back(checkDeck(*bus.program));
    }
    checks.push_back(checkDisplay(bus, machine));
    checks.push_back(checkSpace(machine, places.directory));
    checks.push_back(checkClock(machine));
    return checks;
}

}  // namespace keynote_capture
