#pragma once

/// A rectangle in screen coordinates: pixels, origin at the top left of the whole desktop.
struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    bool operator==(const Rect&) const = default;
};
