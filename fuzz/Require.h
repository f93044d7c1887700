#pragma once

#include <cstdlib>

/// Ends the process unless the condition holds, so that a fuzzer notices and keeps the input.
inline void require(bool condition) {
    if (!condition) std::abort();
}
