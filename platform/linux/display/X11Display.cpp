#include "platform/linux/display/X11Display.h"

#include <algorithm>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace display {

namespace {

using WindowIDs = std::vector<xcb_window_t>;

constexpr std::array<std::string_view, 6> kAtomNames{"_NET_CLIENT_LIST_STACKING", "_NET_WM_PID",
                                                     "_NET_WM_WINDOW_TYPE",       "_NET_WM_WINDOW_TYPE_DESKTOP",
                                                     "_NET_FRAME_EXTENTS",        "_NET_WM_NAME"};
constexpr std::uint32_t kRootEvents =
    XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
constexpr std::uint16_t kScreenEvents =
    XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE | XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE;
constexpr std::uint32_t kWindowEvents = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
/// Of the top-level windows, and of those that the window manager lists.
constexpr std::size_t kMostWindows = 2000;
/// As many as a window can have children.
constexpr std::uint32_t kLongestListInWords = 65535;
constexpr std::uint32_t kLongestNameInWords = 256;

/// The frontmost of a list that has the rearmost window first, front window first.
WindowIDs frontmost(const WindowIDs& stack) {
    const auto count = static_cast<WindowIDs::difference_type>(std::min(stack.size(), kMostWindows));
    return {stack.rbegin(), stack.rbegin() + count};
}

}  // namespace

X11Display::X11Display(xcb_connection_t* connection, int screenNumber)
    : connection_(connection),
      root_(xcb_connection_has_error(connection) == 0 ? rootOf(xcb_get_setup(connection), screenNumber)
                                                      : static_cast<xcb_window_t>(XCB_NONE)) {
    if (isBroken()) return;
    internAtoms();
    hasMonitors_ = knowsMonitors();
    watch(root_, kRootEvents);
    if (hasMonitors_) xcb_randr_select_input(connection_, root_, kScreenEvents);
}

void X11Display::internAtoms() {
    static_assert(kAtomNames.size() == kAtomCount);
    std::array<xcb_intern_atom_cookie_t, kAtomCount> cookies{};
    for (std::size_t i = 0; i < kAtomCount; ++i) {
        const auto name = kAtomNames.at(i);
        // All are asked before the first answer is waited for: one round trip.
        cookies.at(i) = xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(name.size()), name.data());
    }
    for (std::size_t i = 0; i < kAtomCount; ++i) {
        if (const auto reply = answerTo(cookies.at(i), xcb_intern_atom_reply)) atoms_.at(i) = reply->atom;
    }
}

/// Whether the display has RandR 1.5.
bool X11Display::knowsMonitors() {
    const auto* extension = xcb_get_extension_data(connection_, &xcb_randr_id);
    if (extension == nullptr || extension->present == 0) return false;
    const auto version = answerTo(xcb_randr_query_version(connection_, 1, 5), xcb_randr_query_version_reply);
    return version && (version->major_version > 1 || version->minor_version >= 5);
}

void X11Display::watch(xcb_window_t window, std::uint32_t events) {
    xcb_change_window_attributes(connection_, window, XCB_CW_EVENT_MASK, &events);
}

void X11Display::waitForChange() {
    for (bool changed = false; !changed;) {
        Reply<xcb_generic_event_t> event(xcb_wait_for_event(connection_));
        if (!event) return;
        // Those that have been read, and no more: others may come as fast as they are taken.
        for (; event; event.reset(xcb_poll_for_queued_event(connection_))) changed |= tellsChange(*event);
    }
}

/// Programs set properties at every key press; few of them count. An error tells of a window that has gone, which an
/// event told.
bool X11Display::tellsChange(const xcb_generic_event_t& event) const {
    const auto type = event.response_type & 0x7FU;  // without the mark of events that other programs sent
    if (type == 0) return false;
    if (type != XCB_PROPERTY_NOTIFY) return true;
    const auto name = static_cast<const xcb_property_notify_event_t*>(static_cast<const void*>(&event))->atom;
    return name == XCB_ATOM_WM_NAME || std::ranges::find(atoms_, name) != atoms_.end();
}

std::vector<WindowRecord> X11Display::windows() {
    const auto candidates = visibleWindows();
    // Again all questions first: a round trip for each window would take a poll's time.
    std::vector<Questions> questions;
    questions.reserve(candidates.size());
    for (const auto& candidate : candidates) questions.push_back(ask(candidate));
    std::vector<WindowRecord> records;
    for (const auto& question : questions) {
        if (auto record = answer(question)) records.push_back(std::move(*record));
    }
    return records;
}

