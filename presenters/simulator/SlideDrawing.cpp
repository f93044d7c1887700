#include "presenters/simulator/SlideDrawing.h"

#include <fmt/format.h>
#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace simulator {
namespace {

struct Colour {
    double red, green, blue;
};

constexpr Colour kPaper{0.99, 0.985, 0.97};
constexpr Colour kInk{0.13, 0.15, 0.2};
constexpr Colour kGrey{0.5, 0.52, 0.56};
/// Neighbouring slides differ in colour too, so that a change is seen from afar.
constexpr std::array kAccents{Colour{0.10, 0.36, 0.60}, Colour{0.64, 0.25, 0.16}, Colour{0.16, 0.46, 0.30},
                              Colour{0.45, 0.25, 0.53}, Colour{0.72, 0.49, 0.09}};

void setColour(cairo_t* cairo, const Colour& colour) {
    cairo_set_source_rgb(cairo, colour.red, colour.green, colour.blue);
}

void fillRectangle(cairo_t* cairo, const Colour& colour, double x, double y, double width, double height) {
    setColour(cairo, colour);
    cairo_rectangle(cairo, x, y, width, height);
    cairo_fill(cairo);
}

/// A line of text. Its base line begins at (x, y), or ends there when it is aligned to the right; the text is made
/// narrower until it fits into the room. Widths count in widths of the picture, heights in heights.
struct TextLine {
    std::string text;
    Colour colour;
    double x, y, size, room;
    bool isBold = false;
    bool isRightAligned = false;
};

void write(cairo_t* cairo, double width, double height, const TextLine& line) {
    setColour(cairo, line.colour);
    cairo_select_font_face(cairo, "Sans", CAIRO_FONT_SLANT_NORMAL,
                           line.isBold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cairo, line.size * height);
    cairo_text_extents_t extents;
    cairo_text_extents(cairo, line.text.c_str(), &extents);
    const double written = std::min(extents.x_advance, line.room * width);
    if (written < extents.x_advance) cairo_set_font_size(cairo, line.size * height * written / extents.x_advance);
    cairo_move_to(cairo, line.x * width - (line.isRightAligned ? written : 0), line.y * height);
    cairo_show_text(cairo, line.text.c_str());
}

}  // namespace

void drawSlide(cairo_t* cairo, double width, double height, const presenters::ProgramDocument& document,
               std::int64_t slide) {
    if (slide < 1) {
        fillRectangle(cairo, {0, 0, 0}, 0, 0, width, height);
        return;
    }
    const Colour accent = kAccents.at(static_cast<std::size_t>(slide) % kAccents.size());
    const bool isHidden = document.hiddenSlides.contains(slide);
    const std::array points{fmt::format("This is slide {} of {}", slide, document.slideCount),
                            std::string(isHidden ? "The show passes over it: it is hidden" : "It belongs to the show"),
                            std::string("Drawn by the presentation simulator")};
    fillRectangle(cairo, kPaper, 0, 0, width, height);
    fillRectangle(cairo, accent, 0, 0, width, height * 0.03);
    std::vector<TextLine> lines{
        {document.name, kGrey, 0.08, 0.13, 0.035, 0.8},
        {slide == 1 ? document.name : fmt::format("Topic {}", slide), accent, 0.08, 0.27, 0.1, 0.84, true},
        {std::to_string(slide), accent, 0.93, 0.86, 0.5, 0.36, true, true},
        {fmt::format("{} / {}", slide, document.slideCount), kGrey, 0.08, 0.94, 0.03, 0.4},
    };
    for (double y = 0.46; const std::string& point : points) {
        fillRectangle(cairo, kGrey, width * 0.08, (y - 0.022) * height, height * 0.014, height * 0.014);
        lines.push_back({point, kInk, 0.105, y, 0.042, 0.45});
        y += 0.095;
    }
    for (const TextLine& line : lines) write(cairo, width, height, line);
}

void drawDocumentWindow(cairo_t* cairo, double width, double height, const presenters::ProgramDocument& document) {
    static constexpr std::int64_t kRows = 12;
    static constexpr double kSlideShape = 16.0 / 9.0;
    fillRectangle(cairo, {0.87, 0.87, 0.88}, 0, 0, width, height);
    const double row = 1 / static_cast<double>(kRows);
    // The current slide stays in view.
    const std::int64_t first = std::max<std::int64_t>(1, document.currentSlide - kRows / 2);
    for (std::int64_t i = 0; i < kRows && first + i <= document.slideCount; ++i) {
        const bool current = first + i == document.currentSlide;
        const double y = row * static_cast<double>(i);
        if (current) fillRectangle(cairo, {0.75, 0.82, 0.93}, 0, y * height, width * 0.2, row * height);
        write(cairo, width, height,
              {fmt::format("Slide {}", first + i), kInk, 0.02, y + row * 0.65, row * 0.4, 0.16, current});
    }
    const double slideWidth = std::min(width * 0.76, height * 0.9 * kSlideShape);
    cairo_save(cairo);
    cairo_translate(cairo, width * 0.22, height * 0.05);
    drawSlide(cairo, slideWidth, slideWidth / kSlideShape, document, document.currentSlide);
    cairo_restore(cairo);
}

}  // namespace simulator
