#include "bus/Connection.h"
#include "bus/Failure.h"
#include "commandline/Program.h"
#include "commandline/Translation.h"
#include "presenters/simulator/CommandLine.h"
#include "presenters/simulator/DiskOutput.h"
#include "presenters/simulator/ProgramWindows.h"
#include "presenters/simulator/ScriptReader.h"
#include "presenters/simulator/ScriptingChannel.h"
#include "presenters/simulator/Simulator.h"
#include "presenters/simulator/SlideImage.h"
#include "runtime/Installation.h"
#include "runtime/Loop.h"
#include "runtime/OutOfMemory.h"

#include <fmt/format.h>
#include <unistd.h>
#include <csignal>
#include <fstream>
#include <iostream>
#include <iterator>

using namespace simulator;

namespace {

void complain(const std::string& sentence) {
    complainAs("keynote-simulator", sentence);
}

/// The script for people who give none: it shows every slide of a deck and waits for the export.
std::string builtInScript(const Options& options) {
    auto script = fmt::format("launch\nopen \"{}\" slides {}\nwait 1\nstart\n", options.deck, options.slides);
    for (std::int64_t slide = 1; slide <= options.slides; ++slide) {
        script += fmt::format("slide {}\nwait {}\n", slide, options.secondsPerSlide);
    }
    return script + "stop\nwait-for export 30\nquit\n";
}

std::optional<std::string> contentsOf(const std::string& path) {
    std::ifstream file(path);
    if (!file.is_open()) return std::nullopt;
    std::string text(std::istreambuf_iterator<char>(file), {});
    if (file.bad()) return std::nullopt;
    return text;
}

/// The process: a model, the bus and the windows that show it, and the script that moves it.
class Process {
public:
    Process(const Options& options, bus::Connection& connection)
        : model_(loop_, output_, jpegOfSlide),
          channel_(connection, model_, loop_, options.bundle),
          simulator_(loop_, model_,
                     {
                         .say = [](const std::string& line) { std::cout << line << std::endl; },
                         .announcePid = [this](std::uint32_t pid) { channel_.setProcessIdentifier(pid); },
                         .die = [] { static_cast<void>(std::raise(SIGKILL)); },
                         .finished =
                             [this](const std::string& sentence) {
                                 leave(sentence.empty() ? kDone : kOperationFailed, sentence);
                             },
                     },
                     [this] { showChange(); }) {
        connection.serveOn(loop_, [this] { leave(kNoService, translated("The session bus has gone.")); });
        model_.tellTimes(&std::chrono::steady_clock::now);
        if (!options.hidesWindows) windows_ = ProgramWindows::open();
        if (!windows_) return;
        model_.setScreen(windows_->screen());
        watchWindows_ = loop_.watch(windows_->descriptor(), [this] { handleWindowEvents(); });
    }

    int run(const Options& options) {
        loop_.onSignals({SIGTERM, SIGINT}, [this] { leave(kDone, {}); });
        ScriptReader reader(simulator_, [this](const std::string& sentence) { leave(kWrongUsage, sentence); });
        if (options.script == "-") {
            reader.follow(loop_, STDIN_FILENO);
        } else if (options.script.empty()) {
            reader.read(builtInScript(options), "built-in script");
        } else if (const auto text = contentsOf(options.script)) {
            reader.read(*text, options.script);
        } else {
            leave(kWrongUsage, translated("{}: The script cannot be read.", options.script));
        }
        return loop_.run();
    }

private:
    void showChange() {
        channel_.setRunning(model_.isRunning());
        if (!windows_) return;
        // The update asks the display something, and events that arrive with the reply make no descriptor readable.
        windows_->update(model_);
        handleWindowEvents();
    }

    void handleWindowEvents() {
        if (!windows_ || windows_->handleEvents()) return;
        watchWindows_.reset();
        windows_.reset();
    }

    void leave(int status, const std::string& sentence) {
        if (!sentence.empty()) complain(sentence);
        loop_.stop(status);
    }

    /// Everything of the simulator runs here, so that nothing needs a lock. What a task throws ends the process.
    runtime::Loop loop_{[](const std::string&) { throw; }};
    DiskOutput output_;
    presenters::PresentationProgramModel model_;
    ScriptingChannel channel_;
    Simulator simulator_;
    std::unique_ptr<ProgramWindows> windows_;
    Handle watchWindows_;
};

}  // namespace

int main(int argc, char** argv) {
    runtime::endProcessWhenMemoryRunsOut();
    useLanguageOfUser();
    Options options;
    const auto program = makeCommandLine(options);
    if (const auto status = readCommandLine(*program, argc, argv)) return *status;
    if (options.bundle.empty()) options.bundle = runtime::installed("KeynoteSimulator.app");
    if (options.bundle.empty()) {
        complain(translated("Its bundle KeynoteSimulator.app is not installed; name one with --bundle."));
        return kOperationFailed;
    }
    try {
        bus::Connection connection;
        return Process(options, connection).run(options);
    } catch (const bus::Failure& failure) {
        complain(translated("The session bus does not answer ({}). Is DBUS_SESSION_BUS_ADDRESS set?", failure.what()));
        return kNoService;
    }
}
