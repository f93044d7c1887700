#include "simulation/World.h"

#include <fmt/format.h>

namespace simulation {

namespace {

std::string capturesOf(int who) {
    return fmt::format("/captures/{}", who);
}

}  // namespace

void World::apply(const Event& event) {
    if (event.kind <= Kind::hostWaitsForSaving) return applyToHost(event);
    if (event.kind <= Kind::faultsEnd) return applyToProgram(event);
    applyToWorld(event);
}

void World::applyToHost(const Event& event) {
    HostPtr& host = recorder(event.who);
    switch (event.kind) {
        case Kind::hostStarts:
            return start(event.who, static_cast<Start>(event.value));
        case Kind::hostStops:
            return stop(event.who);
        case Kind::hostLeaves:
            return leave(host);
        case Kind::hostExtracts:
            return extract(event.value);
        case Kind::hostWaitsForSaving:
            return waitForSaving();
        default:
            break;
    }
    if (!host) return;
    if (event.kind == Kind::hostAsksForWindows) return askForWindows(host, event.value != 0);
    if (event.kind == Kind::hostEndsShow) return host->exportedObject()->stopPresenting();
    host->watch.setInterval(std::chrono::microseconds(event.value));
    host->exportedObject()->setKeynotePollingInterval(static_cast<double>(event.value) / 1'000'000);
}

HostPtr World::connect() {
    auto host = std::make_shared<Host>(*this, promises_, static_cast<int>(hosts_.size()) + 1);
    static_cast<void>(delegate_.listenerShouldAcceptNewConnection(host));
    return hosts_.emplace_back(std::move(host));
}

void World::start(int who, Start how) {
    HostPtr& host = recorder(who);
    if (!host) host = connect();
    std::optional<std::filesystem::path> captures(capturesOf(who));
    if (how == Start::withoutDirectory) captures.reset();
    if (how == Start::intoAFile) captures = "/captures/file";
    if (how == Start::intoALockedFolder) captures = "/locked/captures";
    const auto recording = how == Start::withoutRecording ? std::nullopt : std::optional(host->name());
    const auto working = std::filesystem::path(kSandbox) / host->name();
    const bool isLocked =
        platform.files.readOnly.contains(kSandbox) && platform.files.kindOf(working) == FileKind::none;
    if (how == Start::fine && isLocked) how = Start::intoALockedFolder;
    if (how == Start::fine) {
        host->watch.start(*captures, host->name());
    } else if (recording) {
        host->watch.failToStart(captures);
    }
    starts_.push_back(std::make_unique<Begun>(Begun{host, now(), how}));
    host->exportedObject()->startDetectionAndCaptureTo(
        captures, recording,
        [begun = starts_.back().get()](const ErrorPtr& error) { begun->replies.push_back(error); });
}

void World::stop(int who) {
    HostPtr& host = recorder(who);
    if (!host) return;
    ++stops_;
    host->watch.stop();
    host->exportedObject()->stopDetectionAndCapture();
}

void World::leave(HostPtr& host) {
    if (!host) return;
    host->leave();
    host.reset();
}

void World::extract(std::int64_t images) {
    const auto folder = fmt::format("/decks/{}", errands_.size());
    static_cast<void>(platform.files.createDirectory(folder));
    std::vector<std::string> names;
    for (std::int64_t slide = 1; slide <= images; ++slide) names.push_back(fmt::format("slide.{:03}.jpg", slide));
    errands_.push_back({connect(), now(), folder + "/deck.key", names});
    const auto host = errands_.back().host;
    host->exportedObject()->extractSlideFiles(names, folder + "/deck.key");
    errands_.back().begun = now();
}

void World::waitForSaving() {
    errands_.push_back({connect(), now(), "", {}});
    Errand& errand = errands_.back();
    for (const auto& program : programs_) {
        if (!program->process()) continue;
        errand.launches = errand.asked ? 0 : launches();
        errand.asked = program->process();
        errand.saves = program->savesEnded() + static_cast<int>(program->model.pendingJobs(ProgramJob::Kind::save));
    }
    const auto host = errands_.back().host;
    host->exportedObject()->waitForSavingToCompleteAsync();
}

void World::askForWindows(const HostPtr& host, bool areScriptable) {
    windowQueries_.push_back(std::make_unique<WindowQuery>(
        WindowQuery{host, areScriptable, host->watch.followed(), host->watch.isConnected()}));
    const auto take = [query = windowQueries_.back().get()](const auto& text) { query->replies.push_back(text); };
    areScriptable ? host->exportedObject()->descriptionOfScriptableWindowsWithReply(take)
                  : host->exportedObject()->descriptionOfKeynoteWindowsWithReply(take);
    promises_.askedForWindows(*windowQueries_.back());
}

void World::applyToProgram(const Event& event) {
    Program& program = *programs_.at(static_cast<std::size_t>(event.who));
    auto& model = program.model;
    const ProcessPtr process = program.process();
    if (event.kind == Kind::programLaunches) return launch(event.who, event.value);
    if (!process) return;
    switch (event.kind) {
        case Kind::programQuits:
            quit(program);
            break;
        case Kind::programChangesIdentifier:
            for (const auto& host : hosts_) host->watch.identifierChanges(*process);
            program.changeIdentifier();
            break;
        case Kind::deckOpens:
            program.open(event.value);
            break;
        case Kind::deckComesToFront:
            program.bringToFront(event.value);
            break;
        case Kind::deckIsEdited:
            program.editFrontDeck(event.value);
            break;
        case Kind::deckCloses:
            program.closeFrontDeck();
            break;
        case Kind::showStarts:
            program.startShow(event.value);
            break;
        case Kind::slideComes:
            static_cast<void>(model.goToSlide(event.value));
            break;
        case Kind::showStops:
            static_cast<void>(model.stopShow());
            break;
        case Kind::programClockIsWrong:
            program.setClockWrong(std::chrono::microseconds(event.value));
            break;
        case Kind::faultBegins:
            program.beginFault(faults().at(static_cast<std::size_t>(event.value)));
            break;
        default:
            program.endFaults();
            break;
    }
}

void World::launch(int who, std::int64_t variant) {
    Program& program = *programs_.at(static_cast<std::size_t>(who));
    if (program.process()) return;
    program.launch(variant);
    ++launches_;
    running_.push_back(program.process());
    lists_.push_back(running_);
    platform.workspace.add(program.process()->application);
}

void World::applyToWorld(const Event& event) {
    const auto span = std::chrono::microseconds(event.value);
    switch (event.kind) {
        case Kind::everythingStalls:
            return platform.dispatch.stall(span);
        case Kind::clockIsSet:
            return platform.dispatch.setClock(span);
        case Kind::listsComeLate:
            platform.workspace.tellsAfter = span;
            return;
        case Kind::serviceEnds:
            return platform.serviceFiles.endAfter(static_cast<std::size_t>(event.value));
        case Kind::diskFails:
            return fail(event.who, static_cast<Disk>(event.value));
        default:
            platform.files.readOnly = {"/locked"};
    }
}

void World::fail(int who, Disk how) {
    switch (how) {
        case Disk::locksCaptures:
            platform.files.readOnly.insert(capturesOf(who));
            break;
        case Disk::locksNextPresentation: {
            // Identifiers count: one is taken to know the next.
            const auto taken = std::stoi(platform.text.makeUUID().substr(24), nullptr, 16);
            platform.files.readOnly.insert(capturesOf(who) + "/" + SimulatedText::uuid(taken + 1));
            break;
        }
        case Disk::isAnotherFileSystem:
            platform.files.mounts.insert(capturesOf(who));
            break;
        case Disk::locksSandbox:
            platform.files.readOnly.insert(std::string(kSandbox));
            break;
    }
    locked_.insert(platform.files.readOnly.begin(), platform.files.readOnly.end());
}

}  // namespace simulation
