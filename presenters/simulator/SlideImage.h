#pragma once

#include "presenters/model/PresentationProgramJobs.h"

#include <cstdint>
#include <string>

/// A slide as JPEG image of 1440 x 810 pixels; quality from 0 to 1. Empty when memory runs out.
[[nodiscard]] std::string jpegOfSlide(const ProgramDocument& document, std::int64_t slide, double quality);
