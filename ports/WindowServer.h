#pragma once

#include "base/Geometry.h"

#include <sys/types.h>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// One window as the window server knows it. The comments name the platform's dictionary keys. Nothing of it is
/// trusted: a program says what its windows are called and whose they are.
struct WindowRecord {
    /// kCGWindowOwnerPID: the process that the window says it belongs to.
    pid_t ownerPID = 0;
    /// kCGWindowBounds: where the window is, its frame included.
    Rect bounds;
    /// kCGWindowName: the title; nothing when it has none.
    std::optional<std::string> name;
    /// kCGWindowNumber: the server's own number of the window.
    std::int64_t number = 0;

    bool operator==(const WindowRecord&) const = default;
};

/// The window server's view of the screen, which may be a moment old. Callable from any thread. Neither call waits for
/// a window server that hangs: it then answers what was known last. Without a display both lists are empty, and the
/// console log says so once.
class WindowServer {
public:
    virtual ~WindowServer() = default;
    /// All windows on screen in the server's stacking order, desktop elements left out.
    [[nodiscard]] virtual std::vector<WindowRecord> windows() = 0;
    /// The frames of all attached screens, in the server's order.
    [[nodiscard]] virtual std::vector<Rect> screens() = 0;
};
