#pragma once

#include "base/Time.h"

#include <cstdint>
#include <string>
#include <vector>

namespace simulation {

/// What can happen in a lecture, in the order of the table in the source file. The value of an event is explained
/// there.
enum class Kind {
    hostStarts,
    hostStops,
    hostLeaves,
    hostSetsInterval,
    hostEndsShow,
    hostExtracts,
    hostAsksForWindows,
    hostWaitsForSaving,
    programLaunches,
    programQuits,
    programChangesIdentifier,
    deckOpens,
    deckComesToFront,
    deckIsEdited,
    deckCloses,
    showStarts,
    slideComes,
    showStops,
    programClockIsWrong,
    faultBegins,
    faultsEnd,
    everythingStalls,
    clockIsSet,
    listsComeLate,
    diskFails,
    diskIsMended,
    serviceEnds,
};

/// One thing that happens to the service, its hosts, programs, disks or clocks. Where it makes no sense any more,
/// because what led to it has been left out, nothing happens.
struct Event {
    Duration at{};  ///< since the beginning of the lecture
    Kind kind{};
    int who = 0;  ///< the host or the program
    std::int64_t value = 0;
};
using Events = std::vector<Event>;

/// The event in words, with its time.
[[nodiscard]] std::string words(const Event& event);

/// How starts can go wrong, by the value of the event.
enum class Start : std::int64_t { fine, withoutDirectory, withoutRecording, intoAFile, intoALockedFolder };
/// What a disk can do, by the value of the event.
enum class Disk : std::int64_t { locksCaptures, locksNextPresentation, isAnotherFileSystem, locksSandbox };
/// Bits of the value of a launch.
inline constexpr std::int64_t kTellsTimes = 1;
inline constexpr std::int64_t kIsTooOld = 2;

/// A fault of a presentation program, as its scripts write it.
struct Fault {
    const char* name;
    const char* value;
};
/// The faults, by the value of the event.
[[nodiscard]] const std::vector<Fault>& faults();

/// Time stamps of traces: seconds since the beginning, as "12.345".
[[nodiscard]] std::string seconds(Duration time);

}  // namespace simulation
