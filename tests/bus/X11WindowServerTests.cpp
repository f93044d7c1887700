#include "platform/linux/X11WindowServer.h"
#include "platform/simulated/SimulatedDispatch.h"
#include "tests/bus/BusTest.h"
#include "tests/support/TemporaryDirectory.h"

#include <xcb/randr.h>
#include <xcb/xcb.h>
#include <xcb/xcb_ewmh.h>
#include <csignal>
#include <cstring>
#include <filesystem>

namespace {

constexpr double kWidth = 1024;
constexpr double kHeight = 768;

/// A virtual display of the test's own, and a connection that makes windows on it.
class X11WindowServerTest : public testing::Test {
protected:
    void SetUp() override {
        const auto number = display.waitForLine("");
        ::setenv("DISPLAY", (":" + number).c_str(), 1);
        connection = xcb_connect(nullptr, nullptr);
        ASSERT_EQ(xcb_connection_has_error(connection), 0);
        ASSERT_TRUE(xcb_ewmh_init_atoms_replies(&ewmh, xcb_ewmh_init_atoms(connection, &ewmh), nullptr));
        screen = ewmh.screens[0];
    }
    void TearDown() override {
        xcb_ewmh_connection_wipe(&ewmh);
        xcb_disconnect(connection);
    }

    xcb_window_t makeWindow(Rect bounds, std::uint32_t process, const char* name, bool bypassesManager = false,
                            std::uint16_t border = 0) {
        const auto window = xcb_generate_id(connection);
        const std::uint32_t bypasses = bypassesManager ? 1 : 0;
        xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen->root, static_cast<std::int16_t>(bounds.x),
                          static_cast<std::int16_t>(bounds.y), static_cast<std::uint16_t>(bounds.width),
                          static_cast<std::uint16_t>(bounds.height), border, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                          screen->root_visual, XCB_CW_OVERRIDE_REDIRECT, &bypasses);
        if (process != 0) xcb_ewmh_set_wm_pid(&ewmh, window, process);
        if (name != nullptr) {
            xcb_ewmh_set_wm_name(&ewmh, window, static_cast<std::uint32_t>(std::strlen(name)), name);
        }
        return window;
    }
    void map(xcb_window_t window) {
        xcb_map_window(connection, window);
        settle();
    }
    void settle() { std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr)); }
    [[nodiscard]] std::optional<WindowRecord> recordOf(xcb_window_t window) {
        for (auto& record : server.windows()) {
            if (record.number == window) return record;
        }
        return std::nullopt;
    }

    ChildProcess display{{"Xvfb", "-displayfd", "1", "-screen", "0", "1024x768x24", "-nolisten", "tcp"}};
    xcb_connection_t* connection = nullptr;
    xcb_ewmh_connection_t ewmh{};
    xcb_screen_t* screen = nullptr;
    NotedConsoleLog consoleLog;
    SimulatedDispatch dispatch;
    X11WindowServer server{consoleLog, dispatch.mainQueue()};
};

TEST_F(X11WindowServerTest, ListsWindowsWithoutAWindowManager) {
    const auto show = makeWindow({0, 0, kWidth, kHeight}, 41, "Show ä\xFF");
    const auto framed = makeWindow({10, 20, 300, 200}, 42, nullptr, true, 5);
    const auto hidden = makeWindow({0, 0, 10, 10}, 41, "hidden");
    const auto nobodys = makeWindow({0, 0, 10, 10}, 0, "nobody's");
    const auto desktop = makeWindow({0, 0, kWidth, kHeight}, 41, "desktop");
    xcb_ewmh_set_wm_window_type(&ewmh, desktop, 1, &ewmh._NET_WM_WINDOW_TYPE_DESKTOP);
    for (const auto window : {show, framed, nobodys, desktop}) map(window);

    const std::vector<WindowRecord> expected{{42, {10, 20, 310, 210}, std::nullopt, framed},
                                             {41, {0, 0, kWidth, kHeight}, "Show ä\uFFFD", show}};
    EXPECT_EQ(server.windows(), expected);
    EXPECT_EQ(server.screens(), (std::vector<Rect>{{0, 0, kWidth, kHeight}}));
    EXPECT_EQ(recordOf(hidden), std::nullopt);

    xcb_destroy_window(connection, show);
    settle();
    EXPECT_EQ(server.windows().size(), 1U);
    EXPECT_TRUE(consoleLog.notes.lines().empty());
}

