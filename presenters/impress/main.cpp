#include "bus/BusConnection.h"
#include "bus/Names.h"
#include "presenters/impress/ImpressProgram.h"
#include "presenters/impress/Lifeline.h"
#include "presenters/impress/OfficeConnection.h"
#include "presenters/impress/Show.h"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <iostream>

using namespace std::chrono_literals;

namespace {

struct Options {
    std::string pipe = "keynote-capture";
    std::string deck;
    double advance = 3;
};

/// Ends the process without waiting for threads that may be stuck in the office.
[[noreturn]] void fail(const std::string& sentence) {
    std::cerr << "keynote-impress: " << sentence << std::endl;
    std::_Exit(EXIT_FAILURE);
}

OfficeConnection attach(const std::string& pipe) {
    std::cerr << "Waiting for an office on the pipe " << pipe << "." << std::endl;
    while (true) {
        if (auto office = OfficeConnection::attach(pipe)) return *office;
        std::this_thread::sleep_for(250ms);
    }
}

void present(const Options& options, const OfficeConnection& office) {
    try {
        const Show show{options.deck, std::chrono::duration<double>(options.advance)};
        if (!show.run(office.context())) fail("The slide show could not be started.");
    } catch (const css::uno::Exception& exception) {
        fail("Presenting " + options.deck + " failed: " + textFrom(exception));
    }
}

[[noreturn]] void serve(const Options& options, const Lifeline& lifeline) {
    const auto connection = bus::openSessionBus();
    const bus::EventLoopThread loop(*connection, [] { fail("The session bus is gone."); });
    const auto office = attach(options.pipe);
    lifeline.watch(office.processIdentifier());
    office.observeLoss([&lifeline] { lifeline.restart(); });

    const ImpressProgram program(*connection, office);
    connection->requestName(kBundleIdentifier + (bus::kInstanceInfix + std::to_string(office.processIdentifier())));
    std::cerr << "Attached to the office, process " << office.processIdentifier() << "." << std::endl;
    if (!options.deck.empty()) present(options, office);
    while (true) std::this_thread::sleep_for(24h);
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Makes LibreOffice Impress answer as a presentation program on the session bus.");
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
    CLI11_PARSE(app, argc, argv);

    const Lifeline lifeline({argv[0], "--pipe", options.pipe});
    try {
        serve(options, lifeline);
    } catch (const sdbus::Error& error) {
        fail("No session bus: " + error.getMessage());
    } catch (const css::uno::Exception& exception) {
        fail("LibreOffice's libraries do not work: " + textFrom(exception));
    }
}
