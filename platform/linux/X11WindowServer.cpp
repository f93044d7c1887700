#include "platform/linux/X11WindowServer.h"

#include "bus/Convert.h"
#include "ports/Dispatch.h"
#include "ports/Log.h"

#include <xcb/randr.h>
#include <xcb/xcb.h>
#include <xcb/xcb_ewmh.h>
#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace {

constexpr std::chrono::seconds kRetryPeriod{3};
constexpr std::chrono::seconds kUnusedPeriod{5};
constexpr std::uint32_t kRootEvents =
    XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
constexpr std::uint16_t kScreenEvents =
    XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE | XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE;
constexpr std::uint32_t kWindowEvents = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
constexpr std::size_t kMostWindows = 2000;
constexpr std::uint32_t kLongestNameInWords = 256;

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};
template <typename T>
using Reply = std::unique_ptr<T, Free>;
using PropertyReply = Reply<xcb_get_property_reply_t>;
using WindowIDs = std::vector<xcb_window_t>;

/// The 32-bit values of a property; none when it is missing or of another format.
std::vector<std::uint32_t> valuesOf(const PropertyReply& reply) {
    if (!reply || reply->format != 32) return {};
    const auto* values = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    return {values, values + xcb_get_property_value_length(reply.get()) / 4};
}

std::optional<std::string> textOf(const PropertyReply& reply) {
    if (!reply || reply->format != 8) return std::nullopt;
    const auto* text = static_cast<const char*>(xcb_get_property_value(reply.get()));
    const auto length = static_cast<std::size_t>(xcb_get_property_value_length(reply.get()));
    if (length == 0) return std::nullopt;
    return bus::validUTF8({text, length});
}

}  // namespace

/// A connection to a display. Every function sends all its requests before it waits for the first reply. A reply that
/// is missing means that the window or the display has gone meanwhile.
class X11WindowServer::Display {
public:
    /// Null when there is none.
    static std::unique_ptr<Display> open() {
        std::unique_ptr<Display> display(new Display);
        return display->isBroken() ? nullptr : std::move(display);
    }

    ~Display() {
        xcb_ewmh_connection_wipe(&atoms_);
        xcb_disconnect(connection_);
    }
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    [[nodiscard]] bool isBroken() const { return screen_ == nullptr || xcb_connection_has_error(connection_) != 0; }

