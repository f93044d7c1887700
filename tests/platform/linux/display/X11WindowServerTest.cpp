#include "platform/linux/display/X11WindowServer.h"
#include "platform/simulated/SimulatedDispatch.h"
#include "tests/platform/linux/bus/BusTest.h"
#include "tests/support/TemporaryDirectory.h"

#include <sys/wait.h>
#include <xcb/randr.h>
#include <xcb/xcb.h>
#include <xcb/xcb_ewmh.h>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <future>

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
                            std::uint16_t border = 0, xcb_window_t parent = XCB_NONE) {
        const auto window = xcb_generate_id(connection);
        const std::uint32_t bypasses = bypassesManager ? 1 : 0;
        xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, parent != XCB_NONE ? parent : screen->root,
                          static_cast<std::int16_t>(bounds.x), static_cast<std::int16_t>(bounds.y),
                          static_cast<std::uint16_t>(bounds.width), static_cast<std::uint16_t>(bounds.height), border,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_OVERRIDE_REDIRECT, &bypasses);
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
    [[nodiscard]] bool eventuallyLists(std::size_t count) {
        return eventually([&] { return server.windows().size() == count; });
    }
    [[nodiscard]] static long descriptors() {
        const std::filesystem::directory_iterator open("/proc/self/fd");
        return std::distance(begin(open), end(open));
    }
    /// Stops the display until `SIGCONT`.
    void stopDisplay() const {
        display.send(SIGSTOP);
        siginfo_t stopped;
        waitid(P_PID, static_cast<id_t>(display.pid()), &stopped, WSTOPPED);
    }

    ChildProcess display{{"Xvfb", "-displayfd", "1", "-screen", "0", "1024x768x24", "-nolisten", "tcp"}};
    xcb_connection_t* connection = nullptr;
    xcb_ewmh_connection_t ewmh{};
    xcb_screen_t* screen = nullptr;
    NotedConsoleLog consoleLog;
    simulated::SimulatedDispatch dispatch;
    display::X11WindowServer server{consoleLog, dispatch.mainQueue()};
};