std::vector<Rect> X11Display::screens() {
    std::vector<Rect> screens;
    if (hasMonitors_) {
        const auto cookie = xcb_randr_get_monitors(connection_, root_, 1);
        screens = framesOf(answerTo(cookie, xcb_randr_get_monitors_reply).get());
    }
    // Without RandR, or before it knows a monitor, the whole desktop is one screen.
    if (screens.empty()) {
        const auto root = answerTo(xcb_get_geometry(connection_, root_), xcb_get_geometry_reply);
        if (root) screens.push_back({0, 0, static_cast<double>(root->width), static_cast<double>(root->height)});
    }
    return screens;
}

xcb_get_property_cookie_t X11Display::property(xcb_window_t window, xcb_atom_t name, std::uint32_t words) {
    return xcb_get_property(connection_, 0, window, name, XCB_GET_PROPERTY_TYPE_ANY, 0, words);
}

std::vector<std::uint32_t> X11Display::values(xcb_get_property_cookie_t cookie) {
    return valuesOf(answerTo(cookie, xcb_get_property_reply).get());
}

std::optional<std::string> X11Display::text(xcb_get_property_cookie_t cookie) {
    return textOf(answerTo(cookie, xcb_get_property_reply).get());
}

/// The windows that may be somebody's, front window first.
std::vector<X11Display::Candidate> X11Display::allWindows() {
    const auto managedCookie = property(root_, atoms_[kStacking], kLongestListInWords);
    const auto treeCookie = xcb_query_tree(connection_, root_);
    auto managed = values(managedCookie);
    const auto topLevel = childrenOf(answerTo(treeCookie, xcb_query_tree_reply).get());
    // What stays in the list of a window manager that died is top-level again.
    const std::unordered_set<xcb_window_t> unframed(topLevel.begin(), topLevel.end());
    std::erase_if(managed, [&unframed](xcb_window_t window) { return unframed.contains(window); });

    std::vector<Candidate> candidates;
    // Those without a frame come first: they bypass the window manager and lie above what it arranges.
    for (const auto window : frontmost(topLevel)) candidates.push_back({window, false, {}});
    for (const auto window : frontmost(managed)) candidates.push_back({window, true, {}});
    return candidates;
}

/// Those on screen: two round trips.
std::vector<X11Display::Candidate> X11Display::visibleWindows() {
    auto candidates = allWindows();
    for (auto& candidate : candidates) {
        // Watched before it is looked at, so that no change falls in between.
        watch(candidate.window, kWindowEvents);
        candidate.attributes = xcb_get_window_attributes(connection_, candidate.window);
    }
    std::erase_if(candidates, [this](const auto& candidate) { return !isVisible(candidate); });
    return candidates;
}

bool X11Display::isVisible(const Candidate& candidate) {
    const auto state = answerTo(candidate.attributes, xcb_get_window_attributes_reply);
    // Windows that only take input are never seen, whatever they say.
    return state && state->map_state == XCB_MAP_STATE_VIEWABLE && state->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT;
}

X11Display::Questions X11Display::ask(const Candidate& candidate) {
    const auto window = candidate.window;
    return {.candidate = candidate,
            .geometry = xcb_get_geometry(connection_, window),
            .origin = xcb_translate_coordinates(connection_, window, root_, 0, 0),
            .process = property(window, atoms_[kProcess], 1),
            .type = property(window, atoms_[kType], 16),
            .frame = property(window, atoms_[kFrame], 4),
            .name = property(window, atoms_[kName], kLongestNameInWords),
            .oldName = property(window, XCB_ATOM_WM_NAME, kLongestNameInWords)};
}

/// Nothing for a window that has gone, is the desktop, or tells no process, as frames do not. Takes every reply in any
/// case.
std::optional<WindowRecord> X11Display::answer(const Questions& questions) {
    const auto geometry = answerTo(questions.geometry, xcb_get_geometry_reply);
    const auto origin = answerTo(questions.origin, xcb_translate_coordinates_reply);
    const auto process = values(questions.process);
    const auto types = values(questions.type);
    auto frame = values(questions.frame);
    const auto name = text(questions.name);
    const auto oldName = text(questions.oldName);
    const bool isDesktop = std::ranges::find(types, atoms_[kDesktop]) != types.end();
    if (!geometry || !origin || process.size() != 1 || isDesktop) return std::nullopt;

    // The frame's widths at the left, right, top and bottom; without a frame, the window's own border.
    if (!questions.candidate.framed || frame.size() != 4) frame.assign(4, geometry->border_width);
    const auto [left, right, top, bottom] =
        std::array{double(frame[0]), double(frame[1]), double(frame[2]), double(frame[3])};
    return WindowRecord{.ownerPID = static_cast<pid_t>(process.front()),
                        .bounds = {origin->dst_x - left, origin->dst_y - top, geometry->width + left + right,
                                   geometry->height + top + bottom},
                        // The newer property is UTF-8; old programs set the other alone.
                        .name = name ? name : oldName,
                        .number = questions.candidate.window};
}

}  // namespace display
