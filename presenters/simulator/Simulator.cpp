#include "presenters/simulator/Simulator.h"

#include <fmt/format.h>
#include <utility>

namespace simulator {

using presenters::failed;

namespace {

std::string eventOf(const presenters::ProgramJob& job) {
    const std::string problem = job.error ? fmt::format(" ({})", job.error->localizedDescription()) : std::string();
    if (job.kind == presenters::ProgramJob::Kind::save)
        return fmt::format("event saved {}{}", job.target.string(), problem);
    return fmt::format("event exported {} images to {}{}", job.imagesWritten, job.target.string(), problem);
}

}  // namespace

Simulator::Simulator(DispatchQueue& queue, presenters::PresentationProgramModel& model, Process process,
                     std::function<void()> changed)
    : queue_(queue), model_(model), process_(std::move(process)) {
    model_.setObserver({.changed = std::move(changed),
                        .imageWritten = [this](const presenters::ProgramJob& job) { imageWritten(job); },
                        .jobEnded = [this](const presenters::ProgramJob& job) { jobEnded(job); }});
    model_.setReader([this](const auto& path, ErrorPtr& error) { return decks_.read(path, error); });
}

void Simulator::add(Entry entry) {
    entries_.push_back(std::move(entry));
    // Behind whatever else waits, so that calls from the bus are answered between two commands.
    if (entries_.size() == 1) queue_.async([this] { playFront(); });
}

void Simulator::end() {
    ended_ = true;
    if (!entries_.empty()) return;
    model_.quit();
    process_.finished({});
}

void Simulator::playFront() {
    const auto outcome = entries_.front().command(*this);
    if (!outcome) return;
    if (const ErrorPtr& error = *outcome) {
        process_.finished(fmt::format("{}: {}", entries_.front().place, error->localizedDescription()));
    } else {
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
    // The limit of this wait is still on its way; it must not end a later one.
    ++waits_;
    process_.say(fmt::format("{} {}", acknowledgement, entries_.front().text));
    finishFront();
}

void Simulator::jobEnded(const presenters::ProgramJob& job) {
    ++jobsEnded_[job.kind];
    process_.say(eventOf(job));
    if (waitsFor_ == job.kind && model_.pendingJobs(job.kind) == 0) finishWaiting("ok");
}

void Simulator::imageWritten(const presenters::ProgramJob& job) {
    const auto& last = model_.faults().diesInExport;
    if (last && job.imagesWritten >= *last) process_.die();
}

ErrorPtr Simulator::withDocument(const std::string& name,
                                 const std::function<ErrorPtr(const std::string& id)>& call) const {
    const presenters::ProgramDocument* const document = model_.documentNamed(name);
    if (!document) return failed(fmt::format("No document named \"{}\" is open.", name));
    // A copy, because the call may close the document that holds it.
    return call(std::string(document->id));
}

ErrorPtr Simulator::startShow(const std::optional<std::string>& name, std::optional<std::int64_t> slide) {
    if (model_.documents().empty()) return failed("No document is open.");
    // A script waits for the output of its latest show; that of an earlier one must not count.
    jobsEnded_.clear();
    return withDocument(name.value_or(model_.documents().front().name),
                        [&](const std::string& id) { return model_.startShow(id, slide); });
}

ErrorPtr Simulator::quit() {
    if (!model_.isRunning()) return failed("The program is not running.");
    model_.quit();
    return nullptr;
}

Outcome Simulator::wait(Duration duration) {
    queue_.after(duration, [this] { finishWaiting("ok"); });
    return std::nullopt;
}

Outcome Simulator::waitFor(presenters::ProgramJob::Kind kind, Duration limit) {
    if (jobsEnded_[kind] > 0 && model_.pendingJobs(kind) == 0) return nullptr;
    waitsFor_ = kind;
    queue_.after(limit, [this, wait = waits_] {
        if (wait == waits_) finishWaiting("timeout");
    });
    return std::nullopt;
}

}  // namespace simulator
