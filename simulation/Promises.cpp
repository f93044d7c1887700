#include "simulation/Promises.h"

#include "simulation/World.h"
#include "simulation/promises/All.h"

#include <fmt/format.h>

namespace simulation {

namespace {

struct Worded {
    std::string operator()(const host::ProgramLaunched&) const { return "launched"; }
    std::string operator()(const host::ProgramTerminated&) const { return "terminated"; }
    std::string operator()(const host::StartedPresenting&) const { return "started"; }
    std::string operator()(const host::PresentedSlide& call) const {
        return fmt::format("slide {} of {}, image {}", call.number, call.presentationID.value_or("nobody"),
                           call.imageFilePath.value_or("nowhere").native());
    }
    std::string operator()(const host::StoppedPresenting& call) const {
        return fmt::format("stopped {} {}", call.presentationID.value_or("nobody"), words(call.error));
    }
    std::string operator()(const host::ExtractedSlideFiles& call) const {
        return fmt::format("extracted {} {}", call.presentationPath, words(call.error));
    }
    std::string operator()(const host::SavingEnded& call) const { return fmt::format("saved {}", words(call.error)); }
};

std::string words(const TimelineReport& report) {
    const auto& [event, at, slide, position] = report.entry;
    const auto earliest = at.earliest ? seconds(at.earliest->time_since_epoch()) : "";
    return fmt::format("{} {} of {} at {}..{}", nameOf(event), slide, report.presentationID, earliest,
                       seconds(at.latest.time_since_epoch()));
}

}  // namespace

std::string words(const host::DelegateCall& call) {
    return std::visit(Worded(), call);
}

std::string words(const ErrorPtr& error) {
    return error ? fmt::format("{} {}", error->domain(), error->code()) : "ok";
}

void Story::object(const std::string& sentence) {
    if (objection_) return;
    objection_ = seconds(clock_.elapsed()) + " " + sentence;
    tell("!!! " + sentence);
}

void Story::tell(const std::string& line) const {
    if (reader_) reader_(seconds(clock_.elapsed()) + " " + line);
}

Promises::Promises(World& world, Story& story) : story_(story), all_(allPromises(world, story)) {}
Promises::~Promises() = default;

void Promises::told(Host& host, const host::DelegateCall& call) {
    if (story_.isRead()) story_.tell("  " + host.name() + " < " + words(call));
    tell(&Promise::told, host, call);
}

void Promises::reported(const Host& host, const TimelineReport& report) {
    if (story_.isRead()) story_.tell("  " + host.name() + " | " + words(report));
    tell(&Promise::reported, host, report);
}

void Promises::sent(const std::string& event) {
    if (story_.isRead() && event != "presentingState") story_.tell("  > " + event);
    tell(&Promise::sent, event);
}

}  // namespace simulation
