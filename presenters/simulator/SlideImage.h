#pragma once

#include "presenters/model/PresentationProgramJobs.h"

#include <cstdint>
#include <string>

namespace simulator {

/// A slide as JPEG image of 1440 x 810 pixels; quality from 0 to 1. Empty when memory runs out.
[[nodiscard]] std::string jpegOfSlide(const presenters::ProgramDocument& document, std::int64_t slide, double quality);

}  // namespace simulator
