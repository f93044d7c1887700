#include "simulation/Lecture.h"
#include "simulation/World.h"
#include "tests/memory/EveryPiece.h"

namespace {

using namespace simulation;

struct Tried {
    std::uint64_t seed;
    std::size_t step;
};
/// A long lecture in which all sorts of things happen, and one that ends with a host's leaving.
constexpr Tried kLectures[] = {{18, 53}, {28, 13}};

/// Wherever in the service, its hosts or the platform memory runs out: the lecture ends there, no promise is broken by
/// then, and all that was held is given back.
TEST(Lecture, EndsWhereMemoryRunsOutAndNothingIsLeftOfIt) {
    struct Enough {
        ~Enough() { memory::failNoMore(); }
    };
    for (const auto& [seed, step] : kLectures) {
        SCOPED_TRACE(seed);
        const auto events = makeLecture(seed);
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
        EXPECT_GT(withoutEveryPiece(story, step), 500U);
    }
}

}  // namespace