    [[nodiscard]] const std::vector<WindowRecord>& windows() {
        // Whatever changed before this question is told before its answer.
        const Reply<void> answered(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
        forgetWhatChanged();
        if (!windows_) windows_ = findWindows();
        return *windows_;
    }

    [[nodiscard]] const std::vector<Rect>& screens() {
        forgetWhatChanged();
        if (!screens_) screens_ = findScreens();
        return *screens_;
    }

private:
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

    Display() {
        int screenNumber = 0;
        connection_ = xcb_connect(nullptr, &screenNumber);
        if (xcb_connection_has_error(connection_) != 0) return;
        auto* const interned = xcb_ewmh_init_atoms(connection_, &atoms_);
        if (xcb_ewmh_init_atoms_replies(&atoms_, interned, nullptr) == 0) {
            atoms_ = {};  // it has wiped them
            return;
        }
        if (screenNumber >= 0 && screenNumber < atoms_.nb_screens) screen_ = atoms_.screens[screenNumber];
        hasMonitors_ = knowsMonitors();
        if (screen_ == nullptr) return;
        watch(screen_->root, kRootEvents);
        if (hasMonitors_) xcb_randr_select_input(connection_, screen_->root, kScreenEvents);
    }

    void watch(xcb_window_t window, std::uint32_t events) {
        xcb_change_window_attributes(connection_, window, XCB_CW_EVENT_MASK, &events);
    }

    /// Takes the events that have arrived. An error tells of a window that has gone, which an event told.
    void forgetWhatChanged() {
        bool changed = false;
        while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection_)}) {
            changed = changed || event->response_type != 0;
        }
        if (!changed && !isBroken()) return;
        windows_.reset();
        screens_.reset();
    }

    /// All windows, asked one by one. What changes meanwhile is told by an event.
    [[nodiscard]] std::vector<WindowRecord> findWindows() {
        const auto candidates = visibleWindows();
        std::vector<Questions> questions;
        questions.reserve(candidates.size());
        for (const auto& candidate : candidates) questions.push_back(ask(candidate));
        std::vector<WindowRecord> records;
        for (const auto& question : questions) {
            if (auto record = answer(question)) records.push_back(std::move(*record));
        }
        return records;
    }

    [[nodiscard]] std::vector<Rect> findScreens() {
        std::vector<Rect> screens;
        if (hasMonitors_) {
            const auto cookie = xcb_randr_get_monitors(connection_, screen_->root, 1);
            const Reply<xcb_randr_get_monitors_reply_t> reply(
                xcb_randr_get_monitors_reply(connection_, cookie, nullptr));
            auto monitor =
                reply ? xcb_randr_get_monitors_monitors_iterator(reply.get()) : xcb_randr_monitor_info_iterator_t{};
            for (; monitor.rem > 0; xcb_randr_monitor_info_next(&monitor)) {
                const auto& info = *monitor.data;
                screens.push_back({static_cast<double>(info.x), static_cast<double>(info.y),
                                   static_cast<double>(info.width), static_cast<double>(info.height)});
            }
        }
        if (screens.empty() && !isBroken()) {
            const auto cookie = xcb_get_geometry(connection_, screen_->root);
            const Reply<xcb_get_geometry_reply_t> root(xcb_get_geometry_reply(connection_, cookie, nullptr));
            if (root) screens.push_back({0, 0, static_cast<double>(root->width), static_cast<double>(root->height)});
        }
        return screens;
    }

    /// Whether the display has RandR 1.5.
    [[nodiscard]] bool knowsMonitors() {
        const auto* extension = xcb_get_extension_data(connection_, &xcb_randr_id);
        if (extension == nullptr || extension->present == 0) return false;
        const auto cookie = xcb_randr_query_version(connection_, 1, 5);
        const Reply<xcb_randr_query_version_reply_t> version(
            xcb_randr_query_version_reply(connection_, cookie, nullptr));
        return version && (version->major_version > 1 || version->minor_version >= 5);
    }

    [[nodiscard]] xcb_get_property_cookie_t property(xcb_window_t window, xcb_atom_t name, std::uint32_t words) {
        return xcb_get_property(connection_, 0, window, name, XCB_GET_PROPERTY_TYPE_ANY, 0, words);
    }
    [[nodiscard]] PropertyReply reply(xcb_get_property_cookie_t cookie) {
        return PropertyReply(xcb_get_property_reply(connection_, cookie, nullptr));
    }

    /// The windows on screen that may be somebody's, front window first: two round trips.
    [[nodiscard]] std::vector<Candidate> visibleWindows() {
        const auto managedCookie = property(screen_->root, atoms_._NET_CLIENT_LIST_STACKING, kMostWindows);
        const auto treeCookie = xcb_query_tree(connection_, screen_->root);
        WindowIDs managed = valuesOf(reply(managedCookie));
        const WindowIDs topLevel = childrenFrom(treeCookie);

        std::vector<Candidate> candidates;
        for (auto window = topLevel.rbegin(); window != topLevel.rend(); ++window) {
            // What stays in the list of a window manager that died is top-level again.
            const auto last = std::remove(managed.begin(), managed.end(), *window);
            managed.erase(last, managed.end());
            candidates.push_back({*window, false, {}});
        }
        for (auto window = managed.rbegin(); window != managed.rend(); ++window) {
            candidates.push_back({*window, true, {}});
        }
        for (auto& [window, framed, cookie] : candidates) {
            watch(window, kWindowEvents);
            cookie = xcb_get_window_attributes(connection_, window);
        }
        const auto last = std::remove_if(candidates.begin(), candidates.end(),
                                         [this](const Candidate& candidate) { return !isVisible(candidate); });
        candidates.erase(last, candidates.end());
        return candidates;
    }

    [[nodiscard]] WindowIDs childrenFrom(xcb_query_tree_cookie_t cookie) {
        const Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(connection_, cookie, nullptr));
        if (!tree) return {};
        const auto* children = xcb_query_tree_children(tree.get());
        const auto count = static_cast<std::size_t>(xcb_query_tree_children_length(tree.get()));
        return {children, children + std::min(count, kMostWindows)};
    }

    [[nodiscard]] bool isVisible(const Candidate& candidate) {
        const Reply<xcb_get_window_attributes_reply_t> state(
            xcb_get_window_attributes_reply(connection_, candidate.attributes, nullptr));
        return state && state->map_state == XCB_MAP_STATE_VIEWABLE && state->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT;
    }

    [[nodiscard]] Questions ask(const Candidate& candidate) {
        const auto window = candidate.window;
        Questions questions;
        questions.candidate = candidate;
        questions.geometry = xcb_get_geometry(connection_, window);
        questions.origin = xcb_translate_coordinates(connection_, window, screen_->root, 0, 0);
        questions.process = property(window, atoms_._NET_WM_PID, 1);
        questions.type = property(window, atoms_._NET_WM_WINDOW_TYPE, 16);
        questions.frame = property(window, atoms_._NET_FRAME_EXTENTS, 4);
        questions.name = property(window, atoms_._NET_WM_NAME, kLongestNameInWords);
        questions.oldName = property(window, XCB_ATOM_WM_NAME, kLongestNameInWords);
        return questions;
    }

    /// Nothing for a window that has gone, is the desktop, or tells no process, as frames do not. Takes every reply in
    /// any case.
    [[nodiscard]] std::optional<WindowRecord> answer(const Questions& questions) {
        const Reply<xcb_get_geometry_reply_t> geometry(
            xcb_get_geometry_reply(connection_, questions.geometry, nullptr));
        const Reply<xcb_translate_coordinates_reply_t> origin(
            xcb_translate_coordinates_reply(connection_, questions.origin, nullptr));
        const auto process = valuesOf(reply(questions.process));
        const auto types = valuesOf(reply(questions.type));
        auto frame = valuesOf(reply(questions.frame));
        const auto name = textOf(reply(questions.name));
        const auto oldName = textOf(reply(questions.oldName));
        const bool isDesktop = std::find(types.begin(), types.end(), atoms_._NET_WM_WINDOW_TYPE_DESKTOP) != types.end();
        if (!geometry || !origin || process.size() != 1 || isDesktop) return std::nullopt;

        // The frame's widths at the left, right, top and bottom; without a frame, the window's own border.
        if (!questions.candidate.framed || frame.size() != 4) frame.assign(4, geometry->border_width);
        const auto [left, right, top, bottom] =
            std::array{double(frame[0]), double(frame[1]), double(frame[2]), double(frame[3])};
        WindowRecord record;
        record.ownerPID = static_cast<pid_t>(process.front());
        record.bounds = {origin->dst_x - left, origin->dst_y - top, geometry->width + left + right,
                         geometry->height + top + bottom};
        record.name = name ? name : oldName;
        record.number = questions.candidate.window;
        return record;
    }

    xcb_connection_t* connection_ = nullptr;
    xcb_ewmh_connection_t atoms_{};
    xcb_screen_t* screen_ = nullptr;  ///< null when the connection failed
    bool hasMonitors_ = false;
    /// Still so unless an event tells otherwise; nothing when it is to be asked.
    std::optional<std::vector<WindowRecord>> windows_;
    std::optional<std::vector<Rect>> screens_;
};

