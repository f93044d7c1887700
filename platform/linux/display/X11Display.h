#pragma once

#include "platform/linux/display/X11Replies.h"
#include "ports/WindowServer.h"

#include <array>

namespace display {

/// A connection to a display, for one thread. Every function waits for the display as long as it takes, or until
/// another thread shuts the connection's socket down; each sends all its requests before it waits for the first reply.
/// A reply that is missing means that the window or the display has gone meanwhile.
class X11Display {
public:
    /// The connection must outlive this object; it may be one that failed.
    X11Display(xcb_connection_t* connection, int screenNumber);

    [[nodiscard]] bool isBroken() const { return root_ == XCB_NONE || xcb_connection_has_error(connection_) != 0; }
    /// All windows, asked one by one. What changes meanwhile `waitForChange` tells.
    [[nodiscard]] std::vector<WindowRecord> windows();
    [[nodiscard]] std::vector<Rect> screens();
    /// Waits until windows or screens have changed since they were last asked for, and takes all events that have
    /// come. Returns as well when the connection is broken.
    void waitForChange();

private:
    enum Atom : std::size_t { kStacking, kProcess, kType, kDesktop, kFrame, kName, kAtomCount };

    struct Candidate {
        xcb_window_t window = XCB_NONE;
        bool framed = false;  ///< inside a frame of the window manager
        xcb_get_window_attributes_cookie_t attributes{};
    };

    /// What is asked about one window.
    struct Questions {
        Candidate candidate;
        xcb_get_geometry_cookie_t geometry{};
        xcb_translate_coordinates_cookie_t origin{};
        xcb_get_property_cookie_t process{};
        xcb_get_property_cookie_t type{};
        xcb_get_property_cookie_t frame{};
        xcb_get_property_cookie_t name{};
        xcb_get_property_cookie_t oldName{};
    };

    void internAtoms();
    [[nodiscard]] bool knowsMonitors();
    void watch(xcb_window_t window, std::uint32_t events);
    /// Waits for the answer to a request; null when there is none.
    template <typename Answer, typename Cookie>
    [[nodiscard]] Reply<Answer> answerTo(Cookie cookie,
                                         Answer* (*wait)(xcb_connection_t*, Cookie, xcb_generic_error_t**)) const {
        return Reply<Answer>(wait(connection_, cookie, nullptr));
    }
    [[nodiscard]] xcb_get_property_cookie_t property(xcb_window_t window, xcb_atom_t name, std::uint32_t words);
    [[nodiscard]] std::vector<std::uint32_t> values(xcb_get_property_cookie_t cookie);
    [[nodiscard]] std::optional<std::string> text(xcb_get_property_cookie_t cookie);
    [[nodiscard]] bool tellsChange(const xcb_generic_event_t& event) const;
    [[nodiscard]] std::vector<Candidate> allWindows();
    [[nodiscard]] std::vector<Candidate> visibleWindows();
    [[nodiscard]] bool isVisible(const Candidate& candidate);
    [[nodiscard]] Questions ask(const Candidate& candidate);
    [[nodiscard]] std::optional<WindowRecord> answer(const Questions& questions);

    xcb_connection_t* const connection_;
    const xcb_window_t root_;  ///< none when the connection failed
    std::array<xcb_atom_t, kAtomCount> atoms_{};
    bool hasMonitors_ = false;
};

}  // namespace display
