#include "presenters/simulator/ProgramWindows.h"

#include "presenters/simulator/SlideDrawing.h"

#include <cairo-xcb.h>
#include <unistd.h>
#include <xcb/randr.h>
#include <xcb/xcb.h>
#include <algorithm>
#include <array>
#include <cstdlib>
#include <functional>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

namespace {

template <typename T>
using Reply = std::unique_ptr<T, decltype(&std::free)>;

template <typename T>
Reply<T> owned(T* reply) {
    return {reply, std::free};
}

struct Connection {
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

using Draw = std::function<void(cairo_t*, double width, double height)>;

/// One window, on the screen as long as it lives.
class Window {
public:
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

    void draw(const Draw& draw) const {
        const auto width = static_cast<int>(bounds_.width);
        const auto height = static_cast<int>(bounds_.height);
        const std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> surface(
            cairo_xcb_surface_create(connection_.x, id_, connection_.visual(), width, height), cairo_surface_destroy);
        if (!connection_.device) connection_.device = cairo_device_reference(cairo_surface_get_device(surface.get()));
        const std::unique_ptr<cairo_t, decltype(&cairo_destroy)> cairo(cairo_create(surface.get()), cairo_destroy);
        cairo_push_group(cairo.get());
        draw(cairo.get(), width, height);
        cairo_pop_group_to_source(cairo.get());
        cairo_paint(cairo.get());
        cairo_surface_finish(surface.get());
    }

private:
    void setName(const std::string& name) const {
        const auto length = static_cast<std::uint32_t>(name.size());
        xcb_change_property(connection_.x, XCB_PROP_MODE_REPLACE, id_, connection_.atom("_NET_WM_NAME"),
                            connection_.atom("UTF8_STRING"), 8, length, name.data());
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
};

class XProgramWindows : public ProgramWindows {
public:
    explicit XProgramWindows(std::unique_ptr<Connection> connection) : connection_(std::move(connection)) {}

    [[nodiscard]] Rect screen() const override {
        xcb_connection_t* const x = connection_->x;
        const auto cookie = xcb_randr_get_monitors(x, connection_->screen->root, 1);
        const auto reply = owned(xcb_randr_get_monitors_reply(x, cookie, nullptr));
        if (reply && reply->nMonitors > 0) {
            const auto* const first = xcb_randr_get_monitors_monitors_iterator(reply.get()).data;
            return {static_cast<double>(first->x), static_cast<double>(first->y), static_cast<double>(first->width),
                    static_cast<double>(first->height)};
        }
        return {0, 0, static_cast<double>(connection_->screen->width_in_pixels),
                static_cast<double>(connection_->screen->height_in_pixels)};
    }

    void update(const PresentationProgramModel& model) override {
        documents_ = model.documents();
        std::erase_if(documentWindows_, [this](const auto& entry) { return !documentWithID(entry.first); });
        for (auto document = documents_.rbegin(); document != documents_.rend(); ++document) {
            auto& window = documentWindows_[document->id];
            if (!window) window = std::make_unique<Window>(*connection_, model.documentFrame(), document->name, false);
            window->raise();
        }
        presented_.reset();
        if (const auto* const presented = model.presentedDocument()) presented_ = *presented;
        if (!presented_) showWindow_.reset();
        if (presented_ && !showWindow_) {
            showWindow_ = std::make_unique<Window>(*connection_, model.screen(), presented_->name, true);
        }
        if (showWindow_) showWindow_->raise();
        draw();
        // A round trip: whoever hears that a command is done finds its windows on the screen.
        owned(xcb_get_input_focus_reply(connection_->x, xcb_get_input_focus(connection_->x), nullptr));
    }

    [[nodiscard]] int descriptor() const override { return xcb_get_file_descriptor(connection_->x); }

    [[nodiscard]] bool handleEvents() override {
        bool uncovered = false;
        while (const auto event = owned(xcb_poll_for_event(connection_->x))) {
            static constexpr unsigned kSentByClient = 0x80;
            if ((event->response_type & ~kSentByClient) == XCB_EXPOSE) uncovered = true;
        }
        if (uncovered) draw();
        return xcb_connection_has_error(connection_->x) == 0;
    }

private:
    [[nodiscard]] const ProgramDocument* documentWithID(const std::string& id) const {
        const auto found = std::find_if(documents_.begin(), documents_.end(),
                                        [&id](const auto& document) { return document.id == id; });
        return found == documents_.end() ? nullptr : &*found;
    }

    void draw() {
        if (xcb_connection_has_error(connection_->x) != 0) return;
        for (const ProgramDocument& document : documents_) {
            documentWindows_.at(document.id)->draw([&document](cairo_t* cairo, double width, double height) {
                drawDocumentWindow(cairo, width, height, document);
            });
        }
        if (showWindow_) {
            showWindow_->draw([this](cairo_t* cairo, double width, double height) {
                drawSlide(cairo, width, height, *presented_, presented_->currentSlide);
            });
        }
        xcb_flush(connection_->x);
    }

    const std::unique_ptr<Connection> connection_;
    std::vector<ProgramDocument> documents_;  ///< as the model had them at the last update
    std::optional<ProgramDocument> presented_;
    std::map<std::string, std::unique_ptr<Window>> documentWindows_;  ///< by the document's ID
    std::unique_ptr<Window> showWindow_;
};

}  // namespace

std::unique_ptr<ProgramWindows> ProgramWindows::open() {
    const char* const name = std::getenv("DISPLAY");
    if (!name || *name == '\0') return nullptr;
    auto connection = std::make_unique<Connection>();
    int number = 0;
    connection->x = xcb_connect(nullptr, &number);
    if (xcb_connection_has_error(connection->x) != 0) return nullptr;
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection->x));
    for (; number > 0 && screens.rem > 1; --number) xcb_screen_next(&screens);
    connection->screen = screens.data;
    if (!connection->screen || !connection->visual()) return nullptr;
    return std::make_unique<XProgramWindows>(std::move(connection));
}