TEST_F(X11WindowServerTest, ListsWindowsWithoutAWindowManager) {
    std::string longName = "x";
    for (int i = 0; i < 10'000; ++i) longName += "ä";
    const auto named = makeWindow({1, 2, 30, 40}, 43, longName.c_str());
    const auto show = makeWindow({0, 0, kWidth, kHeight}, 41, "Show ä\xFF");
    const auto framed = makeWindow({10, 20, 300, 200}, 42, nullptr, true, 5);
    const auto hidden = makeWindow({0, 0, 10, 10}, 41, "hidden");
    const auto nobodys = makeWindow({0, 0, 10, 10}, 0, "nobody's");
    const auto desktop = makeWindow({0, 0, kWidth, kHeight}, 41, "desktop");
    xcb_ewmh_set_wm_window_type(&ewmh, desktop, 1, &ewmh._NET_WM_WINDOW_TYPE_DESKTOP);
    for (const auto window : {named, show, framed, nobodys, desktop}) map(window);

    const std::vector<WindowRecord> expected{{42, {10, 20, 310, 210}, std::nullopt, framed},
                                             {41, {0, 0, kWidth, kHeight}, "Show ä\uFFFD", show},
                                             {43, {1, 2, 30, 40}, longName.substr(0, 1023), named}};
    ASSERT_TRUE(eventuallyLists(3));
    EXPECT_EQ(server.windows(), expected);
    EXPECT_EQ(server.screens(), (std::vector<Rect>{{0, 0, kWidth, kHeight}}));
    EXPECT_EQ(recordOf(hidden), std::nullopt);

    xcb_destroy_window(connection, show);
    settle();
    EXPECT_TRUE(eventuallyLists(2));
    EXPECT_TRUE(consoleLog.notes.lines().empty());
}

TEST_F(X11WindowServerTest, ListsTheFrontmostOfManyWindows) {
    constexpr std::size_t kMany = 2100;
    constexpr std::size_t kMost = 2000;
    const auto frame = makeWindow({0, 0, kWidth, kHeight}, 0, nullptr);
    std::vector<xcb_window_t> framed;
    std::vector<xcb_window_t> free;
    for (std::size_t i = 0; i < kMany; ++i) {
        const auto row = i / 1000;
        const Rect bounds{static_cast<double>(i % 1000), static_cast<double>(row), 1, 1};
        framed.push_back(makeWindow(bounds, 41, nullptr, false, 0, frame));
        free.push_back(makeWindow(bounds, 42, nullptr));
    }
    xcb_map_subwindows(connection, frame);
    xcb_map_subwindows(connection, screen->root);
    xcb_ewmh_set_client_list_stacking(&ewmh, 0, kMany, framed.data());
    settle();

    ASSERT_TRUE(eventuallyLists(2 * kMost));
    const auto windows = server.windows();
    EXPECT_EQ(windows.front().number, free.back());
    EXPECT_EQ(windows[kMost - 1].number, free[kMany - kMost]);
    EXPECT_EQ(windows[kMost].number, framed.back());
    EXPECT_EQ(windows.back().number, framed[kMany - kMost]);
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
    const auto menuBounds = [&] { return recordOf(menu).value_or(WindowRecord()).bounds; };
    EXPECT_TRUE(eventually([&] { return menuBounds() == Rect{5, 5, 20, 30}; }));
    EXPECT_TRUE(eventuallyLists(2)) << "frames and the manager's own windows are not listed";

    xcb_ewmh_request_change_wm_state(&ewmh, 0, window, XCB_EWMH_WM_STATE_ADD, ewmh._NET_WM_STATE_FULLSCREEN, XCB_NONE,
                                     XCB_EWMH_CLIENT_SOURCE_TYPE_NORMAL);
    settle();
    const Rect whole{0, 0, kWidth, kHeight};
    EXPECT_TRUE(eventually([&] { return recordOf(window).value_or(WindowRecord()).bounds == whole; }));
    xcb_ewmh_request_change_wm_state(&ewmh, 0, window, XCB_EWMH_WM_STATE_REMOVE, ewmh._NET_WM_STATE_FULLSCREEN,
                                     XCB_NONE, XCB_EWMH_CLIENT_SOURCE_TYPE_NORMAL);
    settle();
    ASSERT_TRUE(eventually(isFramed));

    manager.send(SIGKILL);
    EXPECT_TRUE(eventually([&] {
        const auto record = recordOf(window);
        return record && record->bounds.width == 300 && record->bounds.height == 200;
    })) << "a manager that died leaves its list and frame widths behind";
    EXPECT_TRUE(eventuallyLists(2));
}

TEST_F(X11WindowServerTest, SeesWhatChanges) {
    const auto window = makeWindow({10, 20, 300, 200}, 41, "before");
    map(window);
    const auto becomes = [&](auto field, const auto& value) {
        settle();
        return eventually([&] {
            const auto record = recordOf(window);
            return record && (*record).*field == value;
        });
    };
    EXPECT_TRUE(becomes(&WindowRecord::name, "before"));
    xcb_ewmh_set_wm_name(&ewmh, window, 5, "after");
    EXPECT_TRUE(becomes(&WindowRecord::name, "after"));
    const std::uint32_t whole[] = {0, 0, static_cast<std::uint32_t>(kWidth), static_cast<std::uint32_t>(kHeight)};
    xcb_configure_window(connection, window,
                         XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                         whole);
    EXPECT_TRUE(becomes(&WindowRecord::bounds, Rect{0, 0, kWidth, kHeight}));
    xcb_ewmh_set_wm_pid(&ewmh, window, 42);
    EXPECT_TRUE(becomes(&WindowRecord::ownerPID, 42));
    for (int i = 0; i <= 20'000; ++i) {
        const auto name = std::to_string(i);
        xcb_ewmh_set_wm_name(&ewmh, window, static_cast<std::uint32_t>(name.size()), name.c_str());
    }
    EXPECT_TRUE(becomes(&WindowRecord::name, "20000")) << "a flood of changes";

    map(makeWindow({0, 0, 20, 20}, 43, "in front"));
    const auto isInFront = [&](pid_t process) {
        return eventually([&] { return server.windows().front().ownerPID == process; });
    };
    EXPECT_TRUE(isInFront(43));
    const std::uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(connection, window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    settle();
    EXPECT_TRUE(isInFront(42));
    xcb_unmap_window(connection, window);
    settle();
    EXPECT_TRUE(eventually([&] { return !recordOf(window); }));
}

TEST_F(X11WindowServerTest, HoldsNoConnectionWhenNobodyAsks) {
    map(makeWindow({0, 0, 10, 10}, 41, "w"));
    const auto before = descriptors();
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(eventuallyLists(1));
        dispatch.runFor(std::chrono::seconds(4));
        EXPECT_EQ(descriptors(), before + 1) << "asked every four seconds, it stays connected";
    }
    dispatch.runFor(std::chrono::seconds(10));
    EXPECT_TRUE(eventually([&] { return descriptors() == before; }));
    EXPECT_TRUE(eventuallyLists(1));
}

TEST_F(X11WindowServerTest, OutlivesItsDisplay) {
    map(makeWindow({0, 0, 10, 10}, 41, "w"));
    EXPECT_TRUE(eventuallyLists(1));
    display.send(SIGKILL);
    static_cast<void>(display.exitStatus());
    EXPECT_TRUE(eventuallyLists(0));
    EXPECT_TRUE(server.screens().empty());
    EXPECT_TRUE(server.windows().empty());
    EXPECT_EQ(consoleLog.notes.lines().size(), 1U);
}

TEST_F(X11WindowServerTest, AStoppedDisplayHoldsNobodyUp) {
    constexpr int kCalls = 1000;  // far more than could wait a moment each until the deadline
    map(makeWindow({0, 0, 10, 10}, 41, "w"));
    const auto before = descriptors();
    for (const bool isConnected : {true, false}) {
        SCOPED_TRACE(isConnected);
        auto asked = std::make_unique<display::X11WindowServer>(consoleLog, dispatch.mainQueue());
        const std::size_t known = isConnected ? 1 : 0;
        ASSERT_TRUE(!isConnected || eventually([&] { return asked->windows().size() == 1; }));
        stopDisplay();
        auto use = std::async(std::launch::async, [&] {
            bool asKnown = true;
            for (int i = 0; i < kCalls; ++i) {
                asKnown = asKnown && asked->windows().size() == known && asked->screens().size() == known;
            }
            asked.reset();
            return asKnown;
        });
        EXPECT_EQ(use.wait_for(kDeadline), std::future_status::ready);
        EXPECT_TRUE(!isConnected || eventually([&] { return descriptors() == before; })) << "it was cut off";
        display.send(SIGCONT);
        EXPECT_TRUE(use.get());
        EXPECT_TRUE(eventually([&] { return descriptors() == before; }));
    }
}

TEST_F(X11WindowServerTest, SaysOnceThatADisplayDoesNotAnswer) {
    map(makeWindow({0, 0, 10, 10}, 41, "w"));
    stopDisplay();
    const auto before = descriptors();
    EXPECT_TRUE(eventually([&] { return server.windows().empty() && !consoleLog.notes.lines().empty(); }));
    dispatch.runFor(std::chrono::seconds(60));
    EXPECT_TRUE(server.windows().empty());
    EXPECT_EQ(descriptors(), before + 1) << "one attempt at a time, whether anybody asks or not";
    display.send(SIGCONT);
    EXPECT_TRUE(eventuallyLists(1));
    EXPECT_EQ(consoleLog.notes.lines().size(), 1U);
}

TEST(X11WindowServer, SaysOnceThatThereIsNoDisplay) {
    ::unsetenv("DISPLAY");
    NotedConsoleLog log;
    simulated::SimulatedDispatch dispatch;
    display::X11WindowServer server(log, dispatch.mainQueue());
    EXPECT_TRUE(eventually([&] { return server.windows().empty() && !log.notes.lines().empty(); }));
    EXPECT_TRUE(server.screens().empty());
    EXPECT_EQ(log.notes.lines().size(), 1U);
}

}  // namespace
