#include "ports/Geometry.h"
#include "tests/simulator/DrivenProcess.h"

#include <gtest/gtest.h>
#include <xcb/xcb.h>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <vector>

namespace {

template <typename T>
std::unique_ptr<T, decltype(&std::free)> owned(T* reply) {
    return {reply, std::free};
}

struct Seen {
    std::string name;
    std::uint32_t pid = 0;
    Rect bounds;
    std::uint32_t cornerPixel = 0;
};

/// Looks at the display as a window server's client does.
class Display {
public:
    explicit Display(const std::string& number) : x_(xcb_connect((":" + number).c_str(), nullptr)) {}
    ~Display() { xcb_disconnect(x_); }
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    /// The windows on the screen, the front one first.
    std::vector<Seen> windows() {
        const auto root = xcb_setup_roots_iterator(xcb_get_setup(x_)).data->root;
        const auto tree = owned(xcb_query_tree_reply(x_, xcb_query_tree(x_, root), nullptr));
        std::vector<Seen> seen;
        const xcb_window_t* const children = xcb_query_tree_children(tree.get());
        for (int i = xcb_query_tree_children_length(tree.get()) - 1; i >= 0; --i) seen.push_back(look(children[i]));
        return seen;
    }

private:
    Seen look(xcb_window_t window) {
        Seen seen;
        const auto frame = owned(xcb_get_geometry_reply(x_, xcb_get_geometry(x_, window), nullptr));
        seen.bounds = {double(frame->x), double(frame->y), double(frame->width), double(frame->height)};
        seen.name = property(window, "_NET_WM_NAME");
        const std::string pid = property(window, "_NET_WM_PID");
        if (pid.size() == sizeof seen.pid) pid.copy(reinterpret_cast<char*>(&seen.pid), sizeof seen.pid);
        const auto image = owned(xcb_get_image_reply(
            x_, xcb_get_image(x_, XCB_IMAGE_FORMAT_Z_PIXMAP, window, 0, 0, 1, 1, 0xFFFFFF), nullptr));
        if (image) seen.cornerPixel = *reinterpret_cast<const std::uint32_t*>(xcb_get_image_data(image.get()));
        return seen;
    }

    std::string property(xcb_window_t window, const std::string& name) {
        const auto length = static_cast<std::uint16_t>(name.size());
        const auto atom = owned(xcb_intern_atom_reply(x_, xcb_intern_atom(x_, 0, length, name.data()), nullptr));
        const auto cookie = xcb_get_property(x_, 0, window, atom->atom, XCB_ATOM_ANY, 0, 256);
        const auto reply = owned(xcb_get_property_reply(x_, cookie, nullptr));
        const auto size = static_cast<std::size_t>(xcb_get_property_value_length(reply.get()));
        return {static_cast<const char*>(xcb_get_property_value(reply.get())), size};
    }

    xcb_connection_t* x_;
};

TEST(SimulatorWindows, StandWhereTheChannelTellsAndALostDisplayEndsNothing) {
    DrivenProcess server({"Xvfb", "-displayfd", "1", "-screen", "0", "1280x722x24", "-nolisten", "tcp"});
    const std::string number = server.waitForLine("");
    auto display = std::make_unique<Display>(number);
    setenv("DISPLAY", (":" + number).c_str(), 1);
    DrivenProcess simulator({KEYNOTE_SIMULATOR, "-"});
    simulator.play("launch");
    EXPECT_TRUE(display->windows().empty());
    simulator.play("open First slides 3");
    simulator.play("open Zweite-Übung slides 3");
    auto windows = display->windows();
    ASSERT_EQ(windows.size(), 2U);
    EXPECT_EQ(windows[0].name, "Zweite-Übung");
    EXPECT_EQ(windows[0].pid, static_cast<std::uint32_t>(simulator.pid()));
    EXPECT_EQ(windows[0].bounds, (Rect{160, 90, 960, 541}));
    EXPECT_EQ(windows[1].name, "First");

    simulator.play("start First at 1");
    windows = display->windows();
    ASSERT_EQ(windows.size(), 3U);
    EXPECT_EQ(windows[0].name, "First");
    EXPECT_EQ(windows[0].bounds, (Rect{0, 0, 1280, 722}));
    simulator.play("next");
    EXPECT_NE(display->windows()[0].cornerPixel, windows[0].cornerPixel) << "the slide drawn does not change";
    simulator.play("activate First");
    simulator.play("stop");
    windows = display->windows();
    ASSERT_EQ(windows.size(), 2U);
    EXPECT_EQ(windows[0].name, "First");
    simulator.play("close First");
    EXPECT_EQ(display->windows().size(), 1U);

    simulator.play("start");
    display.reset();
    kill(server.pid(), SIGKILL);
    simulator.play("next");
    simulator.play("wait 0.05");
    simulator.play("next");
    simulator.closeInput();
    EXPECT_EQ(simulator.exitStatus(), 0);
    unsetenv("DISPLAY");
}

}  // namespace
