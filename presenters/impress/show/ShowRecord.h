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
/// The focus goes on when a show's window has gone. LibreOffice 7.4 draws before that, 20 ms after the end; 25.2 passes
/// it on after 9 ms and has drawn after 29 ms at the latest (measured by the benchmark `truth`). So a focus that comes
/// this soon says that it is all drawn only so much later.
inline constexpr auto kSoonFocus = std::chrono::milliseconds(15);
inline constexpr auto kDrawnAfterSoonFocus = std::chrono::milliseconds(36);

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
    /// If it has ended, it is off the screen, or will be after `kDrawnAfterSoonFocus`.
    void hasEnded(Instant by);
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
    std::int64_t lastNumber_ = 0;           ///< of the slide that it showed last, 0 when that is not known
};

}  // namespace impress
