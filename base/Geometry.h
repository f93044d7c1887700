#pragma once

/// A rectangle in screen coordinates: pixels from the top left corner of the whole desktop, to the right and down. With
/// several screens, coordinates may be negative. Two are equal when all their numbers are exactly.
struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    bool operator==(const Rect&) const = default;
};
