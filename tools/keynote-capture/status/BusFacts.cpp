/// Wires the bus into the tool, for questions that the client library does not ask.

#include "tools/keynote-capture/status/BusFacts.h"

#include "bus/ProgramContract.h"
#include "bus/ProgramServer.h"
#include "bus/SessionBus.h"
#include "bus/TimelineContract.h"
#include "commandline/Translation.h"
#include "ports/CaptureNames.h"
#include "runtime/BlockSignals.h"

#include <algorithm>
#include <fstream>
#include <future>
#include <memory>
#include <thread>
#include <vector>

namespace keynote_capture {
namespace {

using namespace std::chrono_literals;
using Names = std::vector<std::string>;

constexpr auto kReplyTimeout = 2s;
/// The bus starts the service first.
constexpr auto kServiceTimeout = 6s;

template <typename Value>
struct Answer {
    Value value{};
    std::optional<bus::Failure> failure;
};

/// Waits for the reply, which comes or fails within the time-out on the bus thread.
template <typename Value>
Answer<Value> replyOf(bus::SessionBus& bus, const std::string& name, const char* path, const bus::Call<Value>& call,
                      std::chrono::seconds timeout = kReplyTimeout) {
    bus::Peer peer(bus.connection(), name, path);
    const auto promise = std::make_shared<std::promise<Answer<Value>>>();
    peer.ask<Value>(call, timeout, [promise](const bus::Failure* failure, Value value) {
        promise->set_value({std::move(value), failure != nullptr ? std::optional(*failure) : std::nullopt});
    });
    auto answer = promise->get_future();
    // A bus that goes answers nothing any more.
    if (answer.wait_for(timeout + 1s) == std::future_status::ready) return answer.get();
    return {{}, bus::Failure(bus::kTimeout, "no answer")};
}

/// Throws `Failure` when the daemon does not answer.
Names namesBy(bus::SessionBus& bus, const char* member) {
    auto answer = replyOf(bus, bus::kBusDaemon, bus::kBusDaemonPath, bus::makeCall<Names>(bus::kBusDaemon, member));
    if (answer.failure) throw *std::move(answer.failure);
    return answer.value;
}

bool has(const Names& names, const std::string& name) {
    return std::ranges::find(names, name) != names.end();
}

void askService(bus::SessionBus& bus, BusFacts& facts) {
    const auto answer = replyOf(bus, bus::kServiceName, bus::kServicePath, bus::serviceVersion(), kServiceTimeout);
    if (!answer.failure) facts.serviceVersion = answer.value;
    if (answer.failure) facts.serviceProblem = answer.failure->what();
    // One that refuses to tell its version is there all the same.
    facts.serviceAnswers = !answer.failure || has(namesBy(bus, "ListNames"), bus::kServiceName);
    const bool isSilent =
        answer.failure && (answer.failure->name() == bus::kTimeout || answer.failure->name() == bus::kTimedOut ||
                           answer.failure->name() == "org.freedesktop.DBus.Error.NoReply");
    if (isSilent) facts.serviceAnswers = false;
}

/// The service keeps the environment with which the bus has started it.
bool hasDisplay(bus::SessionBus& bus) {
    const auto process = replyOf(
        bus, bus::kBusDaemon, bus::kBusDaemonPath,
        bus::makeCall<std::uint32_t>(bus::kBusDaemon, "GetConnectionUnixProcessID", std::string(bus::kServiceName)));
    if (process.failure) return true;
    std::ifstream in("/proc/" + std::to_string(process.value) + "/environ");
    bool isKnown = false;
    for (std::string variable; std::getline(in, variable, '\0'); isKnown = true) {
        if (variable.starts_with("DISPLAY=")) return true;
    }
    return !isKnown;
}

ProgramNow askProgram(bus::SessionBus& bus, const std::string& name) {
    const auto answer = replyOf(bus, name, bus::kProgramPath, bus::program::presentingState());
    ProgramNow now;
    now.answers = !answer.failure;
    now.playing = answer.value.playing.value_or(false);
    if (const auto& deck = answer.value.firstDocument) {
        now.hasDeck = true;
        now.deck = deck->file.value_or(std::filesystem::path()).native();
        now.slide = deck->currentSlideNumber;
    }
    return now;
}

BusFacts look(const std::string& pipe) {
    BusFacts facts;
    std::string problem;
    const auto bus = bus::SessionBus::open(problem);
    if (!bus) {
        facts.problem = translated("The session bus cannot be reached; run this inside a login session.");
        return facts;
    }
    bus->start([] {});
    try {
        const auto startable = namesBy(*bus, "ListActivatableNames");
        facts.serviceCanBeStarted = has(startable, bus::kServiceName);
        facts.bridgeCanBeStarted = has(startable, bus::bridgeName(pipe));
        askService(*bus, facts);
        if (facts.serviceAnswers) facts.serviceHasDisplay = hasDisplay(*bus);
        const auto names = namesBy(*bus, "ListNames");
        facts.bridgeRuns = has(names, bus::bridgeName(pipe));
        const auto prefix = std::string(kKeynoteBundleIdentifier) + bus::kInstanceInfix;
        const auto isProgram = [&prefix](const std::string& name) { return name.starts_with(prefix); };
        const auto program = std::ranges::find_if(names, isProgram);
        if (program != names.end()) facts.program = askProgram(*bus, *program);
    } catch (const bus::Failure& failure) {
        facts.problem = translated("The session bus does not answer. ({})", failure.what());
    }
    bus->stop();
    return facts;
}

}  // namespace

BusFacts askBus(const std::string& pipe) {
    const auto promise = std::make_shared<std::promise<BusFacts>>();
    auto facts = promise->get_future();
    std::thread([promise, pipe] {
        runtime::blockSignals();
        promise->set_value(look(pipe));
    }).detach();
    if (facts.wait_for(kLongestLook) == std::future_status::ready) return facts.get();
    BusFacts silent;
    silent.problem = translated("The session bus does not answer.");
    return silent;
}

}  // namespace keynote_capture
