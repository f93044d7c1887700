#pragma once

#include "ports/Scripting.h"
#include "presenters/model/ShowTimes.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace impress {

/// How long the office needs at most, once it answers, to draw a slide or to take a window off the screen.
inline constexpr auto kLongestDrawing = std::chrono::milliseconds(500);
/// How long after an end it is all drawn that a show has hidden. LibreOffice 25.2 needs 29 ms at the most (measured by
/// the benchmark `truth`).
inline constexpr auto kUncovering = std::chrono::milliseconds(36);

/// What the shows of an office have done, and between which moments: only what its signs prove. A slide that comes is
/// no visit until it is known to be on the screen, and none at all when the next one comes before that. Pure; one
/// thread at a time.
class ShowRecord {
public:
    /// A show of this document, of which nothing was on the screen before `notBefore`. Without that the show runs
    /// already, and only what comes from now on is told.
    void begins(std::string documentID, std::optional<Instant> notBefore);
    /// Nothing of the show that begins was on the screen before `notBefore`.
    void isNotBefore(Instant notBefore);
    /// A slide that was not on the screen before `notBefore`; its position counts from 1, 0 outside of the show. A
    /// slide without a number is unknown, and is not told.
    void comes(std::int64_t slideNumber, std::int64_t position, Instant notBefore);
    /// The slide with which a show begins, or which a show that runs already has been showing.
    void opensWith(std::int64_t slideNumber, std::int64_t position);
    /// What came last is on the screen, or will be by then.
    void isShown(Instant by);
    /// The slide makes room for the end screen or a blank one: when it comes again, that is another visit.
    void pauses() { shown_.reset(); }
    /// The show was on the screen until `notBefore`.
    void ends(Instant notBefore);
    /// If it has ended, its window has gone, and it is off the screen, or will be after `kUncovering`.
    void hasEnded(Instant by);
    /// From now on a show whose window has gone is off the screen.
    void drawsBeforeFocus() { uncovering_ = {}; }
    /// Whether it is to be found out that something is on the screen.
    [[nodiscard]] bool awaitsScreen() const { return isStarting() || coming_; }
    /// Whether nothing of the show is known to be on the screen.
    [[nodiscard]] bool isStarting() const { return phase_ == Phase::starting; }

    /// What a poll tells: the office's state with the times, and nothing that the screen does not show yet.
    [[nodiscard]] PresentingState told(PresentingState state, Instant now) const;

private:
    enum class Phase {
        none,      ///< no show, or one that has ended
        starting,  ///< nothing of it was seen yet
        running,
        ending,  ///< perhaps still on the screen
    };

    [[nodiscard]] bool isSame(const ScriptingVisit& visit) const;

    presenters::ShowTimes times_;
    Phase phase_ = Phase::none;
    std::string documentID_;
    Instant notBefore_;                     ///< of the start, or of the end
    std::optional<ScriptingVisit> coming_;  ///< not known to be on the screen; `latest` has no meaning yet
    std::optional<ScriptingVisit> shown_;   ///< what the screen shows
    Duration uncovering_ = kUncovering;
    std::int64_t lastNumber_ = 0;  ///< of the slide that it showed last, 0 when that is not known
};

}  // namespace impress
