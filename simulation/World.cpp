#include "simulation/World.h"

#include "MacShared/LogRun.h"

#include <fmt/format.h>
#include <algorithm>
#include <utility>

using namespace std::chrono_literals;

namespace simulation {

namespace {

constexpr int kPrograms = 3;

Instant instant(Duration sinceBeginning) {
    return Instant(sinceBeginning);
}

}  // namespace

World::World(Story::Reader reader) : story_(platform.dispatch, std::move(reader)), promises_(*this, story_) {
    shared::beginNewLogRun();
    for (int i = 0; i < kPrograms; ++i) programs_.push_back(std::make_unique<Program>(platform, i));
    prepare();
}

World::~World() {
    if (!hasEnded_) {
        // What was going on comes to its end, so that nothing is left of it.
        platform.serviceFiles.begin();
        for (const auto& program : programs_) quit(*program);
        dismissHosts();
        platform.dispatch.runFor(200s);
    }
    // The log may hold what this platform has made.
    shared::beginNewLogRun();
}

void World::prepare() {
    platform.unifiedLog.enabled = story_.isRead();
    platform.unifiedLog.observer = [this](const std::string& line) { story_.tell("    # " + line); };
    for (const char* version : {"14.0", "6.4"}) {
        platform.bundles.install(fmt::format("/Applications/{}.app", version),
                                 {{"CFBundleShortVersionString", version}});
    }
    static_cast<void>(platform.files.createDirectory("/captures"));
    static_cast<void>(platform.files.createDirectory("/locked"));
    static_cast<void>(platform.files.createDirectory(std::filesystem::path(kSandbox) / "temp"));
    static_cast<void>(platform.files.createFile("/captures/file", "x"));
    platform.files.readOnly = {"/locked"};
    platform.files.observer = [this](const auto& from, const auto& to) {
        images_.try_emplace(to.native(), now());
        promises_.fileMoved(from, to);
    };
    platform.scripting.eventObserver = [this](const std::string& event) {
        if (!platform.serviceFiles.hasEnded()) promises_.sent(event);
    };
    // The first of all observers: what hosts are promised is known before they are told.
    listObservation_ = platform.workspace.observeRunningApplications([this] { listChanges(); });
}

std::optional<std::string> World::run(const Events& events) {
    // Whoever acts waits for as long as nothing can run, too.
    Duration stalled{};
    for (const Event& event : events) {
        runUntil(instant(event.at + stalled));
        if (story_.objection()) return story_.objection();
        if (story_.isRead()) story_.tell(words(event));
        const Instant before = now();
        static_cast<void>(unlessServiceEnds([&] { return apply(event), true; }));
        if (now() > before) stalls_.emplace_back(before, now());
        stalled += now() - before;
        beginServiceAnew();
    }
    finish();
    return story_.objection();
}

void World::runUntil(Instant end) {
    while (!story_.objection()) {
        const auto next = platform.dispatch.nextDeadline();
        const Instant moment = next ? std::clamp(*next, now(), end) : end;
        passTo(moment);
        if (!unlessServiceEnds([&] { return platform.dispatch.runNext(end); })) break;
        if (now() > moment) stalls_.emplace_back(moment, now());
        beginServiceAnew();
    }
}

bool World::unlessServiceEnds(const std::function<bool()>& happen) {
    try {
        return happen();
    } catch (const ProcessEnded&) {
        return true;
    }
}

/// When the service has ended its hosts go on with a new one, on the same disk.
void World::beginServiceAnew() {
    if (!platform.serviceFiles.hasEnded()) return;
    ++kills_;
    if (story_.isRead()) story_.tell("the service is killed");
    std::vector<int> recording;
    for (const auto& [who, host] : recorders_) {
        if (host && host->watch.isMonitoring()) recording.push_back(who);
    }
    for (const auto& host : hosts_) {
        if (!host->hasLeft()) host->loseService();
    }
    recorders_.clear();
    for (auto& errand : errands_) errand.isCut = true;
    for (const auto& begun : starts_) begun->isCut = true;
    // What it still had to do at this moment comes to nothing at the first file.
    while (platform.dispatch.nextDeadline().value_or(Instant::max()) <= now()) {
        static_cast<void>(unlessServiceEnds([this] { return platform.dispatch.runNext(now()); }));
    }
    promises_.serviceEnded();
    platform.serviceFiles.begin();
    for (const int who : recording) start(who, Start::fine);
}

/// Everything before the moment is over, and the next thing happens at it.
void World::passTo(Instant moment) {
    for (const auto& host : hosts_) {
        if (!host->hasLeft()) host->watch.advance(moment, false);
    }
    promises_.passed(moment);
}

void World::finish() {
    runUntil(now() + 1ms);
    for (const auto& program : programs_) quit(*program);
    runUntil(now() + 100s);
    if (!story_.objection()) promises_.rested();
    dismissHosts();
    runUntil(now() + 100s);
    passTo(now() + 1s);
    if (!story_.objection()) promises_.ended();
    hasEnded_ = !story_.objection();
}

void World::dismissHosts() {
    for (const auto& host : hosts_) {
        if (!host->hasLeft()) host->leave();
    }
}

void World::quit(Program& program) {
    const ProcessPtr process = program.process();
    if (!process) return;
    program.quit();
    std::erase(running_, process);
    lists_.push_back(running_);
    platform.workspace.remove(process->application);
}

Instant World::whenDone(Instant due) const {
    for (const auto& [from, to] : stalls_) {
        if (due > from && due <= to) return to;
    }
    return due;
}

std::vector<ProcessPtr> World::listedProcesses() const {
    std::vector<ProcessPtr> supported;
    for (const auto& process : listed_) {
        if (process->isSupported) supported.push_back(process);
    }
    return supported;
}

/// Hosts hear of every list, each as it was when it changed.
void World::listChanges() {
    if (lists_.empty()) return;
    listed_ = std::move(lists_.front());
    lists_.pop_front();
    const auto listed = listedProcesses();
    for (const auto& host : hosts_) {
        host->watch.advance(now(), true);
        host->watch.listComes(listed);
    }
}

std::optional<Instant> World::imageCame(const std::filesystem::path& directory, const std::string& name) const {
    std::optional<Instant> first;
    const auto stem = name.substr(0, name.rfind('.'));
    for (const char* extension : {".jpg", ".jpeg"}) {
        const auto found = images_.find((directory / (stem + extension)).native());
        if (found != images_.end() && (!first || found->second < *first)) first = found->second;
    }
    return first;
}

}  // namespace simulation
