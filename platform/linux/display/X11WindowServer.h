#pragma once

#include "base/Registration.h"
#include "platform/linux/display/X11Watch.h"
#include "ports/WindowServer.h"

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>

class ConsoleLog;
class DispatchQueue;

namespace display {

/// The windows and screens of the X11 display that `DISPLAY` names.
///
/// Windows that a window manager (EWMH) has framed are listed with their frames, behind the windows that it has not:
/// these are all of them without a window manager, and with one those that bypass it, as some programs' shows do. Only
/// windows on screen that tell their process count, of each of the two kinds the 2000 in front; a name is cut to
/// 1024 bytes. Front window first.
///
/// Asking never waits for the display: a thread keeps what it shows, up to date within a twentieth of a second. Only
/// who asks first waits for the first look, a tenth of a second at most. When nobody has asked for five to ten seconds
/// the connection is closed, and opened anew by the next who asks. A display that hangs shows what it last did.
///
/// Without a display, or one that answers, both lists are empty and the log says so once; a display that is not there
/// is tried again every three seconds. Windows of other systems (native Wayland clients) cannot be seen.
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
    using Instant = std::chrono::steady_clock::time_point;

    [[nodiscard]] std::shared_ptr<const X11Desktop> desktop();
    void open(Instant now);
    void closeIfEnded();
    void closeWhenUnused();
    void close();

    ConsoleLog& consoleLog_;
    DispatchQueue& queue_;
    std::mutex mutex_;  ///< guards what follows
    std::optional<X11Watch> watch_;
    Instant nextAttempt_;
    bool reported_ = false;
    bool used_ = false;  ///< since the timer's last tick
    Handle unusedTimer_;
};

}  // namespace display
