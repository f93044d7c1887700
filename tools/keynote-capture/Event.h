#pragma once

#include "base/Error.h"
#include "host/DelegateCalls.h"
#include "ports/Timeline.h"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace keynote_capture {

/// What else can happen to a command.
/// The service refused what it was asked for: a start, an extraction or a wait.
struct RequestRefused {
    ErrorPtr error;
    int connection = 0;  ///< which of the command's clients was refused
};
/// A deck is open in the presentation program, or could not be opened.
struct DeckRead {
    std::vector<std::int64_t> slides;  ///< the numbers of all its slides
    ErrorPtr error;
};
struct ServiceAnswered {};
struct WindowsDescribed {
    std::optional<std::string> text;
};
struct ServiceVersionTold {
    std::optional<std::string> version;
};
struct ServiceLost {
    int connection = 0;  ///< which of the command's clients lost it
};
struct Interrupted {};   ///< SIGINT or SIGTERM
struct OutputClosed {};  ///< nobody reads standard output any more
struct TimedOut {};
using Event = std::variant<host::DelegateCall, TimelineReport, RequestRefused, ServiceAnswered, ServiceVersionTold,
                           DeckRead, WindowsDescribed, ServiceLost, Interrupted, OutputClosed, TimedOut>;

}  // namespace keynote_capture
