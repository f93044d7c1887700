#pragma once

#include <string>
#include <string_view>

/// Text from decks, which may hold anything, made fit for a place.
namespace keynote_capture {

/// The text as one line of at most 200 characters: white space and control characters become single blanks,
/// characters that turn the writing direction for what follows are left out, and bytes that are not UTF-8 become
/// U+FFFD.
[[nodiscard]] std::string oneLine(std::string_view text);
/// The text with `&`, `<`, `>`, `"` and `'` as references, for XML and HTML. Control characters other than line feeds
/// and tabs, which neither can hold, and bytes that are not UTF-8 become U+FFFD.
[[nodiscard]] std::string escapedForXML(std::string_view text);
/// The same for a cue of WebVTT, where `&`, `<` and `>` alone mean something and readers know few other references.
[[nodiscard]] std::string escapedForCue(std::string_view text);

}  // namespace keynote_capture
