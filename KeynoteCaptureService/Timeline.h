#pragma once

#include "ports/Scripting.h"
#include "ports/Timeline.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// What is known about the screen, from what polls see and from what the program tells of its own times.
///
/// Where the bounds of an entry come from: the program's times; else the polls, between the moment when the last poll
/// that saw the old state was sent and the moment when the first that saw the new one was answered.
/// Times that contradict the polls, each other or the clock are dropped, and the bounds of the polls hold. Each visit
/// is told once, in order, whatever polls are late, left out or fail; a visit that no poll saw is told when the program
/// tells it.
///
/// Pure: it knows no clock. One thread.
class Timeline {
public:
    using Entries = std::vector<TimelineEntry>;

    /// What a poll saw. The times are those of the program's answer.
    struct Seen {
        bool playing = false;
        std::int64_t slideNumber = 0;  ///< 0 when no slide is shown
        std::string documentID;
        ScriptingTimes times;
    };

    /// A poll is sent. One is under way at a time.
    void sent(Instant at);
    /// A poll was due and left out, because the one before is still under way. Without the program's times that makes
    /// time unseen, until a poll is answered before the next is due.
    void skipped() { missed_ = true; }
    /// The poll under way has failed. Answers what is told now.
    [[nodiscard]] Entries failed();
    /// The poll under way is answered, with this. Answers what is told now, oldest first.
    [[nodiscard]] Entries answered(const Seen& seen, Instant at);
    /// The program has gone, and a show that ran has ended with it.
    [[nodiscard]] Entries programGone(Instant at);
    /// Nobody polls any more: a show that runs goes on unseen.
    [[nodiscard]] Entries unwatched();

private:
    struct Visit {
        std::int64_t slideNumber = 0;
        TimeBounds began;
        std::optional<std::int64_t> position;
    };
    struct Show {
        TimeBounds started;
        std::string documentID;
        std::optional<Visit> lastVisit;
        std::int64_t seenSlide = 0;  ///< what the last poll saw
    };

    [[nodiscard]] TimeBounds sinceLastSeen(Instant at) const;
    [[nodiscard]] TimeBounds narrowed(const std::optional<TimeBounds>& told, Instant at) const;
    [[nodiscard]] bool hasRestarted(const Seen& seen, Instant at) const;
    void startShow(const Seen& seen, Instant at, Entries& entries);
    void endShow(const std::optional<TimeBounds>& told, Instant at, Entries& entries);
    void tellVisits(const Seen& seen, Instant at, Entries& entries);
    /// The visits that were not told yet; nothing when they cannot be right.
    [[nodiscard]] std::optional<std::vector<ScriptingVisit>> newVisits(const Seen& seen, Instant at) const;
    [[nodiscard]] bool areInOrder(const std::vector<ScriptingVisit>& visits) const;
    void tellUnseen(Entries& entries);
    void tellVisit(const Visit& visit, Entries& entries);

    std::optional<Instant> lastSent_;      ///< of the poll that was answered last
    std::optional<Instant> lastAnswered_;  ///< the same
    Instant sent_;                         ///< of the poll under way
    bool missed_ = false;                  ///< a poll was left out since the last answer
    bool unseenIsTold_ = false;
    std::optional<Show> show_;
};
