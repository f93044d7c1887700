#pragma once

#include "tools/keynote-capture/lecture/Lecture.h"

#include <filesystem>
#include <vector>

/// Lectures as their files tell them. What another program writes meanwhile may be seen in part.
namespace keynote_capture {

/// The presentation in the directory without its text, or nothing when there is no journal in it that this program
/// understands. `clock` as for `showFrom`.
[[nodiscard]] std::optional<Part> readPart(const std::filesystem::path& directory,
                                           const std::optional<ClockPair>& clock = std::nullopt);
/// The directories of the presentations below a capture directory; the directory itself when it is one of a
/// presentation.
[[nodiscard]] std::vector<std::filesystem::path> presentationsIn(const std::filesystem::path& directory);

/// The lecture of the presentation in the directory: with those beside it that it continues or that continue it.
[[nodiscard]] std::optional<Lecture> lectureAround(const std::filesystem::path& presentation);
/// One lecture for each recording in the capture directory, in their order, with all its presentations and those that
/// continue them.
[[nodiscard]] std::vector<Lecture> recordingsIn(const std::filesystem::path& captureDirectory);

/// The text of the presentation's archive copy, when it has been extracted.
[[nodiscard]] std::optional<DeckText> readDeckText(const std::filesystem::path& archive);

}  // namespace keynote_capture