X11WindowServer::X11WindowServer(ConsoleLog& consoleLog, DispatchQueue& queue)
    : consoleLog_(consoleLog), queue_(queue) {}

X11WindowServer::~X11WindowServer() = default;

/// The display, connected if possible; else null. With the lock held.
X11WindowServer::Display* X11WindowServer::display() {
    if (display_ && display_->isBroken()) display_.reset();
    const auto now = std::chrono::steady_clock::now();
    if (!display_ && now >= nextAttempt_) {
        display_ = Display::open();
        nextAttempt_ = now + kRetryPeriod;
        if (display_) {
            unusedTimer_ = queue_.makeTimer({kUnusedPeriod, kUnusedPeriod, {}}, [this] { closeWhenUnused(); });
        }
    }
    used_ = true;
    if (!display_ && !reported_) {
        reported_ = true;
        consoleLog_.write("There is no X11 display to look at; windows and screens count as none.");
    }
    return display_.get();
}

void X11WindowServer::closeWhenUnused() {
    const std::lock_guard lock(mutex_);
    if (std::exchange(used_, false)) return;
    display_.reset();
    unusedTimer_.reset();
    nextAttempt_ = {};
}

std::vector<WindowRecord> X11WindowServer::windows() {
    const std::lock_guard lock(mutex_);
    auto* const current = display();
    return current != nullptr ? current->windows() : std::vector<WindowRecord>();
}

std::vector<Rect> X11WindowServer::screens() {
    const std::lock_guard lock(mutex_);
    auto* const current = display();
    return current != nullptr ? current->screens() : std::vector<Rect>();
}
