#pragma once

#include <cstdlib>
#include <iostream>

/// Ends the process: what was to be measured did not happen. (A repetition that is skipped with an error among others
/// that are not brings Google Benchmark 1.7 down.)
[[noreturn]] inline void fail(const char* what) {
    std::cerr << what << std::endl;
    std::_Exit(EXIT_FAILURE);
}
