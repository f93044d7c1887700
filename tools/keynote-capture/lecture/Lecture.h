#pragma once

#include "tools/keynote-capture/lecture/DeckText.h"
#include "tools/keynote-capture/lecture/Show.h"

#include <utility>

namespace keynote_capture {

/// One presentation and its files.
struct Part {
    std::filesystem::path directory;
    Show show;
    std::optional<DeckText> text;  ///< of its archive copy
};

/// Presentations on one scale of time: those that continue each other, or all of a recording. There is at least one.
struct Lecture {
    std::vector<Part> parts;  ///< in the order of their beginnings

    /// Where its times begin: with the first show.
    [[nodiscard]] Date start() const;
    /// Where the last show ends, or the last visit.
    [[nodiscard]] Date end() const;
};

/// Makes one lecture of the parts: brings them into order, and where a part tells visits that the one which it
/// continues has told before, takes those out. There must be at least one part.
[[nodiscard]] Lecture lectureOf(std::vector<Part> parts);

/// The title of the slide as one line, or "Slide 7".
[[nodiscard]] std::string titleOf(const Part& part, std::int64_t slide);
/// What the archive copy has for the slide; null when nothing is known.
[[nodiscard]] const SlideText* textOf(const Part& part, std::int64_t slide);
/// Whether the deck was edited during the show, as far as one can know: images come from the deck as it was in the end,
/// the archive copy and the text from its beginning.
[[nodiscard]] bool wasEdited(const Part& part);
/// The lecture's name as one line: its deck's, else its first title.
[[nodiscard]] std::string nameOf(const Lecture& lecture);

}  // namespace keynote_capture
