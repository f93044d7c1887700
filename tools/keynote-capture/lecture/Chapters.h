#pragma once

#include "tools/keynote-capture/lecture/Lecture.h"

#include <chrono>
#include <string>
#include <vector>

namespace keynote_capture {

/// A chapter of a video: a visit of a slide.
struct Chapter {
    std::chrono::milliseconds start;  ///< since the video's beginning, 0 or more
    std::chrono::milliseconds end;    ///< after `start`, and not after the next one's start
    std::string title;                ///< one line, not empty
};

/// The chapters of a video that began so long before the lecture (negative: after it). What lies before its beginning,
/// and visits that are over within the same millisecond, are left out; pauses and gaps belong to no chapter.
[[nodiscard]] std::vector<Chapter> chaptersOf(const Lecture& lecture, Date::duration offset);

/// WebVTT: a cue for each chapter.
[[nodiscard]] std::string webVTTFrom(const std::vector<Chapter>& chapters);
/// FFmpeg's metadata file, format 1.
[[nodiscard]] std::string ffmetadataFrom(const std::vector<Chapter>& chapters);
/// Matroska's chapters as XML.
[[nodiscard]] std::string matroskaFrom(const std::vector<Chapter>& chapters);
/// The simple chapters that came from OGM; only they lack the ends.
[[nodiscard]] std::string ogmFrom(const std::vector<Chapter>& chapters);

/// "01:02:03.004", with more digits for the hours where needed.
[[nodiscard]] std::string clockText(std::chrono::milliseconds time);

}  // namespace keynote_capture
