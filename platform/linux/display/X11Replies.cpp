#include "platform/linux/display/X11Replies.h"

#include "bus/Convert.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>
#include <string_view>

namespace display {

namespace {

/// What follows the 32 bytes that every reply has.
template <typename Fixed>
std::span<const std::byte> restOf(const Fixed& reply) {
    static_assert(sizeof(Fixed) == 32);
    const std::uint32_t size = reply.length * 4;  // in 32 bits, as the library counts what it reads
    return {static_cast<const std::byte*>(static_cast<const void*>(&reply + 1)), size};
}

std::vector<std::uint32_t> numbersIn(std::span<const std::byte> bytes, std::size_t count) {
    std::vector<std::uint32_t> numbers(std::min(count, bytes.size() / sizeof(std::uint32_t)));
    if (!numbers.empty()) std::memcpy(numbers.data(), bytes.data(), numbers.size() * sizeof(std::uint32_t));
    return numbers;
}

}  // namespace

std::vector<std::uint32_t> valuesOf(const xcb_get_property_reply_t* reply) {
    if (reply == nullptr || reply->format != 32) return {};
    return numbersIn(restOf(*reply), reply->value_len);
}

std::optional<std::string> textOf(const xcb_get_property_reply_t* reply) {
    if (reply == nullptr || reply->format != 8) return std::nullopt;
    const auto bytes = restOf(*reply);
    std::string_view text(static_cast<const char*>(static_cast<const void*>(bytes.data())),
                          std::min<std::size_t>(reply->value_len, bytes.size()));
    // Cut in the middle of a character, perhaps: what is left of the last one goes.
    if (reply->bytes_after != 0) {
        const auto isInside = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; };
        while (!text.empty() && isInside(text.back())) text.remove_suffix(1);
        if (!text.empty()) text.remove_suffix(1);
    }
    if (text.empty()) return std::nullopt;
    return bus::validUTF8(text);
}

std::vector<xcb_window_t> childrenOf(const xcb_query_tree_reply_t* reply) {
    if (reply == nullptr) return {};
    return numbersIn(restOf(*reply), reply->children_len);
}

std::vector<Rect> framesOf(const xcb_randr_get_monitors_reply_t* reply) {
    std::vector<Rect> frames;
    if (reply == nullptr) return frames;
    auto rest = restOf(*reply);
    xcb_randr_monitor_info_t info;
    for (auto left = reply->nMonitors; left > 0 && rest.size() >= sizeof(info); --left) {
        std::memcpy(&info, rest.data(), sizeof(info));
        frames.push_back({static_cast<double>(info.x), static_cast<double>(info.y), static_cast<double>(info.width),
                          static_cast<double>(info.height)});
        const std::size_t size = sizeof(info) + info.nOutput * sizeof(xcb_randr_output_t);
        // The server says how many outputs follow; it may not be taken at its word.
        rest = rest.subspan(std::min(size, rest.size()));
    }
    return frames;
}

xcb_window_t rootOf(const xcb_setup_t* setup, int screenNumber) {
    if (setup == nullptr) return XCB_NONE;
    constexpr std::size_t kBeforeLength = 8;  // the length tells the words that follow these bytes
    const auto* const start = static_cast<const char*>(static_cast<const void*>(setup));
    const auto* const end = start + kBeforeLength + std::size_t{setup->length} * 4;
    const auto isWhole = [end](const auto* item) { return static_cast<const void*>(item + 1) <= end; };
    if (!isWhole(setup)) return XCB_NONE;
    for (auto screen = xcb_setup_roots_iterator(setup); screen.rem > 0; xcb_screen_next(&screen)) {
        if (!isWhole(screen.data)) return XCB_NONE;
        if (screenNumber-- == 0) return screen.data->root;
        // The next screen lies behind the depths of this one, which tell their sizes.
        auto depth = xcb_screen_allowed_depths_iterator(screen.data);
        for (; depth.rem > 0; xcb_depth_next(&depth)) {
            if (!isWhole(depth.data)) return XCB_NONE;
        }
    }
    return XCB_NONE;
}

}  // namespace display
