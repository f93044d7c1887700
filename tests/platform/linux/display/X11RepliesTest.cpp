#include "platform/linux/display/X11Replies.h"

#include <gtest/gtest.h>
#include <cstring>

namespace {

using Words = std::vector<std::uint32_t>;
using Formats = std::vector<std::uint8_t>;

/// A reply in exactly as many bytes as came, whatever its fields tell.
template <typename T>
display::Reply<T> sent(T fixed, const Words& rest) {
    fixed.length = static_cast<decltype(fixed.length)>(rest.size());
    auto* const memory = static_cast<char*>(std::malloc(sizeof(T) + rest.size() * 4));
    std::memcpy(memory, &fixed, sizeof(T));
    if (!rest.empty()) std::memcpy(memory + sizeof(T), rest.data(), rest.size() * 4);
    return display::Reply<T>(static_cast<T*>(static_cast<void*>(memory)));
}

auto property(std::uint8_t format, std::uint32_t count, const Words& words, std::uint32_t left = 0) {
    xcb_get_property_reply_t fixed{};
    fixed.format = format;
    fixed.value_len = count;
    fixed.bytes_after = left;
    return sent(fixed, words);
}

TEST(X11Replies, PropertiesAreReadAsFarAsTheyCame) {
    const std::uint32_t tooMany = 0xFFFFFFFF;
    const std::uint32_t abcd = 0x64636261;
    EXPECT_EQ(display::valuesOf(property(32, 1, {5, 6}).get()), Words{5});
    EXPECT_EQ(display::valuesOf(property(32, tooMany, {5, 6}).get()), (Words{5, 6}));
    EXPECT_EQ(display::textOf(property(8, 3, {abcd}).get()), "abc");
    EXPECT_EQ(display::textOf(property(8, tooMany, {abcd}).get()), "abcd");
    EXPECT_EQ(display::textOf(property(8, 4, {0xA4C3A4C3}).get()), "ää");
    EXPECT_EQ(display::textOf(property(8, 4, {0xA4C36261}, 1).get()), "ab");
    EXPECT_EQ(display::textOf(property(8, 4, {0x80808080}, 1).get()), std::nullopt);
    EXPECT_EQ(display::textOf(property(8, tooMany, {}).get()), std::nullopt);
    for (const std::uint8_t format : Formats{0, 8, 16, 255}) {
        EXPECT_EQ(display::valuesOf(property(format, tooMany, {5}).get()), Words{}) << int{format};
    }
    for (const std::uint8_t format : Formats{0, 16, 32, 255}) {
        EXPECT_EQ(display::textOf(property(format, tooMany, {abcd}).get()), std::nullopt) << int{format};
    }
    EXPECT_EQ(display::valuesOf(nullptr), Words{});
    EXPECT_EQ(display::textOf(nullptr), std::nullopt);
}

TEST(X11Replies, ListsAreReadAsFarAsTheyCame) {
    xcb_query_tree_reply_t tree{};
    tree.children_len = 0xFFFF;
    EXPECT_EQ(display::childrenOf(sent(tree, {7, 8}).get()), (Words{7, 8}));
    EXPECT_EQ(display::childrenOf(nullptr), Words{});

    // Each monitor tells in its second word how many outputs follow its six, and then its place and size.
    xcb_randr_get_monitors_reply_t monitors{};
    monitors.nMonitors = 0xFFFFFFFF;
    const std::uint32_t size = 768U << 16U | 1024U;
    const Rect first{0, 0, 1024, 768};
    const Rect second{1024, 0, 1024, 768};
    const Words two{0, 1U << 16U, 0, size, 0, 0, 99, 0, 0xFFFFU << 16U, 1024, size, 0, 0};
    EXPECT_EQ(display::framesOf(sent(monitors, two).get()), (std::vector<Rect>{first, second}));
    EXPECT_EQ(display::framesOf(sent(monitors, {two.begin(), two.end() - 1}).get()), std::vector<Rect>{first});
    EXPECT_EQ(display::framesOf(nullptr), std::vector<Rect>{});
}

TEST(X11Replies, AScreenIsFoundAsFarAsItCame) {
    xcb_setup_t fixed{};
    fixed.roots_len = 3;
    Words screen(10);
    screen[0] = 42;                   // its root
    screen[9] = 1U << 24U;            // one depth,
    const Words depth{2U << 16U, 0};  // of two kinds of pixels
    const Words kinds(12);
    Words rest;
    const auto add = [&rest](const Words& words) { rest.insert(rest.end(), words.begin(), words.end()); };
    const auto root = [&](int number) {
        auto setup = sent(fixed, rest);
        setup->length = static_cast<std::uint16_t>(rest.size() + 8);  // all words but the first two
        return display::rootOf(setup.get(), number);
    };
    EXPECT_EQ(root(0), XCB_NONE);
    for (const auto& words : {screen, depth, kinds, screen}) add(words);
    EXPECT_EQ(root(0), 42U);
    EXPECT_EQ(root(1), 42U);
    EXPECT_EQ(root(2), XCB_NONE);
    EXPECT_EQ(root(-1), XCB_NONE);
    EXPECT_EQ(display::rootOf(nullptr, 0), XCB_NONE);
}

}  // namespace
