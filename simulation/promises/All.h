#pragma once

#include "simulation/Promises.h"

#include <memory>
#include <vector>

namespace simulation {

class World;

// One function for each promise; what it promises stands with its class.
[[nodiscard]] std::unique_ptr<Promise> callsComeAsPromised(World& world, Story& story);
[[nodiscard]] std::unique_ptr<Promise> showsStartAsPromised(World& world, Story& story);
[[nodiscard]] std::unique_ptr<Promise> pollsKeepTheirSchedule(World& world, Story& story);
[[nodiscard]] std::unique_ptr<Promise> imagesAreAskedFor(World& world, Story& story);
[[nodiscard]] std::unique_ptr<Promise> filesAreSafe(World& world, Story& story);
[[nodiscard]] std::unique_ptr<Promise> timelineIsTrue(World& world, Story& story);
[[nodiscard]] std::unique_ptr<Promise> startsAreAnswered(World& world, Story& story);
[[nodiscard]] std::unique_ptr<Promise> errandsAreAnswered(World& world, Story& story);
[[nodiscard]] std::unique_ptr<Promise> windowsAreTold(World& world, Story& story);
[[nodiscard]] std::unique_ptr<Promise> nothingIsHeld(World& world, Story& story);

[[nodiscard]] std::vector<std::unique_ptr<Promise>> allPromises(World& world, Story& story);

}  // namespace simulation
