#pragma once

#include <stdexcept>

namespace impress {

/// Why a call is refused: a sentence for its caller.
struct Refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace impress
