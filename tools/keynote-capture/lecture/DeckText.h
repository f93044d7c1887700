#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class XMLServices;

namespace keynote_capture {

/// What stands on a slide, and what its notes say. UTF-8, as the deck has it.
struct SlideText {
    std::int64_t number = 0;
    bool isHidden = false;  ///< a show passes over it
    std::string title;
    std::string body;  ///< everything else on the slide: its text boxes, and its tables, a line for each row
    std::string notes;
};

/// The text of a deck, its slides in their order.
struct DeckText {
    std::vector<SlideText> slides;

    /// The slide's index; nothing when the deck does not have it.
    [[nodiscard]] std::optional<std::size_t> indexOf(std::int64_t number) const;
};

/// Reads what an extraction has written. Nothing when it is no such document or when it has no slides, which is what
/// the service writes for a deck that could not be opened.
[[nodiscard]] std::optional<DeckText> deckTextFrom(std::string_view xml, const XMLServices& services);

}  // namespace keynote_capture
