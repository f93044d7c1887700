#pragma once

#include "base/Time.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace keynote_capture {

/// Why a visit ends where it does.
enum class VisitEnd {
    nextSlide,
    showEnded,
    unseen,  ///< nobody saw more of it; it may have lasted longer
};

/// One stay of one slide on the screen.
struct Visit {
    std::int64_t slide = 0;                ///< its number in the deck
    std::optional<std::int64_t> position;  ///< its place in the show, where that is known
    Date start;                            ///< the middle of when it may have begun
    Date end;                              ///< not before `start`; where the next begins when that follows at once
    VisitEnd ends{};
    std::optional<Date> earliest;  ///< it began between these
    Date latest;
};

/// A time of which nobody knows what was on the screen.
struct Gap {
    Date start;
    std::string reason;  ///< a sentence, or empty
};

/// What the wall clock and the steady clock of a computer showed at one moment since its start `boot`.
struct ClockPair {
    Date wall;
    Instant steady;
    std::string boot;
};

/// What the journal of a presentation tells. Its times are by the steady clock as far as possible, so a wall clock that
/// is set during a show bends none of them.
struct Show {
    std::string recordingID;
    std::string presentationID;
    std::optional<std::filesystem::path> deck;
    std::optional<std::string> archive;        ///< name of the archive copy's file
    std::optional<std::string> archiveDigest;  ///< its SHA-256 when it had been written
    std::optional<std::string> continues;      ///< the presentation of which this is the rest
    Date begun;                                ///< when the journal was, by its own clock; 1970 when it does not tell
    std::optional<ClockPair> clock;
    std::optional<Date> started;
    std::optional<Date> ended;
    std::vector<Visit> visits;  ///< in order, none overlaps another
    std::vector<Gap> gaps;      ///< in order; each lasts until the next visit
    bool deckWasSaved = false;  ///< the deck's file changed during the show
};

/// A pure function of a journal's lines; nothing when they are no journal that this program understands. The times of a
/// computer that has not been started anew since `clock` are by that pair instead of the journal's own.
[[nodiscard]] std::optional<Show> showFrom(const std::vector<std::string>& lines,
                                           const std::optional<ClockPair>& clock = std::nullopt);

}  // namespace keynote_capture
