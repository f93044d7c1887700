#pragma once

#include "tools/keynote-capture/EventJSON.h"
#include "tools/keynote-capture/lecture/Lecture.h"

namespace keynote_capture {

/// A lecture and its visits as JSON: which slide, where it stands in the deck and in the show, whether the deck hides
/// it, its image with its SHA-256, its texts, and when it was on the screen. What is not known is null. Looks at the
/// images; their paths are relative to `base`. Times in seconds, to the millisecond, count from the beginning of a
/// video that began so long before the lecture.
[[nodiscard]] Json jsonOf(const Lecture& lecture, Date::duration offset, const std::filesystem::path& base);
/// The visits of such an object as CSV (RFC 4180), with a line of names. An apostrophe goes before what a spreadsheet
/// would take for a formula.
[[nodiscard]] std::string csvFrom(const Json& lecture);

}  // namespace keynote_capture
