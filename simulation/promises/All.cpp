#include "simulation/promises/All.h"

namespace simulation {

std::vector<std::unique_ptr<Promise>> allPromises(World& world, Story& story) {
    std::vector<std::unique_ptr<Promise>> all;
    for (const auto make :
         {callsComeAsPromised, showsStartAsPromised, pollsKeepTheirSchedule, imagesAreAskedFor, filesAreSafe,
          timelineIsTrue, startsAreAnswered, errandsAreAnswered, windowsAreTold, nothingIsHeld}) {
        all.push_back(make(world, story));
    }
    return all;
}

}  // namespace simulation
