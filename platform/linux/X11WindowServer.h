#pragma once

#include "ports/WindowServer.h"

#include <chrono>
#include <memory>
#include <mutex>

class ConsoleLog;

/// The windows and screens of the X11 display that `DISPLAY` names.
///
/// Windows that a window manager (EWMH) has framed are listed with their frames, behind the windows that it has not:
/// these are all of them without a window manager, and with one those that bypass it, as some programs' shows do. Only
/// windows on screen that tell their process count. Front window first.
///
/// Asking takes three round trips to the display, whatever the number of windows. Without a display both lists are
/// empty and the log says so once; the display is tried again every three seconds. Windows of other systems (native
/// Wayland clients) cannot be seen.
class X11WindowServer final : public WindowServer {
public:
    /// The log must outlive this object.
    explicit X11WindowServer(ConsoleLog& consoleLog);
    ~X11WindowServer() override;
    X11WindowServer(const X11WindowServer&) = delete;
    X11WindowServer& operator=(const X11WindowServer&) = delete;

    [[nodiscard]] std::vector<WindowRecord> windows() override;
    [[nodiscard]] std::vector<Rect> screens() override;

private:
    class Display;

    [[nodiscard]] Display* display();

    ConsoleLog& consoleLog_;
    std::mutex mutex_;  ///< guards what follows
    std::unique_ptr<Display> display_;
    std::chrono::steady_clock::time_point nextAttempt_;
    bool reported_ = false;
};
