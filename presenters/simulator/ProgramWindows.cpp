#include "presenters/simulator/ProgramWindows.h"

#include "presenters/simulator/SlideDrawing.h"

#include <cairo-xcb.h>
#include <unistd.h>
#include <xcb/randr.h>
#include <xcb/xcb.h>
#include <array>
#include <cstdlib>
#include <functional>
#include <set>
#include <string_view>
#include <utility>

namespace simulator {
namespace {

/// Stands for the window of the show among those of the documents, whose IDs are not empty.
constexpr const char* kShow = "";

template <typename T>
using Reply = std::unique_ptr<T, decltype(&std::free)>;

template <typename T>
Reply<T> owned(T* reply) {
    return {reply, std::free};
}

}  // namespace

struct ProgramWindows::Connection {
    xcb_connection_t* x = nullptr;
    xcb_screen_t* screen = nullptr;
    cairo_device_t* device = nullptr;  ///< set once something is drawn

    Connection() = default;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() {
        // Cairo keeps what it knows of a connection until its device is finished, which must come first.
        if (device) cairo_device_finish(device);
        cairo_device_destroy(device);
        xcb_disconnect(x);
    }

    [[nodiscard]] xcb_atom_t atom(std::string_view name) const {
        const auto cookie = xcb_intern_atom(x, 0, static_cast<std::uint16_t>(name.size()), name.data());
        const auto reply = owned(xcb_intern_atom_reply(x, cookie, nullptr));
        return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
    }

    [[nodiscard]] xcb_visualtype_t* visual() const {
        for (auto depth = xcb_screen_allowed_depths_iterator(screen); depth.rem > 0; xcb_depth_next(&depth)) {
            for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem > 0; xcb_visualtype_next(&visual)) {
                if (visual.data->visual_id == screen->root_visual) return visual.data;
            }
        }
        return nullptr;
    }
};

/// One window, on the screen as long as it lives.
class ProgramWindows::Window {
public:
    using Draw = std::function<void(cairo_t*, double width, double height)>;

    Window(Connection& connection, const Rect& bounds, const std::string& name, bool fullScreen)
        : connection_(connection), bounds_(bounds), id_(xcb_generate_id(connection.x)) {
        const std::array<std::uint32_t, 2> values{connection.screen->black_pixel, XCB_EVENT_MASK_EXPOSURE};
        xcb_create_window(connection.x, XCB_COPY_FROM_PARENT, id_, connection.screen->root,
                          static_cast<std::int16_t>(bounds.x), static_cast<std::int16_t>(bounds.y),
                          static_cast<std::uint16_t>(bounds.width), static_cast<std::uint16_t>(bounds.height), 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, connection.screen->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values.data());
        setName(name);
        setProperties(fullScreen);
        xcb_map_window(connection.x, id_);
    }

