#pragma once

#include "ports/Registration.h"
#include "ports/WindowServer.h"

#include <chrono>
#include <memory>
#include <mutex>

class ConsoleLog;
class DispatchQueue;

/// The windows and screens of the X11 display that `DISPLAY` names.
///
/// Windows that a window manager (EWMH) has framed are listed with their frames, behind the windows that it has not:
/// these are all of them without a window manager, and with one those that bypass it, as some programs' shows do. Only
/// windows on screen that tell their process count. Front window first.
///
/// The display tells what changes, so asking for the windows takes one round trip, and three more after a change,
/// whatever their number; asking for the screens takes one after a change. What nobody asks for is kept by the display,
/// so the connection is closed when nobody has for five to ten seconds, and opened anew by the next who asks.
///
/// Without a display both lists are empty and the log says so once; the display is tried again every three seconds.
/// Windows of other systems (native Wayland clients) cannot be seen.
class X11WindowServer final : public WindowServer {
public:
    /// The connection is closed on this queue, which must not run while this object is destroyed. Log and queue must
    /// outlive it.
    X11WindowServer(ConsoleLog& consoleLog, DispatchQueue& queue);
    ~X11WindowServer() override;
    X11WindowServer(const X11WindowServer&) = delete;
    X11WindowServer& operator=(const X11WindowServer&) = delete;

    [[nodiscard]] std::vector<WindowRecord> windows() override;
    [[nodiscard]] std::vector<Rect> screens() override;

private:
    class Display;

    [[nodiscard]] Display* display();
    void closeWhenUnused();

    ConsoleLog& consoleLog_;
    DispatchQueue& queue_;
    std::mutex mutex_;  ///< guards what follows
    std::unique_ptr<Display> display_;
    std::chrono::steady_clock::time_point nextAttempt_;
    bool reported_ = false;
    bool used_ = false;  ///< since the timer's last tick
    Handle unusedTimer_;
};
