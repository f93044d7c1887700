#pragma once

#include "simulation/Event.h"

#include <functional>

namespace simulation {

/// The shortest list of events that still fails, as far as leaving out events one after the other finds it: ever
/// smaller pieces are left out for as long as the rest fails.
[[nodiscard]] Events shrunk(Events events, const std::function<bool(const Events&)>& fails);

}  // namespace simulation
