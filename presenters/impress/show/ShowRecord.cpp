#include "presenters/impress/show/ShowRecord.h"

#include <algorithm>
#include <utility>

namespace impress {

void ShowRecord::begins(std::string documentID, std::optional<Instant> notBefore) {
    documentID_ = std::move(documentID);
    coming_.reset();
    shown_.reset();
    lastNumber_ = 0;
    phase_ = notBefore ? Phase::starting : Phase::running;
    if (!notBefore) return times_.joined();
    notBefore_ = *notBefore;
}

void ShowRecord::isNotBefore(Instant notBefore) {
    if (phase_ == Phase::starting) notBefore_ = notBefore;
}

void ShowRecord::comes(std::int64_t slideNumber, std::int64_t position, Instant notBefore) {
    coming_.reset();
    if (slideNumber <= 0 || (phase_ != Phase::starting && phase_ != Phase::running)) return;
    coming_ = {slideNumber, position, {notBefore, {}}};
}

void ShowRecord::opensWith(std::int64_t slideNumber, std::int64_t position) {
    if (phase_ == Phase::starting) return comes(slideNumber, position, notBefore_);
    shown_ = {slideNumber, position, {}};
    lastNumber_ = slideNumber;
}

void ShowRecord::isShown(Instant by) {
    if (phase_ == Phase::starting) {
        phase_ = Phase::running;
        times_.started({notBefore_, by});
        if (coming_) coming_->began.earliest = std::max(coming_->began.earliest, std::optional(notBefore_));
    }
    if (!coming_) return;
    if (!isSame(*coming_)) times_.shown(coming_->slideNumber, coming_->position, {coming_->began.earliest, by});
    shown_ = std::exchange(coming_, std::nullopt);
    lastNumber_ = shown_->slideNumber;
}

void ShowRecord::ends(Instant notBefore) {
    coming_.reset();
    if (std::exchange(phase_, Phase::none) != Phase::running) return;
    phase_ = Phase::ending;
    notBefore_ = notBefore;
    times_.ended(documentID_, {notBefore, notBefore + kLongestDrawing});
}

void ShowRecord::hasEnded(Instant by) {
    if (phase_ != Phase::ending) return;
    phase_ = Phase::none;
    times_.ended(documentID_, {notBefore_, std::max(by, notBefore_ + uncovering_)});
}

PresentingState ShowRecord::told(PresentingState state, Instant now) const {
    state.times = times_.times();
    if (phase_ == Phase::ending) state.times.showEnded->latest = std::max(now, notBefore_) + kLongestDrawing;
    if (!state.playing.value_or(false) || !state.firstDocument) return state;
    const bool isWatched = phase_ != Phase::none && state.firstDocument->id == documentID_;
    if (isWatched && phase_ == Phase::starting) {
        state.playing = false;
    } else if (!isWatched || phase_ != Phase::running) {
        state.times = {};
    } else if (lastNumber_ > 0) {
        state.firstDocument->currentSlideNumber = lastNumber_;
    }
    return state;
}

/// Whether the screen shows this already: a jump to the slide that is there changes nothing.
bool ShowRecord::isSame(const ScriptingVisit& visit) const {
    return shown_ && shown_->slideNumber == visit.slideNumber && shown_->position == visit.position;
}

}  // namespace impress
