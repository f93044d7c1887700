#include "runtime/OutOfMemory.h"

#include <gtest/gtest.h>
#include <new>

namespace {

TEST(OutOfMemory, EndsTheProcessWithASentence) {
    const auto run = [] {
        runtime::endProcessWhenMemoryRunsOut();
        std::get_new_handler()();
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(1), "^Memory has run out; the process ends\\.\n$");
}

}  // namespace
