#include <X11/keysym.h>
#include <fmt/format.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};
template <typename Reply>
using Owned = std::unique_ptr<Reply, FreeReply>;

/// A connection to the display, with the root window of its first screen.
class Display {
public:
    Display() : connection_(xcb_connect(nullptr, nullptr)) {
        if (xcb_connection_has_error(connection_.get()) != 0) throw std::runtime_error("no display");
        screen_ = xcb_setup_roots_iterator(xcb_get_setup(connection_.get())).data;
    }
    [[nodiscard]] xcb_connection_t* get() const { return connection_.get(); }
    [[nodiscard]] const xcb_screen_t& screen() const { return *screen_; }

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
    };
    std::unique_ptr<xcb_connection_t, Disconnect> connection_;
    const xcb_screen_t* screen_ = nullptr;
};

/// One pixel, and when it was last read.
class Pixel {
public:
    Pixel(const Display& display, int x, int y) : display_(display), x_(x), y_(y) {}

    void ask() {
        cookie_ = xcb_get_image(display_.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, display_.screen().root,
                                static_cast<std::int16_t>(x_), static_cast<std::int16_t>(y_), 1, 1, ~0U);
        asked_ = Clock::now();
    }
    /// Prints a change: pixel, its new colour, when the old one was asked for last and the new one read first.
    void read(int index) {
        const Owned<xcb_get_image_reply_t> reply(xcb_get_image_reply(display_.get(), cookie_, nullptr));
        if (!reply || xcb_get_image_data_length(reply.get()) < 4) throw std::runtime_error("no pixel");
        std::uint32_t colour = 0;
        std::memcpy(&colour, xcb_get_image_data(reply.get()), sizeof colour);
        colour &= 0xffffffU;
        if (colour != colour_) {
            std::cout << fmt::format("{} {} {} {}\n", index, colour, lastOld_.time_since_epoch().count(),
                                     Clock::now().time_since_epoch().count())
                      << std::flush;
        }
        colour_ = colour;
        lastOld_ = asked_;
    }

private:
    const Display& display_;
    const int x_;
    const int y_;
    xcb_get_image_cookie_t cookie_{};
    std::uint32_t colour_ = ~0U;
    Clock::time_point asked_;
    Clock::time_point lastOld_;
};

/// Reads two pixels at opposite ends of the screen 2,000 times a second.
void watch(const std::atomic<bool>& done) {
    const Display display;
    std::array pixels{Pixel(display, 4, 4),
                      Pixel(display, display.screen().width_in_pixels - 5, display.screen().height_in_pixels - 5)};
    for (auto next = Clock::now(); !done; next = std::max(next + 500us, Clock::now())) {
        std::this_thread::sleep_until(next);
        for (auto& pixel : pixels) pixel.ask();
        for (std::size_t i = 0; i < pixels.size(); ++i) pixels.at(i).read(static_cast<int>(i));
    }
}

xcb_keysym_t symbolNamed(const std::string& name) {
    if (name.size() == 1) return static_cast<unsigned char>(name[0]);
    static constexpr std::array<std::pair<const char*, xcb_keysym_t>, 9> kSymbols{{{"F5", XK_F5},
                                                                                   {"space", XK_space},
                                                                                   {"Page_Up", XK_Page_Up},
                                                                                   {"Home", XK_Home},
                                                                                   {"End", XK_End},
                                                                                   {"Return", XK_Return},
                                                                                   {"Escape", XK_Escape},
                                                                                   {"Right", XK_Right},
                                                                                   {"Left", XK_Left}}};
    const auto* const found = std::ranges::find_if(kSymbols, [&](const auto& each) { return name == each.first; });
    if (found == kSymbols.end()) throw std::runtime_error("no key " + name);
    return found->second;
}

/// Presses keys as a keyboard does.
class Keyboard {
public:
    void press(const std::string& name) {
        const auto code = codeOf(symbolNamed(name));
        for (const auto type : {XCB_KEY_PRESS, XCB_KEY_RELEASE}) {
            xcb_test_fake_input(display_.get(), static_cast<std::uint8_t>(type), code, XCB_CURRENT_TIME,
                                display_.screen().root, 0, 0, 0);
        }
        xcb_flush(display_.get());
    }

private:
    [[nodiscard]] xcb_keycode_t codeOf(xcb_keysym_t symbol) const {
        const auto* setup = xcb_get_setup(display_.get());
        const auto first = setup->min_keycode;
        const Owned<xcb_get_keyboard_mapping_reply_t> mapping(xcb_get_keyboard_mapping_reply(
            display_.get(),
            xcb_get_keyboard_mapping(display_.get(), first, static_cast<std::uint8_t>(setup->max_keycode - first + 1)),
            nullptr));
        if (!mapping) throw std::runtime_error("no keyboard");
        const std::span symbols(xcb_get_keyboard_mapping_keysyms(mapping.get()),
                                static_cast<std::size_t>(xcb_get_keyboard_mapping_keysyms_length(mapping.get())));
        for (std::size_t i = 0; i < symbols.size(); i += mapping->keysyms_per_keycode) {
            if (symbols[i] == symbol) return static_cast<xcb_keycode_t>(first + i / mapping->keysyms_per_keycode);
        }
        throw std::runtime_error("the keyboard lacks a key");
    }

    Display display_;
};

}  // namespace

/// Prints when the screen changes, and presses the keys of each line of standard input until its end.
int main() {
    std::atomic<bool> done = false;
    std::thread watcher([&done] {
        try {
            watch(done);
        } catch (const std::exception& error) {
            std::cerr << error.what() << std::endl;
            std::_Exit(EXIT_FAILURE);
        }
    });
    int status = EXIT_SUCCESS;
    try {
        Keyboard keyboard;
        for (std::string line; std::getline(std::cin, line);) {
            std::istringstream keys(line);
            for (std::string key; keys >> key;) keyboard.press(key);
        }
    } catch (const std::exception& error) {
        std::cerr << error.what() << std::endl;
        status = EXIT_FAILURE;
    }
    done = true;
    watcher.join();
    return status;
}