TEST_F(X11WindowServerTest, ListsWindowsOfAWindowManagerWithTheirFrames) {
    const TemporaryDirectory directory;
    const auto ready = directory.path / "ready";
    ChildProcess manager({"openbox", "--sm-disable", "--startup", "touch " + ready.string()});
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(ready); }));

    const auto window = makeWindow({100, 100, 300, 200}, 41, "Document");
    const auto menu = makeWindow({5, 5, 20, 30}, 43, "Menu", true);
    map(window);
    map(menu);
    const auto isFramed = [&] {
        const auto record = recordOf(window);
        return record && record->bounds.width > 300 && record->bounds.width < 400 && record->bounds.height > 210;
    };
    ASSERT_TRUE(eventually(isFramed));
    EXPECT_EQ(recordOf(menu)->bounds, (Rect{5, 5, 20, 30}));
    EXPECT_EQ(server.windows().size(), 2U) << "frames and the manager's own windows are not listed";

    xcb_ewmh_request_change_wm_state(&ewmh, 0, window, XCB_EWMH_WM_STATE_ADD, ewmh._NET_WM_STATE_FULLSCREEN, XCB_NONE,
                                     XCB_EWMH_CLIENT_SOURCE_TYPE_NORMAL);
    settle();
    const Rect whole{0, 0, kWidth, kHeight};
    EXPECT_TRUE(eventually([&] { return recordOf(window)->bounds == whole; }));
    xcb_ewmh_request_change_wm_state(&ewmh, 0, window, XCB_EWMH_WM_STATE_REMOVE, ewmh._NET_WM_STATE_FULLSCREEN,
                                     XCB_NONE, XCB_EWMH_CLIENT_SOURCE_TYPE_NORMAL);
    settle();
    ASSERT_TRUE(eventually(isFramed));

    manager.send(SIGKILL);
    EXPECT_TRUE(eventually([&] {
        const auto record = recordOf(window);
        return record && record->bounds.width == 300 && record->bounds.height == 200;
    })) << "a manager that died leaves its list and frame widths behind";
    EXPECT_EQ(server.windows().size(), 2U);
}

TEST_F(X11WindowServerTest, SeesWhatChangesBetweenTwoLooks) {
    const auto window = makeWindow({10, 20, 300, 200}, 41, "before");
    map(window);
    EXPECT_EQ(recordOf(window)->name, "before");

    xcb_ewmh_set_wm_name(&ewmh, window, 5, "after");
    settle();
    EXPECT_EQ(recordOf(window)->name, "after");
    const std::uint32_t whole[] = {0, 0, static_cast<std::uint32_t>(kWidth), static_cast<std::uint32_t>(kHeight)};
    xcb_configure_window(connection, window,
                         XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                         whole);
    settle();
    EXPECT_EQ(recordOf(window)->bounds, (Rect{0, 0, kWidth, kHeight}));
    xcb_ewmh_set_wm_pid(&ewmh, window, 42);
    settle();
    EXPECT_EQ(recordOf(window)->ownerPID, 42);

    map(makeWindow({0, 0, 20, 20}, 43, "in front"));
    EXPECT_EQ(server.windows().front().ownerPID, 43);
    const std::uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(connection, window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    settle();
    EXPECT_EQ(server.windows().front().ownerPID, 42);
    xcb_unmap_window(connection, window);
    settle();
    EXPECT_EQ(recordOf(window), std::nullopt);
}

TEST_F(X11WindowServerTest, HoldsNoConnectionWhenNobodyAsks) {
    const auto descriptors = [] {
        const std::filesystem::directory_iterator open("/proc/self/fd");
        return std::distance(begin(open), end(open));
    };
    map(makeWindow({0, 0, 10, 10}, 41, "w"));
    const auto before = descriptors();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(server.windows().size(), 1U);
        dispatch.runFor(std::chrono::seconds(4));
        EXPECT_EQ(descriptors(), before + 1) << "asked every four seconds, it stays connected";
    }
    dispatch.runFor(std::chrono::seconds(10));
    EXPECT_EQ(descriptors(), before);
    EXPECT_EQ(server.windows().size(), 1U);
}

TEST_F(X11WindowServerTest, OutlivesItsDisplay) {
    map(makeWindow({0, 0, 10, 10}, 41, "w"));
    EXPECT_EQ(server.windows().size(), 1U);
    display.send(SIGKILL);
    static_cast<void>(display.exitStatus());
    EXPECT_TRUE(server.windows().empty());
    EXPECT_TRUE(server.screens().empty());
    EXPECT_TRUE(server.windows().empty());
    EXPECT_EQ(consoleLog.notes.lines().size(), 1U);
}

TEST(X11WindowServer, SaysOnceThatThereIsNoDisplay) {
    ::unsetenv("DISPLAY");
    NotedConsoleLog log;
    SimulatedDispatch dispatch;
    X11WindowServer server(log, dispatch.mainQueue());
    EXPECT_TRUE(server.windows().empty());
    EXPECT_TRUE(server.screens().empty());
    EXPECT_EQ(log.notes.lines().size(), 1U);
}

}  // namespace
