#pragma once

#include "simulation/Event.h"

namespace simulation {

/// The lecture of a seed: the same on every machine and in every version of the library. No two of its events, nor
/// anything that follows from them by whole microseconds, happen at the same moment.
[[nodiscard]] Events makeLecture(std::uint64_t seed);

}  // namespace simulation
