#pragma once

#include "tests/support/Memory.h"

#include <gtest/gtest.h>
#include <cstddef>
#include <new>
#include <string>

/// Runs the work again and again, and each time it does not get one piece of memory, the n-th from 1 on in steps, until
/// it gets all that it asks for. Unless it ends for want of memory it must come to what it comes to with all of it, and
/// what it held must be free by then. Answers how often a piece was missing.
template <typename Work>
std::size_t withoutEveryPiece(const Work& work, std::size_t step = 1) {
    const auto expected = work();  // what is made once is made now
    for (std::size_t number = 1; !testing::Test::HasFailure(); number += step) {
        const auto before = memory::inUse();
        memory::failAt(number);
        try {
            const auto result = work();
            memory::failNoMore();
            EXPECT_EQ(result, expected) << "without piece " << number;
            if (!memory::hasFailed()) return number / step;
        } catch (const std::bad_alloc&) {
            memory::failNoMore();
        }
        EXPECT_EQ(memory::inUse(), before) << "is held after piece " << number << " was missing";
    }
    return 0;
}
