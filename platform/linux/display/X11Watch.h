#pragma once

#include "ports/WindowServer.h"

#include <chrono>
#include <memory>
#include <thread>
#include <vector>

namespace display {

/// What a display shows.
struct X11Desktop {
    std::vector<WindowRecord> windows;
    std::vector<Rect> screens;
};

/// What is known of a display.
struct X11Seen {
    /// What was seen last; null before the first look and when the display has gone.
    std::shared_ptr<const X11Desktop> desktop;
    /// Whether the display has not taken the connection yet. Only then the thread cannot be interrupted.
    bool isConnecting = true;
    /// Whether there is no display, or it has gone.
    bool hasEnded = false;
};

/// A thread that looks at the display that `DISPLAY` names, again whenever something has changed there, but not more
/// than twenty times a second. Nobody else ever waits for the display, which is why the thread is its own: the end of a
/// worker would be waited for. Any thread, one at a time.
class X11Watch {
public:
    /// Begins to connect, and waits until the display was seen for the first time or could not be, but no longer than
    /// that. Throws `std::system_error` when the system has no thread to give.
    explicit X11Watch(std::chrono::milliseconds firstLook);
    /// Ends the thread at once, whatever answer it waits for; one that still connects is left to itself.
    ~X11Watch();
    X11Watch(const X11Watch&) = delete;
    X11Watch& operator=(const X11Watch&) = delete;

    [[nodiscard]] X11Seen seen() const;

private:
    class State;
    const std::shared_ptr<State> state_;
    std::thread thread_;
};

}  // namespace display
