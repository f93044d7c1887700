#pragma once

#include "tools/keynote-capture/status/BusFacts.h"
#include "tools/keynote-capture/status/Check.h"
#include "tools/keynote-capture/status/MachineFacts.h"

namespace keynote_capture {

struct CheckedPlaces {
    std::filesystem::path directory;  ///< where captures go
    std::string pipe;                 ///< on which the office listens
};

/// What the facts mean for a recording, one line for each thing that it needs. Without a bus there is nothing to say of
/// what is reached over it.
[[nodiscard]] Checks checksOf(const BusFacts& bus, const MachineFacts& machine, const CheckedPlaces& places);

}  // namespace keynote_capture
