#pragma once

#include "presenters/model/PresentationProgramJobs.h"

#include <cairo.h>
#include <cstdint>

namespace simulator {

/// Draws a slide into the rectangle (0, 0, width, height): deck name, title, a few lines and the slide's number, large,
/// so that a person sees at a glance which slide an image shows. Slide 0 is an empty black screen.
void drawSlide(cairo_t* cairo, double width, double height, const presenters::ProgramDocument& document,
               std::int64_t slide);

/// Draws the document's window: its current slide, a list of slides at the side.
void drawDocumentWindow(cairo_t* cairo, double width, double height, const presenters::ProgramDocument& document);

}  // namespace simulator
