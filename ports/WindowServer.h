#pragma once

#include "base/Geometry.h"

#include <sys/types.h>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// One window as the window server knows it. The comments name the platform's dictionary keys.
struct WindowRecord {
    pid_t ownerPID = 0;               ///< kCGWindowOwnerPID
    Rect bounds;                      ///< kCGWindowBounds, frame included
    std::optional<std::string> name;  ///< kCGWindowName
    std::int64_t number = 0;          ///< kCGWindowNumber, the server's id of the window

    bool operator==(const WindowRecord&) const = default;
};

/// The window server's view of the screen, which may be a moment old. Callable from any thread; neither waits for a
/// window server that hangs. Both answer empty, and say so once on the log, when there is no display.
class WindowServer {
public:
    virtual ~WindowServer() = default;
    /// All windows on screen in the server's stacking order, desktop elements left out.
    [[nodiscard]] virtual std::vector<WindowRecord> windows() = 0;
    /// The frames of all attached screens, in the server's order.
    [[nodiscard]] virtual std::vector<Rect> screens() = 0;
};