    ~Window() { xcb_destroy_window(connection_.x, id_); }
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    void raise() const {
        const std::uint32_t above = XCB_STACK_MODE_ABOVE;
        xcb_configure_window(connection_.x, id_, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    }

    void setContent(Draw content) { content_ = std::move(content); }

    void draw() const {
        const auto width = static_cast<int>(bounds_.width);
        const auto height = static_cast<int>(bounds_.height);
        const std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> surface(
            cairo_xcb_surface_create(connection_.x, id_, connection_.visual(), width, height), cairo_surface_destroy);
        if (!connection_.device) connection_.device = cairo_device_reference(cairo_surface_get_device(surface.get()));
        const std::unique_ptr<cairo_t, decltype(&cairo_destroy)> cairo(cairo_create(surface.get()), cairo_destroy);
        // Drawn aside and shown at once, so that nobody captures half a slide.
        cairo_push_group(cairo.get());
        content_(cairo.get(), width, height);
        cairo_pop_group_to_source(cairo.get());
        cairo_paint(cairo.get());
        cairo_surface_finish(surface.get());
    }

private:
    void setName(const std::string& name) const {
        const auto length = static_cast<std::uint32_t>(name.size());
        xcb_change_property(connection_.x, XCB_PROP_MODE_REPLACE, id_, connection_.atom("_NET_WM_NAME"),
                            connection_.atom("UTF8_STRING"), 8, length, name.data());
        // For readers of windows that know the older property only.
        xcb_change_property(connection_.x, XCB_PROP_MODE_REPLACE, id_, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, length,
                            name.data());
    }

    void setNumbers(const char* property, xcb_atom_t type, std::initializer_list<std::uint32_t> values) const {
        xcb_change_property(connection_.x, XCB_PROP_MODE_REPLACE, id_, connection_.atom(property), type, 32,
                            static_cast<std::uint32_t>(values.size()), values.begin());
    }

    void setProperties(bool fullScreen) const {
        static constexpr std::uint32_t kUserPosition = 1;
        static constexpr std::uint32_t kHasDecorations = 2;
        setNumbers("_NET_WM_PID", XCB_ATOM_CARDINAL, {static_cast<std::uint32_t>(::getpid())});
        // Without a position of its user a window manager puts the window where it likes.
        setNumbers("WM_NORMAL_HINTS", XCB_ATOM_WM_SIZE_HINTS,
                   {kUserPosition, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
        // Without a frame the window is where and as large as the scripting channel tells.
        const xcb_atom_t motif = connection_.atom("_MOTIF_WM_HINTS");
        setNumbers("_MOTIF_WM_HINTS", motif, {kHasDecorations, 0, 0, 0, 0});
        if (fullScreen) setNumbers("_NET_WM_STATE", XCB_ATOM_ATOM, {connection_.atom("_NET_WM_STATE_FULLSCREEN")});
    }

    Connection& connection_;
    const Rect bounds_;
    const xcb_window_t id_;
    Draw content_;
};

ProgramWindows::ProgramWindows(std::unique_ptr<Connection> connection) : connection_(std::move(connection)) {}

ProgramWindows::~ProgramWindows() = default;

Rect ProgramWindows::screen() const {
    const auto rect = [](auto x, auto y, auto width, auto height) {
        return Rect{static_cast<double>(x), static_cast<double>(y), static_cast<double>(width),
                    static_cast<double>(height)};
    };
    const auto* const screen = connection_->screen;
    const auto cookie = xcb_randr_get_monitors(connection_->x, screen->root, 1);
    const auto reply = owned(xcb_randr_get_monitors_reply(connection_->x, cookie, nullptr));
    // A display without the extension is one screen.
    if (!reply || reply->nMonitors == 0) return rect(0, 0, screen->width_in_pixels, screen->height_in_pixels);
    const auto* const first = xcb_randr_get_monitors_monitors_iterator(reply.get()).data;
    return rect(first->x, first->y, first->width, first->height);
}

void ProgramWindows::update(const presenters::PresentationProgramModel& model) {
    std::set<std::string> shown;
    // From back to front, since each is raised above those before it.
    const auto show = [&](const std::string& key, const Rect& frame, const presenters::ProgramDocument& document,
                          bool isShow) {
        auto& window = windows_[key];
        if (!window) window = std::make_unique<Window>(*connection_, frame, document.name, isShow);
        window->setContent([document, isShow](cairo_t* cairo, double width, double height) {
            if (isShow) return drawSlide(cairo, width, height, document, document.currentSlide);
            drawDocumentWindow(cairo, width, height, document);
        });
        window->raise();
        shown.insert(key);
    };
    const auto& documents = model.documents();
    for (auto document = documents.rbegin(); document != documents.rend(); ++document) {
        show(document->id, model.documentFrame(), *document, false);
    }
    if (const auto* const presented = model.presentedDocument()) show(kShow, model.screen(), *presented, true);
    std::erase_if(windows_, [&shown](const auto& entry) { return !shown.contains(entry.first); });
    draw();
    // A round trip: whoever hears that a command is done finds its windows on the screen.
    owned(xcb_get_input_focus_reply(connection_->x, xcb_get_input_focus(connection_->x), nullptr));
}

int ProgramWindows::descriptor() const {
    return xcb_get_file_descriptor(connection_->x);
}

bool ProgramWindows::handleEvents() {
    bool uncovered = false;
    while (const auto event = owned(xcb_poll_for_event(connection_->x))) {
        static constexpr unsigned kSentByClient = 0x80;
        if ((event->response_type & ~kSentByClient) == XCB_EXPOSE) uncovered = true;
    }
    if (uncovered) draw();
    return xcb_connection_has_error(connection_->x) == 0;
}

void ProgramWindows::draw() const {
    if (xcb_connection_has_error(connection_->x) != 0) return;
    for (const auto& [key, window] : windows_) window->draw();
    xcb_flush(connection_->x);
}

std::unique_ptr<ProgramWindows> ProgramWindows::open() {
    const char* const name = std::getenv("DISPLAY");
    if (!name || *name == '\0') return nullptr;
    auto connection = std::make_unique<Connection>();
    int number = 0;
    connection->x = xcb_connect(nullptr, &number);
    if (xcb_connection_has_error(connection->x) != 0) return nullptr;
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection->x));
    // The display's name may tell a screen; the library counts it down to the one that is meant.
    for (; number > 0 && screens.rem > 1; --number) xcb_screen_next(&screens);
    connection->screen = screens.data;
    if (!connection->screen || !connection->visual()) return nullptr;
    return std::unique_ptr<ProgramWindows>(new ProgramWindows(std::move(connection)));
}

}  // namespace simulator
