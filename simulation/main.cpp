#include "simulation/Lecture.h"
#include "simulation/Shrinking.h"
#include "simulation/World.h"

#include <fmt/format.h>
#include <malloc.h>
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>

namespace {

using namespace simulation;

constexpr std::uint64_t kWarmUp = 100;
constexpr std::size_t kMostGrowth = 65536;

std::optional<std::string> objectionTo(const Events& events, Story::Reader reader = nullptr) {
    return World(std::move(reader)).run(events);
}

void printLine(const std::string& line) {
    std::puts(line.c_str());
}

/// The shortest story that breaks a promise, and what happens in it.
void printStory(std::uint64_t seed, const std::string& sentence) {
    fmt::print("seed {}: {}\n", seed, sentence);
    const auto events = shrunk(makeLecture(seed), [](const Events& fewer) { return objectionTo(fewer).has_value(); });
    fmt::print("the shortest story of it has {} events:\n", events.size());
    static_cast<void>(objectionTo(events, printLine));
}

bool isKept(std::uint64_t seed) {
    const auto objection = objectionTo(makeLecture(seed));
    if (objection) printStory(seed, *objection);
    return !objection;
}

/// What is allocated now, in bytes.
std::size_t memoryInUse() {
    return mallinfo2().uordblks;
}

int simulateMany(std::uint64_t first, std::uint64_t lectures, double minutes) {
    const auto start = std::chrono::steady_clock::now();
    const auto elapsed = [start] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    std::uint64_t done = 0;
    std::size_t memory = 0;
    for (; minutes > 0 ? elapsed() < minutes * 60 : done < lectures; ++done) {
        if (!isKept(first + done)) return 1;
        // By then all that is made once has been made.
        if (done == kWarmUp) memory = memoryInUse();
    }
    if (done > kWarmUp && memoryInUse() > memory + kMostGrowth) {
        fmt::print("memory grows: {} bytes in use after {} lectures, {} after {}\n", memory, kWarmUp, memoryInUse(),
                   done);
        return 1;
    }
    fmt::print("{} lectures in {:.1f} s ({:.0f} a second), no promise broken\n", done, elapsed(),
               static_cast<double>(done) / elapsed());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{
        "Plays lectures on the simulated platform, each made from a number, and looks whether the service keeps "
        "what it promises. The first broken promise is told as a short story, and the status is 1."};
    std::uint64_t lectures = 1000;
    std::uint64_t first = 1;
    std::uint64_t seed = 0;
    double minutes = 0;
    bool isTraced = false;
    app.add_option("--lectures", lectures, "How many lectures")->capture_default_str();
    app.add_option("--first", first, "The number of the first one")->capture_default_str();
    app.add_option("--minutes", minutes, "Go on for so many minutes instead");
    auto* const one = app.add_option("--seed", seed, "Only this lecture");
    app.add_flag("--trace", isTraced, "Tell the whole lecture, whether or not a promise is broken")->needs(one);
    app.name("simulate");
    app.set_version_flag("--version", std::string("simulate ") + KCS_VERSION);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        constexpr int kWrongUsage = 2;
        return app.exit(error) == 0 ? 0 : kWrongUsage;
    }
    if (!one->count()) return simulateMany(first, lectures, minutes);
    if (!isTraced) return simulateMany(seed, 1, 0);
    const auto objection = objectionTo(makeLecture(seed), printLine);
    fmt::print("seed {}: {}\n", seed, objection.value_or("no promise broken"));
    return objection ? 1 : 0;
}
