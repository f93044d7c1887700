#include "presenters/simulator/Simulator.h"

#include <fmt/format.h>
#include <utility>

namespace {

ErrorPtr failed(const std::string& sentence) {
    return makeError(NSOSStatusErrorDomain, kAppleEventFailed, sentence);
}

std::string eventOf(const ProgramJob& job) {
    const std::string problem = job.error ? fmt::format(" ({})", job.error->localizedDescription()) : std::string();
    if (job.kind == ProgramJob::Kind::save) return fmt::format("event saved {}{}", job.target.string(), problem);
    return fmt::format("event exported {} images to {}{}", job.imagesWritten, job.target.string(), problem);
}

}  // namespace

Simulator::Simulator(DispatchQueue& queue, PresentationProgramModel& model, Process process,
                     std::function<void()> changed)
    : queue_(queue), model_(model), process_(std::move(process)) {
    model_.setObserver({.changed = std::move(changed),
                        .imageWritten = [this](const ProgramJob& job) { imageWritten(job); },
                        .jobEnded = [this](const ProgramJob& job) { jobEnded(job); }});
    model_.setReader([this](const auto& path, ErrorPtr& error) { return decks_.read(path, error); });
}

void Simulator::add(Entry entry) {
    entries_.push_back(std::move(entry));
    if (entries_.size() == 1) queue_.async([this] { playFront(); });
}

void Simulator::end() {
    ended_ = true;
    if (!entries_.empty()) return;
    model_.quit();
    process_.finished({});
}

void Simulator::playFront() {
    const Outcome outcome = std::visit([this](const auto& command) { return play(command); }, entries_.front().command);
    if (outcome.error) {
        process_.finished(fmt::format("{}: {}", entries_.front().place, outcome.error->localizedDescription()));
    } else if (outcome.isDone) {
        process_.say("ok " + entries_.front().text);
        finishFront();
    }
}

void Simulator::finishFront() {
    entries_.pop_front();
    if (!entries_.empty()) {
        queue_.async([this] { playFront(); });
    } else if (ended_) {
        end();
    }
}

void Simulator::finishWaiting(const std::string& acknowledgement) {
    waitsFor_.reset();
    ++waits_;
    process_.say(fmt::format("{} {}", acknowledgement, entries_.front().text));
    finishFront();
}

void Simulator::jobEnded(const ProgramJob& job) {
    ++jobsEnded_[job.kind];
    process_.say(eventOf(job));
    if (waitsFor_ == job.kind && model_.pendingJobs(job.kind) == 0) finishWaiting("ok");
}

void Simulator::imageWritten(const ProgramJob& job) {
    const auto& last = model_.faults().diesInExport;
    if (last && job.imagesWritten >= *last) process_.die();
}

Simulator::Outcome Simulator::withDocument(const std::string& name,
                                           const std::function<ErrorPtr(const std::string& id)>& call) const {
    const ProgramDocument* const document = model_.documentNamed(name);
    if (!document) return {failed(fmt::format("No document named \"{}\" is open.", name))};
    return {call(std::string(document->id))};
}

Simulator::Outcome Simulator::play(const script::Wait& command) {
    queue_.after(command.duration, [this] { finishWaiting("ok"); });
    return {.error = nullptr, .isDone = false};
}

Simulator::Outcome Simulator::play(const script::Launch& /*command*/) {
    return {model_.launch()};
}

Simulator::Outcome Simulator::play(const script::Deck& command) {
    return {decks_.add(command.document)};
}

Simulator::Outcome Simulator::play(const script::AddText& command) {
    return {decks_.addText(command.deck, command.slide)};
}

Simulator::Outcome Simulator::play(const script::Open& command) {
    const ProgramDocument* const deck = command.isNameOnly ? decks_.named(command.document.name) : nullptr;
    return {model_.openDocument(deck ? *deck : command.document)};
}

Simulator::Outcome Simulator::play(const script::Activate& command) {
    return withDocument(command.name, [this](const std::string& id) { return model_.activateDocument(id); });
}

Simulator::Outcome Simulator::play(const script::Close& command) {
    return withDocument(command.name, [this](const std::string& id) { return model_.closeDocument(id); });
}

Simulator::Outcome Simulator::play(const script::Start& command) {
    if (model_.documents().empty()) return {failed("No document is open.")};
    jobsEnded_.clear();
    return withDocument(command.name.value_or(model_.documents().front().name),
                        [&](const std::string& id) { return model_.startShow(id, command.slide); });
}

Simulator::Outcome Simulator::play(const script::Slide& command) {
    return {model_.goToSlide(command.number)};
}

Simulator::Outcome Simulator::play(const script::Next& /*command*/) {
    return {model_.nextSlide()};
}

Simulator::Outcome Simulator::play(const script::Stop& /*command*/) {
    return {model_.stopShow()};
}

Simulator::Outcome Simulator::play(const script::Quit& /*command*/) {
    if (!model_.isRunning()) return {failed("The program is not running.")};
    model_.quit();
    return {};
}

Simulator::Outcome Simulator::play(const script::Die& /*command*/) {
    process_.die();
    return {};
}

Simulator::Outcome Simulator::play(const script::Pid& command) {
    process_.announcePid(command.number);
    return {};
}

Simulator::Outcome Simulator::play(const script::SwitchFaultOn& command) {
    const auto error = model_.faults().switchOn(command.name, command.value);
    return {error ? failed(*error) : nullptr};
}

Simulator::Outcome Simulator::play(const script::SwitchFaultOff& command) {
    const auto error = model_.faults().switchOff(command.name);
    return {error ? failed(*error) : nullptr};
}

Simulator::Outcome Simulator::play(const script::WaitFor& command) {
    if (jobsEnded_[command.kind] > 0 && model_.pendingJobs(command.kind) == 0) return {};
    waitsFor_ = command.kind;
    queue_.after(command.limit, [this, wait = waits_] {
        if (wait == waits_) finishWaiting("timeout");
    });
    return {.error = nullptr, .isDone = false};
}

Simulator::Outcome Simulator::play(const script::Print& command) {
    process_.say(command.text);
    return {};
}
