#include "simulation/World.h"
#include "simulation/promises/All.h"

#include <fmt/format.h>

namespace simulation {

namespace {

/// A host is told launches, ends, starts and stops of shows, and every slide that a poll sees, each once, in order, at
/// its moment, with the right identifiers; and nothing once it has left.
class CallsComeAsPromised final : public Promise {
public:
    CallsComeAsPromised(World& world, Story& story) : Promise(story), world_(world) {}

    void told(Host& host, const host::DelegateCall& call) override {
        if (host.hasLeft()) return object(fmt::format("{} has left and is told \"{}\"", host.name(), words(call)));
        // Those are answers, and promised elsewhere.
        if (std::holds_alternative<host::SavingEnded>(call) || std::holds_alternative<host::ExtractedSlideFiles>(call))
            return;
        if (const auto reason = host.watch.take(words(call))) return object(host.name() + " " + *reason);
        const auto* const slide = std::get_if<host::PresentedSlide>(&call);
        if (slide != nullptr && slide->at != world_.platform.dispatch.now()) {
            object(fmt::format("{} is told another time of slide {} than now", host.name(), slide->number));
        }
    }

    void passed(Instant now) override {
        for (const auto& host : world_.hosts()) {
            const auto* const late = host->watch.overdue(now);
            if (late == nullptr) continue;
            object(fmt::format("{} was to be told \"{}\" at {} and was not", host->name(), late->words,
                               seconds(late->latest.time_since_epoch())));
        }
    }

private:
    World& world_;
};

}  // namespace

std::unique_ptr<Promise> callsComeAsPromised(World& world, Story& story) {
    return std::make_unique<CallsComeAsPromised>(world, story);
}

}  // namespace simulation
