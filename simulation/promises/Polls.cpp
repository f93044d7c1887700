#include "simulation/World.h"
#include "simulation/promises/All.h"

#include <fmt/format.h>
#include <deque>

namespace simulation {

namespace {

/// Programs are asked once when they are found or the interval changes, then at every interval from there, never twice
/// at a time, and not at all when nobody watches.
class PollsKeepTheirSchedule final : public Promise {
public:
    PollsKeepTheirSchedule(World& world, Story& story) : Promise(story), world_(world) {}

    void sent(const std::string& event) override {
        if (event == "presentingState") sent_.push_back(world_.now());
    }
    void polled(const Host& /*host*/, const Poll& poll) override { promised_.push_back(poll.sent); }

    void serviceEnded() override {
        for (auto* const times : {&sent_, &promised_}) std::erase(*times, world_.now());
    }

    void passed(Instant now) override {
        const auto isOver = [now](const auto& times) { return !times.empty() && times.front() < now; };
        while (isOver(sent_) || isOver(promised_)) {
            if (sent_.empty() || (isOver(promised_) && promised_.front() < sent_.front())) {
                return object("no poll came at " + text(promised_.front()));
            }
            if (promised_.empty() || sent_.front() < promised_.front()) {
                return object("a poll came at " + text(sent_.front()) + ", when none was due");
            }
            sent_.pop_front();
            promised_.pop_front();
        }
    }

private:
    static std::string text(Instant time) { return seconds(time.time_since_epoch()); }

    World& world_;
    std::deque<Instant> sent_;
    std::deque<Instant> promised_;
};

/// When a show has ended, the images of the document that was polled last are asked for, into the working directory of
/// this presentation, as they are to be; and of no other.
class ImagesAreAskedFor final : public Promise {
public:
    ImagesAreAskedFor(World& world, Story& story) : Promise(story), world_(world) {}

    void exportIsDue(const Host& /*host*/, const std::string& event) override {
        latest_ = world_.now();
        due_.push_back(event +
                       " Kimg allStages=false borders=false compressionFactor=0.8 date=false imageFormat=Kifj "
                       "slideNumbers=false");
    }
    void sent(const std::string& event) override {
        // Those of extractions have no recording in their path.
        if (!event.starts_with("export ") || event.find("/R") == std::string::npos) return;
        latest_ = world_.now();
        sent_.push_back(event);
    }
    void serviceEnded() override {
        sent_.clear();
        due_.clear();
    }
    void passed(Instant now) override {
        if (now <= latest_ || (due_.empty() && sent_.empty())) return;
        for (const auto& event : sent_) {
            if (std::erase(due_, event) == 0) object("nobody wanted \"" + event + "\"");
        }
        if (!due_.empty()) object("nobody asked for \"" + due_.front() + "\"");
        sent_.clear();
        due_.clear();
    }

private:
    World& world_;
    Instant latest_{};
    std::vector<std::string> due_;
    std::vector<std::string> sent_;
};

}  // namespace

std::unique_ptr<Promise> pollsKeepTheirSchedule(World& world, Story& story) {
    return std::make_unique<PollsKeepTheirSchedule>(world, story);
}

std::unique_ptr<Promise> imagesAreAskedFor(World& world, Story& story) {
    return std::make_unique<ImagesAreAskedFor>(world, story);
}

}  // namespace simulation
