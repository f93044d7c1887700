#include "simulation/Lecture.h"
#include "simulation/World.h"

#include <gtest/gtest.h>

namespace {

using namespace simulation;

TEST(Simulation, TheServiceMayBeKilledBeforeAndAfterEveryChangeOfFiles) {
    int kills = 0;
    for (std::uint64_t seed = 1; seed <= 12; ++seed) {
        auto events = makeLecture(seed);
        std::erase_if(events, [](const Event& event) { return event.kind == Kind::serviceEnds; });
        for (std::int64_t halves = 0;; ++halves) {
            auto story = events;
            story.insert(story.begin(), {{}, Kind::serviceEnds, 0, halves});
            World world(nullptr);
            ASSERT_EQ(world.run(story), std::nullopt) << "lecture " << seed << ", killed after " << halves << " halves";
            if (world.kills() == 0) break;
            ++kills;
        }
    }
    EXPECT_GT(kills, 200) << "little happens in them";
}

}  // namespace
