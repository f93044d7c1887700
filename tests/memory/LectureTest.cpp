#include "simulation/Lecture.h"
#include "simulation/World.h"
#include "tests/memory/EveryPiece.h"

namespace {

using namespace simulation;

constexpr std::uint64_t kSeed = 18;
/// This lecture takes some thirty thousand pieces.
constexpr std::size_t kStep = 13;

/// Wherever in the service, its hosts or the platform memory runs out: the lecture ends there, no promise is broken by
/// then, and all that was held is given back.
TEST(Lecture, EndsWhereMemoryRunsOutAndNothingIsLeftOfIt) {
    struct Enough {
        ~Enough() { memory::failNoMore(); }
    };
    const auto events = makeLecture(kSeed);
    const auto story = [&events] {
        World world(nullptr);
        const Enough enough;  // to clear up
        try {
            return world.run(events);
        } catch (const std::bad_alloc&) {
            EXPECT_EQ(world.objection(), std::nullopt);
            throw;
        }
    };
    EXPECT_GT(withoutEveryPiece(story, kStep), 1000U);
}

}  // namespace
