#include "KeynoteCaptureService/Timeline.h"

#include <algorithm>
#include <utility>

void Timeline::sent(Instant at) {
    sent_ = at;
}

Timeline::Entries Timeline::failed() {
    Entries entries;
    missed_ = false;
    tellUnseen(entries);
    return entries;
}

Timeline::Entries Timeline::answered(const Seen& seen, Instant at) {
    Entries entries;
    const bool isSlow = std::exchange(missed_, false) && seen.playing && seen.times.visits.empty();
    if (unseenIsTold_ && !isSlow) {
        entries.push_back({TimelineEvent::unseenTo, {sent_, at}, 0, {}});
        unseenIsTold_ = false;
    }
    const bool hasRestarted = this->hasRestarted(seen, at);
    if (show_ && (!seen.playing || hasRestarted)) {
        // The visits that a program tells are those of the show that runs, once it does.
        if (!seen.playing && seen.times.endedDocumentID == show_->documentID) tellVisits(seen, at, entries);
        endShow(hasRestarted ? TimeBounds{lastSent_, seen.times.showStarted->latest} : seen.times.showEnded, at,
                entries);
    }
    if (seen.playing && !show_) startShow(seen, at, entries);
    if (seen.playing) tellVisits(seen, at, entries);
    lastSent_ = sent_;
    lastAnswered_ = at;
    if (isSlow) tellUnseen(entries);
    return entries;
}

Timeline::Entries Timeline::programGone(Instant at) {
    sent(at);
    auto entries = answered({}, at);
    // Of the next program nothing has been seen yet: what it shows may have begun before this one was seen to go.
    *this = {};
    return entries;
}

Timeline::Entries Timeline::unwatched() {
    auto entries = failed();
    *this = {};
    return entries;
}

/// When a change happened that the answer shows for the first time.
TimeBounds Timeline::sinceLastSeen(Instant at) const {
    return {lastSent_, at};
}

/// What the program tells, unless the polls contradict it. It is not cut to the polls' bounds: a poll tells what the
/// program shows, and the screen may be a few milliseconds behind, or ahead of what the program is sure of.
TimeBounds Timeline::narrowed(const std::optional<TimeBounds>& told, Instant at) const {
    const auto polled = sinceLastSeen(at);
    return told && told->with(polled) ? *told : polled;
}

/// Whether the show that plays is another one than that of the last poll. Only the program can tell: another document
/// may have come to the front.
bool Timeline::hasRestarted(const Seen& seen, Instant at) const {
    if (!show_ || !seen.playing) return false;
    const auto& started = seen.times.showStarted;
    return started && started->earliest > show_->started.latest && started->with(sinceLastSeen(at));
}

void Timeline::startShow(const Seen& seen, Instant at, Entries& entries) {
    show_.emplace(Show{narrowed(seen.times.showStarted, at), seen.documentID, {}, 0});
    entries.push_back({TimelineEvent::showStarted, show_->started, 0, {}});
}

void Timeline::endShow(const std::optional<TimeBounds>& told, Instant at, Entries& entries) {
    auto ended = narrowed(told, at);
    // It ends after its last slide came.
    if (show_->lastVisit) {
        const auto& came = show_->lastVisit->began.earliest;
        if (came > ended.latest) ended = sinceLastSeen(at);
        ended.earliest = std::max(ended.earliest, came);
    }
    entries.push_back({TimelineEvent::showEnded, ended, 0, {}});
    show_.reset();
}

void Timeline::tellVisits(const Seen& seen, Instant at, Entries& entries) {
    const auto told = newVisits(seen, at);
    if (told) {
        const bool mayLack = seen.times.visits.size() >= kMostVisits && told->size() == seen.times.visits.size();
        if (mayLack && show_->lastVisit) {
            tellUnseen(entries);
            unseenIsTold_ = false;
            entries.push_back({TimelineEvent::unseenTo, told->front().began, 0, {}});
        }
        for (const auto& visit : *told) tellVisit({visit.slideNumber, visit.began, visit.position}, entries);
    }
    // What the program itself has not noticed yet, or does not tell.
    const bool isTold = told && !seen.times.visits.empty() && seen.times.visits.back().slideNumber == seen.slideNumber;
    if (seen.slideNumber > 0 && !isTold && seen.slideNumber != show_->seenSlide) {
        auto began = sinceLastSeen(at);
        if (show_->lastVisit) began.earliest = std::max(began.earliest, show_->lastVisit->began.earliest);
        tellVisit({seen.slideNumber, began, {}}, entries);
    }
    show_->seenSlide = seen.slideNumber;
}

std::optional<std::vector<ScriptingVisit>> Timeline::newVisits(const Seen& seen, Instant at) const {
    auto visits = seen.times.visits;
    if (visits.empty() || !areInOrder(visits)) return std::nullopt;
    if (show_->lastVisit) {
        const auto& last = *show_->lastVisit;
        const auto isSlide = [&last](const ScriptingVisit& visit) {
            return visit.slideNumber == last.slideNumber && visit.position == last.position.value_or(visit.position);
        };
        auto same = std::ranges::find_if(
            visits, [&](const ScriptingVisit& visit) { return isSlide(visit) && visit.began == last.began; });
        // One that a poll saw first, before the program told it.
        if (same == visits.end()) {
            same = std::ranges::find_if(
                visits, [&](const ScriptingVisit& visit) { return isSlide(visit) && visit.began.with(last.began); });
        }
        const auto isNew = [&last](const ScriptingVisit& visit) { return visit.began.latest >= last.began.latest; };
        visits.erase(visits.begin(), same != visits.end() ? same + 1 : std::ranges::find_if(visits, isNew));
    }
    const auto polled = sinceLastSeen(at);
    const auto fits = [&polled](const ScriptingVisit& visit) { return visit.began.with(polled).has_value(); };
    return std::ranges::all_of(visits, fits) ? std::optional(visits) : std::nullopt;
}

/// Whether each visit began neither before the one in front of it nor before the show.
bool Timeline::areInOrder(const std::vector<ScriptingVisit>& visits) const {
    auto earliest = show_->started.earliest;
    return std::all_of(visits.begin(), visits.end(), [&earliest](const ScriptingVisit& visit) {
        const bool isSound =
            visit.slideNumber > 0 && visit.began.earliest && *visit.began.earliest <= visit.began.latest;
        return isSound && visit.began.earliest >= std::exchange(earliest, visit.began.earliest);
    });
}

/// What came after the last poll that was answered may not have been seen.
void Timeline::tellUnseen(Entries& entries) {
    if (!show_ || !lastAnswered_ || std::exchange(unseenIsTold_, true)) return;
    entries.push_back({TimelineEvent::unseenFrom, {lastSent_, *lastAnswered_}, 0, {}});
}

void Timeline::tellVisit(const Visit& visit, Entries& entries) {
    entries.push_back({TimelineEvent::slideShown, visit.began, visit.slideNumber, visit.position});
    show_->lastVisit = visit;
}
