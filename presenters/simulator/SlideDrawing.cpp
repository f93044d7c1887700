#include "presenters/simulator/SlideDrawing.h"

#include <fmt/format.h>
#include <algorithm>
#include <array>
#include <string>

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

enum class Weight { normal, bold };
enum class Align { left, right };

/// Writes one line with its base line at y; made narrower until it fits into `room`.
void write(cairo_t* cairo, const std::string& text, double x, double y, double size, Weight weight, double room,
           Align align = Align::left) {
    cairo_select_font_face(cairo, "Sans", CAIRO_FONT_SLANT_NORMAL,
                           weight == Weight::bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cairo, size);
    cairo_text_extents_t extents;
    cairo_text_extents(cairo, text.c_str(), &extents);
    if (extents.x_advance > room) {
        cairo_set_font_size(cairo, size * room / extents.x_advance);
        extents.x_advance = room;
    }
    cairo_move_to(cairo, align == Align::right ? x - extents.x_advance : x, y);
    cairo_show_text(cairo, text.c_str());
}

void drawLines(cairo_t* cairo, double width, double height, const ProgramDocument& document, std::int64_t slide) {
    const std::array lines{
        fmt::format("This is slide {} of {}", slide, document.slideCount),
        std::string(document.hiddenSlides.contains(slide) ? "The show passes over it: it is hidden"
                                                          : "It belongs to the show"),
        std::string("Drawn by the presentation simulator"),
    };
    double y = height * 0.46;
    for (const std::string& line : lines) {
        fillRectangle(cairo, kGrey, width * 0.08, y - height * 0.022, height * 0.014, height * 0.014);
        setColour(cairo, kInk);
        write(cairo, line, width * 0.105, y, height * 0.042, Weight::normal, width * 0.45);
        y += height * 0.095;
    }
}

}  // namespace

void drawSlide(cairo_t* cairo, double width, double height, const ProgramDocument& document, std::int64_t slide) {
    if (slide < 1) {
        fillRectangle(cairo, {0, 0, 0}, 0, 0, width, height);
        return;
    }
    const Colour accent = kAccents.at(static_cast<std::size_t>(slide) % kAccents.size());
    fillRectangle(cairo, kPaper, 0, 0, width, height);
    fillRectangle(cairo, accent, 0, 0, width, height * 0.03);
    setColour(cairo, kGrey);
    write(cairo, document.name, width * 0.08, height * 0.13, height * 0.035, Weight::normal, width * 0.8);
    setColour(cairo, accent);
    const std::string title = slide == 1 ? document.name : fmt::format("Topic {}", slide);
    write(cairo, title, width * 0.08, height * 0.27, height * 0.1, Weight::bold, width * 0.84);
    drawLines(cairo, width, height, document, slide);
    setColour(cairo, accent);
    write(cairo, std::to_string(slide), width * 0.93, height * 0.86, height * 0.5, Weight::bold, width * 0.36,
          Align::right);
    setColour(cairo, kGrey);
    write(cairo, fmt::format("{} / {}", slide, document.slideCount), width * 0.08, height * 0.94, height * 0.03,
          Weight::normal, width * 0.4);
}

void drawDocumentWindow(cairo_t* cairo, double width, double height, const ProgramDocument& document) {
    static constexpr std::int64_t kRows = 12;
    static constexpr double kSlideShape = 16.0 / 9.0;
    fillRectangle(cairo, {0.87, 0.87, 0.88}, 0, 0, width, height);
    const double row = height / static_cast<double>(kRows);
    const std::int64_t first = std::max<std::int64_t>(1, document.currentSlide - kRows / 2);
    for (std::int64_t i = 0; i < kRows && first + i <= document.slideCount; ++i) {
        const bool current = first + i == document.currentSlide;
        const double y = row * static_cast<double>(i);
        if (current) fillRectangle(cairo, {0.75, 0.82, 0.93}, 0, y, width * 0.2, row);
        setColour(cairo, kInk);
        write(cairo, fmt::format("Slide {}", first + i), width * 0.02, y + row * 0.65, row * 0.4,
              current ? Weight::bold : Weight::normal, width * 0.16);
    }
    const double slideWidth = std::min(width * 0.76, height * 0.9 * kSlideShape);
    cairo_save(cairo);
    cairo_translate(cairo, width * 0.22, height * 0.05);
    drawSlide(cairo, slideWidth, slideWidth / kSlideShape, document, document.currentSlide);
    cairo_restore(cairo);
}
