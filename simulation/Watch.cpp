#include "simulation/Watch.h"

#include "ports/CaptureNames.h"
#include "simulation/Promises.h"
#include "simulation/World.h"

#include <fmt/format.h>
#include <algorithm>
#include <utility>

using namespace std::chrono_literals;

namespace simulation {

namespace {

constexpr Duration kReplyTime = 500ms;
constexpr Duration kImageTick = 500ms;
constexpr Duration kImageTime = 90s;

}  // namespace

void Watch::start(const Path& captures, const std::string& recording) {
    if (isMonitoring_) stop();
    captures_ = captures;
    recording_ = recording;
    isMonitoring_ = true;
    listComes(world_.listedProcesses());
}

void Watch::failToStart(const std::optional<Path>& captures) {
    // A directory that was given is remembered, whether or not it could be made.
    if (captures) captures_ = captures;
}

void Watch::stop() {
    const Instant now = world_.now();
    isMonitoring_ = false;
    keepsWaits_ = false;
    waits_.clear();
    std::erase_if(promised_, [](const Promised& call) { return call.words.starts_with("stopped"); });
    promises_.unwatched(host_);
    stopFollowing(now);
    captures_.reset();
}

void Watch::leave() {
    promises_.unwatched(host_);
    isMonitoring_ = false;
    followed_.reset();
    nextTick_.reset();
    poll_.reset();
    slides_.clear();
    waits_.clear();
    promised_.clear();
}

void Watch::setInterval(Duration interval) {
    interval_ = interval;
    if (!followed_) return;
    nextTick_ = world_.now() + interval_;
    look(world_.now());
}

void Watch::listComes(const std::vector<ProcessPtr>& processes) {
    if (!isMonitoring_) return;
    const Instant now = world_.now();
    if (processes.empty() && followed_) {
        stopFollowing(now);
        promise("terminated", now);
    }
    if (processes.empty() || followed_) return;
    followed_ = processes.back();
    launchIsUntold_ = true;
    nextTick_ = now + interval_;
    look(now);
    if (!poll_) tellLaunch(now);
}

void Watch::identifierChanges(const Process& process) {
    if (followed_.get() != &process) return;
    isConnected_ = false;
    dropAnswer(world_.now());
}

void Watch::stopFollowing(Instant now) {
    tellLaunch(now);
    for (auto& call : promised_) {
        if (call.words == "launched") call.latest = now;
    }
    poll_.reset();
    followed_.reset();
    nextTick_.reset();
    evaluate({}, false, now);
    promises_.gone(host_);
}

/// Whoever is asked is not the program any more whose answer counts.
void Watch::dropAnswer(Instant now) {
    if (!std::exchange(poll_, std::nullopt)) return;
    // The launch is told with the next answer, or when it is clear that this one does not come.
    if (std::exchange(launchIsUntold_, false)) promised_.push_back({now, now + 6s, "launched"});
}

void Watch::tellLaunch(Instant now) {
    if (std::exchange(launchIsUntold_, false)) promise("launched", now);
}

void Watch::advance(Instant limit, bool isIncluded) {
    for (;;) {
        Instant due = Instant::max();
        std::function<void(Instant)> happen;
        const auto consider = [&](Instant at, auto what) {
            if (at >= due) return;
            due = at;
            happen = what;
        };
        if (poll_) consider(poll_->due, [this](Instant now) { answer(now); });
        if (nextTick_) consider(*nextTick_, [this](Instant now) { tick(now); });
        if (!slides_.empty()) consider(slides_.front().due, [this](Instant now) { tellSlide(now); });
        for (std::size_t i = 0; i < waits_.size(); ++i) {
            consider(waits_[i].next, [this, i](Instant now) { lookForImages(i, now); });
        }
        if (due == Instant::max()) return;
        const Instant now = world_.whenDone(due);
        if (now > limit || (now == limit && !isIncluded)) return;
        happen(now);
    }
}

void Watch::tick(Instant now) {
    const auto missed = (now - *nextTick_) / interval_;
    *nextTick_ += (missed + 1) * interval_;
    look(now);
}

void Watch::look(Instant now) {
    const Program& program = followed_->program;
    isConnected_ = program.isReached(*followed_);
    if (!isConnected_) return dropAnswer(now);
    if (poll_) return promises_.leftOut(host_);
    const auto needed = program.answerTime();
    const bool isLate = !needed || *needed > kReplyTime;
    const auto wait = isLate ? kReplyTime : *needed;
    poll_ = Poll{followed_, now, now + wait, program.screen(), isLate || program.refuses("presentingState")};
    promises_.polled(host_, *poll_);
}

void Watch::answer(Instant now) {
    Poll poll = *std::exchange(poll_, std::nullopt);
    poll.due = now;
    poll.fails = poll.fails || !poll.process->program.isReached(*poll.process);
    if (!poll.fails) evaluate(poll.screen, true, now);
    promises_.answered(host_, poll);
    tellLaunch(now);
}

void Watch::evaluate(const Screen& screen, bool isThere, Instant now) {
    const bool plays = screen.playing.value_or(screen.isFilled);
    const bool played = std::exchange(isPlaying_, plays);
    const auto slide = std::exchange(slide_, plays ? screen.slide : 0);
    lastSeen_ = screen;
    if (plays) documentID_ = screen.documentID;
    if (plays && !played) begin(now);
    if (!plays && played) end(isThere, now);
    if (plays && slide != slide_ && slide_ > 0) slideComes(now);
}

void Watch::begin(Instant now) {
    names_.clear();
    show_ = {};
    promise("started", now);
}

void Watch::showIsNamed(const std::string& id, bool isPrepared) {
    show_ = {id, *captures_ / id, isPrepared};
    for (auto& slide : slides_) {
        if (!slide.directory) slide.directory = show_.directory;
    }
}

void Watch::end(bool isThere, Instant now) {
    const auto id = show_.id.value_or("");
    // A show whose directories could not be made has no images.
    if (!show_.isPrepared) names_.clear();
    const Path from = Path(kSandbox) / recording_ / id / "slide";
    if (isThere && documentID_) promises_.exportIsDue(host_, fmt::format("export {} {}", *documentID_, from.native()));
    if (keepsWaits_) waits_.push_back({show_.id, std::exchange(names_, {}), from, now, now + kImageTick});
    show_ = {};
    documentID_.reset();
}

void Watch::slideComes(Instant now) {
    names_.insert(capture::imageFileName(slide_));
    // A shorter interval brings the slide before those that were seen earlier.
    const Slide slide{now + interval_ / 2, slide_, show_.directory};
    slides_.insert(std::ranges::upper_bound(slides_, slide.due, {}, &Slide::due), slide);
}

void Watch::tellSlide(Instant now) {
    const Slide slide = slides_.front();
    slides_.pop_front();
    const auto image = slide.directory ? (*slide.directory / capture::imageFileName(slide.number)).native() : "nowhere";
    promise(fmt::format("slide {} of {}, image {}", slide.number, show_.id.value_or("nobody"), image), now);
}

void Watch::lookForImages(std::size_t index, Instant now) {
    Wait& wait = waits_[index];
    const bool isTimeUp = now - wait.start > kImageTime;
    const auto came = [&](const auto& name) { return world_.imageCame(wait.from, name); };
    // When time is up nobody looks any more.
    const bool isComplete =
        isTimeUp ? wait.names.empty()
                 : std::ranges::all_of(wait.names, [&](const auto& name) { return came(name).has_value(); });
    const bool justCame = std::ranges::any_of(wait.names, [&](const auto& name) { return came(name) == now; });
    const auto missed = (now - wait.next) / kImageTick;
    wait.next += (missed + 1) * kImageTick;
    if (!isComplete && !isTimeUp) return;
    const auto latest = world_.hasOtherFileSystems() ? wait.start + kImageTime + 2 * kImageTick
                        : justCame                   ? wait.next
                                                     : now;
    const auto outcome = isComplete ? "ok" : "KeynoteCaptureServiceErrorDomain 5";
    promised_.push_back({now, latest, fmt::format("stopped {} {}", wait.id.value_or("nobody"), outcome)});
    waits_.erase(waits_.begin() + static_cast<std::ptrdiff_t>(index));
}

std::optional<std::string> Watch::take(const std::string& words) {
    const Instant now = world_.now();
    advance(now, true);
    // Images are looked for by a timer of their own: at the same moment it may come first.
    const bool isFree = words.starts_with("stopped");
    for (auto call = promised_.begin(); call != promised_.end(); ++call) {
        if (call->words == words && call->earliest <= now && now <= world_.whenDone(call->latest)) {
            promised_.erase(call);
            return std::nullopt;
        }
        const bool mayWait = isFree || call->isLoose() || call->words.starts_with("stopped");
        if (!mayWait) return fmt::format("is told \"{}\" where \"{}\" was promised", words, call->words);
    }
    return fmt::format("is told \"{}\", which was not promised now", words);
}

const Watch::Promised* Watch::overdue(Instant now) const {
    const auto found =
        std::ranges::find_if(promised_, [&](const Promised& call) { return world_.whenDone(call.latest) < now; });
    return found == promised_.end() ? nullptr : &*found;
}

}  // namespace simulation
