#include "bus/Names.h"
#include "bus/SessionBus.h"
#include "commandline/Program.h"
#include "commandline/StandardStreams.h"
#include "commandline/Translation.h"
#include "ports/CaptureNames.h"
#include "presenters/impress/CommandLine.h"
#include "presenters/impress/ImpressProgram.h"
#include "presenters/impress/Lifeline.h"
#include "presenters/impress/OfficeConnection.h"
#include "presenters/impress/OfficeProcess.h"
#include "presenters/impress/PipeWatch.h"
#include "presenters/impress/Show.h"
#include "presenters/impress/SpareOffice.h"
#include "presenters/impress/Turns.h"
#include "runtime/Loop.h"
#include "runtime/OutOfMemory.h"
#include "runtime/WorkQueue.h"

#include <unistd.h>
#include <com/sun/star/frame/Desktop.hpp>
#include <cstdlib>

using namespace impress;
using namespace std::chrono_literals;

namespace {

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

void say(const std::string& sentence) {
    complainAs("keynote-impress", sentence);
}

/// Ends the process without waiting for threads that may be stuck in the office.
[[noreturn]] void fail(const std::string& sentence, ExitStatus status = kOperationFailed) {
    say(sentence);
    endUnseenOffices();
    std::_Exit(status);
}

/// Waits for an office of the user's, and for its turn.
OfficeConnection attach(const std::string& pipe, Turns& turns) {
    say(translated("Waiting for an office on the pipe {}.", pipe));
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
        fail(translated("LibreOffice cannot be started. Install libreoffice-impress."));
    }
    if (auto office = OfficeConnection::attachWithin(pipe, kLongestOfficeStart)) return *office;
    fail(translated("LibreOffice was started, but does not listen on the pipe {}.", pipe));
}

/// Ends the office that was started on demand, and with it this process.
[[noreturn]] void leave(const OfficeConnection& office) {
    say(translated("Idle."));
    if (ownOffice.isOwn(office.processIdentifier())) {
        // On a thread that may hang: an office that is stuck never answers.
        const runtime::Workers workers([](const std::string&) {});  // gone already
        const auto queue = workers.makeQueue(1);
        static_cast<void>(queue->push([&office] { css::frame::Desktop::create(office.context())->terminate(); }));
        std::this_thread::sleep_for(kLongestOfficeEnd);  // the lifeline ends the process with the office
        ownOffice.end();
    }
    std::_Exit(kDone);
}

void present(const Options& options, const OfficeConnection& office) {
    try {
        const Show show{options.deck, std::chrono::duration<double>(options.advance)};
        if (!show.run(office.context())) fail(translated("The slide show could not be started."));
    } catch (const css::uno::Exception& exception) {
        fail(translated("Presenting {} failed: {}", options.deck, textFrom(exception)));
    }
}

/// The name by which the bus starts this process, and waits for it; another program may have it.
void takePlainName(bus::Connection& connection) {
    try {
        connection.requestName(kKeynoteBundleIdentifier);
    } catch (const bus::Failure& failure) {
        say(translated("Without the name {}: {}", kKeynoteBundleIdentifier, failure.what()));
    }
}

[[noreturn]] void leaveToOther() {
    say(translated("Another keynote-impress is at work."));
    endUnseenOffices();
    std::_Exit(kDone);
}

/// The office is another bridge's, at least for a while.
[[noreturn]] void giveUp(const Options& options, Lifeline& lifeline) {
    if (!options.deck.empty()) fail(translated("Another keynote-impress serves the office; end that first."));
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
        say(translated("The office's name is taken: {}", failure.what()));
        return false;
    }
}

/// Returns when nobody has needed the program for so long; never when that is no time at all.
void waitUntilIdle(ImpressProgram& program, std::chrono::seconds longestIdling) {
    runtime::Loop idling([](const std::string&) { throw; });
    const auto look = [&] {
        if (program.isIdle(longestIdling)) idling.stop(kDone);
    };
    // Looked at once a second: nothing tells when the office closes its last window.
    const auto looks = longestIdling > 0s ? idling.makeTimer({1s, 1s, {}}, look) : nullptr;
    static_cast<void>(idling.run());
}

[[noreturn]] void serve(const Options& options, Lifeline& lifeline) {
    bus::SessionBus bus;
    bus.start([] { fail(translated("The session bus has gone."), kNoService); });
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
    say(translated("Attached to the office, process {}.", office.processIdentifier()));
    if (!options.deck.empty()) present(options, office);
    waitUntilIdle(program, std::chrono::seconds(options.exitWhenIdle));
    leave(office);
}

}  // namespace

int main(int argc, char** argv) {
    openStandardStreams();
    runtime::endProcessWhenMemoryRunsOut();
    useLanguageOfUser();
    Options options;
    const auto program = makeCommandLine(options);
    if (const auto status = readCommandLine(*program, argc, argv)) return *status;

    std::vector<std::string> restartArguments{argv[0], "--pipe", options.pipe};
    if (options.exitWhenIdle > 0) restartArguments.clear();
    Lifeline lifeline(std::move(restartArguments), endUnseenOffices);
    try {
        serve(options, lifeline);
    } catch (const bus::Failure& failure) {
        fail(translated("The session bus does not answer ({}). Is DBUS_SESSION_BUS_ADDRESS set?", failure.what()),
             kNoService);
    } catch (const css::uno::Exception& exception) {
        fail(translated("LibreOffice's libraries do not work: {}", textFrom(exception)));
    }
}
