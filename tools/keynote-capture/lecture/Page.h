#pragma once

#include "tools/keynote-capture/lecture/Lecture.h"

namespace keynote_capture {

/// The lecture as a page (HTML) that needs nothing but the images: its slides in the order of showing, with times,
/// texts and notes. It is to lie in `directory`; images are named from there, those that exist. A script in it brings a
/// video and the slides together; all of the content is there without it. What stands on slides is not trusted.
[[nodiscard]] std::string pageFrom(const Lecture& lecture, const std::filesystem::path& directory);

}  // namespace keynote_capture
