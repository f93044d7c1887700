#include "bus/Names.h"
#include "bus/SessionBus.h"
#include "ports/CaptureNames.h"
#include "presenters/impress/ImpressProgram.h"
#include "presenters/impress/Lifeline.h"
#include "presenters/impress/OfficeConnection.h"
#include "presenters/impress/OfficeProcess.h"
#include "presenters/impress/PipeWatch.h"
#include "presenters/impress/Show.h"
#include "presenters/impress/SpareOffice.h"
#include "presenters/impress/Turns.h"
#include "runtime/Loop.h"
#include "runtime/WorkQueue.h"

#include <unistd.h>
#include <CLI/CLI.hpp>
#include <com/sun/star/frame/Desktop.hpp>
#include <cstdlib>
#include <iostream>

using namespace impress;
using namespace std::chrono_literals;

namespace {

struct Options {
    std::string pipe = bus::kBridgePipe;
    std::string deck;
    double advance = 3;
    int exitWhenIdle = 0;  ///< seconds; 0 for never
};

constexpr int kWrongUsage = 2;
constexpr auto kLongestOfficeStart = 90s;
constexpr auto kLongestOfficeEnd = 10s;
/// From the moment when its pipe appears until an office answers.
constexpr auto kLongestOpening = 5s;
constexpr auto kBetweenLooksAtJobs = 250ms;

OfficeProcess ownOffice;
SpareOffice spareOffice;

/// An office that shows nothing would stay behind unseen.
void endUnseenOffices() {
    if (ownOffice.isHeadless()) ownOffice.end();
    spareOffice.end();
}

/// Ends the process without waiting for threads that may be stuck in the office.
[[noreturn]] void fail(const std::string& sentence) {
    std::cerr << "keynote-impress: " << sentence << std::endl;
    endUnseenOffices();
    std::_Exit(EXIT_FAILURE);
}

/// Waits for an office of the user's, and for its turn.
OfficeConnection attach(const std::string& pipe, Turns& turns) {
    std::cerr << "Waiting for an office on the pipe " << pipe << "." << std::endl;
    PipeWatch watch(pipe);
    for (bool hasAppeared = false;; hasAppeared = watch.wait(turns.isOthersTurn() ? kBetweenLooksAtJobs : 1min)) {
        if (turns.isOthersTurn()) continue;
        if (auto office = OfficeConnection::attachWithin(pipe, hasAppeared ? kLongestOpening : 0s)) return *office;
    }
}

/// The office that listens already, else one that is started for it.
OfficeConnection attachOrStart(const std::string& pipe) {
    if (auto office = OfficeConnection::attach(pipe)) return *office;
    if (!ownOffice.start(pipe, OfficeProcess::Windows::ifThereIsADisplay)) {
        fail("LibreOffice cannot be started. Install libreoffice-impress.");
    }
    if (auto office = OfficeConnection::attachWithin(pipe, kLongestOfficeStart)) return *office;
    fail("LibreOffice was started, but does not listen on the pipe " + pipe + ".");
}

/// Ends the office that was started on demand, and with it this process.
[[noreturn]] void leave(const OfficeConnection& office) {
    std::cerr << "Idle." << std::endl;
    if (ownOffice.isOwn(office.processIdentifier())) {
        // On a thread that may hang: an office that is stuck never answers.
        const runtime::Workers workers([](const std::string&) {});  // gone already
        const auto queue = workers.makeQueue(1);
        static_cast<void>(queue->push([&office] { css::frame::Desktop::create(office.context())->terminate(); }));
        std::this_thread::sleep_for(kLongestOfficeEnd);  // the lifeline ends the process with the office
        ownOffice.end();
    }
    std::_Exit(EXIT_SUCCESS);
}

void present(const Options& options, const OfficeConnection& office) {
    try {
        const Show show{options.deck, std::chrono::duration<double>(options.advance)};
        if (!show.run(office.context())) fail("The slide show could not be started.");
    } catch (const css::uno::Exception& exception) {
        fail("Presenting " + options.deck + " failed: " + textFrom(exception));
    }
}

/// The name by which the bus starts this process, and waits for it; another program may have it.
void takePlainName(bus::Connection& connection) {
    try {
        connection.requestName(kKeynoteBundleIdentifier);
    } catch (const bus::Failure& failure) {
        std::cerr << "Without the name " << kKeynoteBundleIdentifier << ": " << failure.what() << std::endl;
    }
}

[[noreturn]] void leaveToOther() {
    std::cerr << "Another keynote-impress is at work." << std::endl;
    endUnseenOffices();
    std::_Exit(EXIT_SUCCESS);
}

/// The office is another bridge's, at least for a while.
[[noreturn]] void giveUp(const Options& options, Lifeline& lifeline) {
    if (!options.deck.empty()) fail("Another keynote-impress serves the office; end that first.");
    if (options.exitWhenIdle > 0) leaveToOther();
    std::this_thread::sleep_for(1s);
    lifeline.restart();
    for (;;) pause();
}

/// The name by which the service finds the program. With it callers come. Whether no other bridge has it.
bool takeInstanceName(bus::Connection& connection, const OfficeConnection& office) {
    try {
        connection.requestName(bus::instanceName(office.processIdentifier()));
        return true;
    } catch (const bus::Failure& failure) {
        std::cerr << "The office's name is taken: " << failure.what() << std::endl;
        return false;
    }
}

/// Returns when nobody has needed the program for so long; never when that is no time at all.
void waitUntilIdle(ImpressProgram& program, std::chrono::seconds longestIdling) {
    runtime::Loop idling([](const std::string&) { throw; });
    const auto look = [&] {
        if (program.isIdle(longestIdling)) idling.stop(EXIT_SUCCESS);
    };
    // Looked at once a second: nothing tells when the office closes its last window.
    const auto looks = longestIdling > 0s ? idling.makeTimer({1s, 1s, {}}, look) : nullptr;
    static_cast<void>(idling.run());
}

[[noreturn]] void serve(const Options& options, Lifeline& lifeline) {
    bus::SessionBus bus;
    bus.start([] { fail("The session bus is gone."); });
    const bool onDemand = options.exitWhenIdle > 0;
    Turns turns(bus, options.pipe);
    if (onDemand || !options.deck.empty()) {
        turns.goFirst();
    } else if (!turns.stand()) {
        leaveToOther();
    }
    const auto office = onDemand ? attachOrStart(options.pipe) : attach(options.pipe, turns);
    ImpressProgram program(bus.connection(), office, spareOffice);
    lifeline.watch(office.processIdentifier(), [&program] { return program.hasWorkWithoutOffice(); });
    office.observeLoss([&lifeline] { lifeline.restart(); });
    // Only now that calls can be answered.
    if (!takeInstanceName(bus.connection(), office)) giveUp(options, lifeline);
    takePlainName(bus.connection());
    std::cerr << "Attached to the office, process " << office.processIdentifier() << "." << std::endl;
    if (!options.deck.empty()) present(options, office);
    waitUntilIdle(program, std::chrono::seconds(options.exitWhenIdle));
    leave(office);
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Makes LibreOffice Impress answer as a presentation program on the session bus.", "keynote-impress");
    app.failure_message([](const CLI::App* program, const CLI::Error& error) {
        return program->get_name() + ": " + CLI::FailureMessage::simple(program, error);
    });
    Options options;
    app.add_option("--pipe", options.pipe, "Pipe of an office started with --accept=\"pipe,name=NAME;urp;\"")
        ->capture_default_str()
        ->check([](const std::string& name) {
            const bool usable = !name.empty() && name.find_first_of("/,;") == std::string::npos;
            return usable ? std::string() : std::string("a pipe's name has no slash, comma or semicolon");
        });
    auto* deck = app.add_option("--present", options.deck, "Open this deck and show it")->check(CLI::ExistingFile);
    app.add_option("--advance", options.advance, "Seconds each slide stays")
        ->capture_default_str()
        ->check(CLI::Range(0.1, 86400.0))
        ->needs(deck);
    app.add_option(
           "--exit-when-idle", options.exitWhenIdle,
           "Start an office when none listens, and end both after this many seconds without a caller, work or a "
           "window")
        ->check(CLI::Range(1, 86400));
    app.set_version_flag("--version", std::string("keynote-impress ") + KCS_VERSION);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EXIT_SUCCESS : kWrongUsage;
    }

    std::vector<std::string> restartArguments{argv[0], "--pipe", options.pipe};
    if (options.exitWhenIdle > 0) restartArguments.clear();
    Lifeline lifeline(std::move(restartArguments), endUnseenOffices);
    try {
        serve(options, lifeline);
    } catch (const bus::Failure& failure) {
        fail("No session bus: " + std::string(failure.what()));
    } catch (const css::uno::Exception& exception) {
        fail("LibreOffice's libraries do not work: " + textFrom(exception));
    }
}
