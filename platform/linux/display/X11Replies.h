#pragma once

#include "base/Geometry.h"

#include <xcb/randr.h>
#include <xcb/xcb.h>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace display {

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};
/// What a display sends. Its own counts are not believed: nothing is read beyond what came. A reply may be null, as it
/// is for a window or a display that has gone; then there are no values.
template <typename T>
using Reply = std::unique_ptr<T, Free>;

/// The 32-bit values of a property; none when it is missing or of another format.
[[nodiscard]] std::vector<std::uint32_t> valuesOf(const xcb_get_property_reply_t* reply);
/// The text of a property as valid UTF-8; nothing when it is missing, empty, or of another format. A text that was not
/// asked for whole ends with a whole character.
[[nodiscard]] std::optional<std::string> textOf(const xcb_get_property_reply_t* reply);
/// The children of a window, the rearmost first.
[[nodiscard]] std::vector<xcb_window_t> childrenOf(const xcb_query_tree_reply_t* reply);
[[nodiscard]] std::vector<Rect> framesOf(const xcb_randr_get_monitors_reply_t* reply);
/// The root window of the screen of that number; `XCB_NONE` when there is no such screen.
[[nodiscard]] xcb_window_t rootOf(const xcb_setup_t* setup, int screenNumber);

}  // namespace display
