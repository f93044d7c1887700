#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

struct Colour {
    int red = 0, green = 0, blue = 0;
};

/// A decoded picture.
struct Image {
    std::size_t width = 0, height = 0;
    std::vector<std::uint8_t> samples;  ///< red, green, blue by row

    /// The picture in the JPEG file; nothing when it is damaged or cut short.
    [[nodiscard]] static std::optional<Image> read(const std::filesystem::path& file);
    /// The colour at a place given in parts of the width and height.
    [[nodiscard]] Colour at(double x, double y) const;
};

/// Whether two colours look the same after lossy compression.
[[nodiscard]] bool alike(const Colour& a, const Colour& b);
