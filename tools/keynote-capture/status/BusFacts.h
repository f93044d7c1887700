#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace keynote_capture {

/// What a presentation program says of itself now.
struct ProgramNow {
    bool answers = false;
    bool hasDeck = false;
    std::string deck;  ///< its file's path; empty for one that was never saved
    bool playing = false;
    std::int64_t slide = 0;
};

/// What the session bus can tell about a recording.
struct BusFacts {
    std::string problem;  ///< why the bus cannot be reached; empty when it can, and then the rest holds
    bool serviceCanBeStarted = false;
    std::optional<std::string> serviceVersion;
    std::string serviceProblem;  ///< why the service did not tell its version
    bool serviceAnswers = false;
    bool serviceHasDisplay = true;  ///< false when it is known that the service was started without one
    bool bridgeRuns = false;
    bool bridgeCanBeStarted = false;
    std::optional<ProgramNow> program;  ///< nothing when none is on the bus
};

/// How long anything here waits for all answers together, also of a bus that hangs.
inline constexpr std::chrono::seconds kLongestLook{12};

/// Asks the bus, the service, which is started for it, and the program. Takes no longer than `kLongestLook`; a thread
/// that still waits for a bus that hangs is left to itself. `pipe` tells which bridge is meant.
[[nodiscard]] BusFacts askBus(const std::string& pipe);

}  // namespace keynote_capture
