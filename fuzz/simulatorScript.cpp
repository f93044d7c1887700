/// A script of any content: a bad line moves nothing, and a good script is played while a host asks for all there is.

#include "fuzz/Require.h"
#include "platform/simulated/SimulatedDispatch.h"
#include "platform/simulated/SimulatedFileManager.h"
#include "presenters/simulator/ScriptReader.h"

#include <cstdint>
#include <sstream>

using namespace std::chrono_literals;

namespace {

/// An export may take ten million.
constexpr int kMostTasks = 1000;
constexpr int kMostHosts = 10;

/// What a capture service asks of a show that plays.
void ask(presenters::PresentationProgramModel& model) {
    ErrorPtr error;
    static_cast<void>(model.presentingState(error));
    static_cast<void>(model.windows(error));
    const auto id = model.open("/decks/Deck.key", error);
    require(error || !id.empty());
    for (const auto& document : std::vector(model.documents())) {
        static_cast<void>(model.text(document.id, error));
        static_cast<void>(model.save(document.id, "/copies/" + document.id));
        static_cast<void>(model.exportTo(document.id, "/images/" + document.id, "Kimg", {}));
    }
    static_cast<void>(model.close(id, "ask "));
}

bool isGood(const std::string& script) {
    std::istringstream lines(script);
    for (std::string text; std::getline(lines, text);) {
        const auto line = simulator::parseLine(text);
        require(line.error.empty() || !line.command);
        if (!line.error.empty()) return false;
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string script(data, data + size);
    simulated::SimulatedDispatch dispatch;
    simulated::SimulatedFileManager files;
    presenters::PresentationProgramModel model(dispatch.mainQueue(), files, [](auto&&...) { return std::string("J"); });
    model.tellTimes([&dispatch] { return Instant(dispatch.elapsed()); });
    int said = 0;
    int ends = 0;
    simulator::Simulator simulator(dispatch.mainQueue(), model,
                                   {.say = [&](const auto&) { ++said; },
                                    .announcePid = [](auto) {},
                                    .die = [] {},
                                    .finished = [&](const auto&) { ++ends; }},
                                   [] {});
    int complaints = 0;
    simulator::ScriptReader(simulator, [&](const auto&) { ++complaints; }).read(script, "script");
    require(complaints == (isGood(script) ? 0 : 1));
    const auto end = dispatch.steadyNow() + 1h;
    for (int tasks = 0; tasks < kMostTasks && dispatch.runNext(end); ++tasks) {
        if (tasks < kMostHosts) ask(model);
    }
    require(complaints == 0 || (said == 0 && ends == 0));
    require(ends <= 1);
    return 0;
}
