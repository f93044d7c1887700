#include "simulation/Lecture.h"
#include "simulation/Shrinking.h"
#include "simulation/World.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <string>

namespace {

using namespace simulation;

std::string wordsOf(const Events& events) {
    std::string all;
    for (const Event& event : events) all += words(event) + "\n";
    return all;
}

TEST(Simulation, ALectureIsTheSameEveryTime) {
    std::string stories[2];
    for (auto& story : stories) {
        World world([&story](const std::string& line) { story += line + "\n"; });
        EXPECT_EQ(world.run(makeLecture(7)), std::nullopt);
    }
    EXPECT_EQ(stories[0], stories[1]);
    EXPECT_NE(stories[0].find("slideShown"), std::string::npos) << "nothing happens in it";
    EXPECT_NE(wordsOf(makeLecture(7)), wordsOf(makeLecture(8)));
}

TEST(Simulation, OnlyWhatAStoryNeedsIsLeftOfIt) {
    const auto needs = [](const Events& events) {
        const auto has = [&events](Kind kind) { return std::ranges::count(events, kind, &Event::kind); };
        return has(Kind::showStarts) >= 2 && has(Kind::programQuits) >= 1;
    };
    std::uint64_t seed = 1;
    while (!needs(makeLecture(seed)) || makeLecture(seed).size() < 30) ++seed;
    EXPECT_EQ(shrunk(makeLecture(seed), needs).size(), 3U);
}

}  // namespace
