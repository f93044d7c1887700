#include "simulation/Shrinking.h"

#include <algorithm>

namespace simulation {

Events shrunk(Events events, const std::function<bool(const Events&)>& fails) {
    for (std::size_t size = events.size() / 2; size > 0;) {
        bool isShorter = false;
        for (std::size_t at = 0; at < events.size();) {
            Events rest = events;
            const auto first = rest.begin() + static_cast<std::ptrdiff_t>(at);
            rest.erase(first, first + static_cast<std::ptrdiff_t>(std::min(size, events.size() - at)));
            if (fails(rest)) {
                events = std::move(rest);
                isShorter = true;
            } else {
                at += size;
            }
        }
        if (!isShorter || size > 1) size = size > 1 ? size / 2 : isShorter ? 1 : 0;
    }
    return events;
}

}  // namespace simulation
