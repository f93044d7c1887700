#pragma once

#include "base/Error.h"
#include "host/DelegateCalls.h"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

/// What else can happen to a command.
/// The service refused what it was asked for: a start, an extraction or a wait.
struct RequestRefused {
    ErrorPtr error;
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
struct ServiceLost {};
struct Interrupted {};   ///< SIGINT or SIGTERM
struct OutputClosed {};  ///< nobody reads standard output any more
struct TimedOut {};
using Event = std::variant<host::DelegateCall, RequestRefused, ServiceAnswered, DeckRead, WindowsDescribed, ServiceLost,
                           Interrupted, OutputClosed, TimedOut>;
