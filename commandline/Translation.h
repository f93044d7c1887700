#pragma once

#include <fmt/format.h>

#include <cstddef>
#include <string>

/// Texts for people are written in English where they are used, and translated there. `resources/po/update.sh` finds
/// them by the names of these functions. Values go into their places `{}`, or `{0}` and `{1}` where a language needs
/// another order.

/// From now on texts are in the language of the user, and characters are the user's. For the beginning of `main`.
void useLanguageOfUser();
/// From now on texts are English, as other programs expect them. Before there are threads.
void useEnglish();

/// As long as it lives, texts that its thread asks for are English: for what goes to programs beside what goes to
/// people.
class InEnglish {
public:
    InEnglish();
    ~InEnglish();
    InEnglish(const InEnglish&) = delete;
    InEnglish& operator=(const InEnglish&) = delete;
};

/// Marks an English text that `translation` is asked for elsewhere.
[[nodiscard]] constexpr const char* translatable(const char* english) {
    return english;
}
/// The text in the user's language, or the English one where there is no translation. Any thread.
[[nodiscard]] const char* translation(const char* english);
/// The same in the form that goes with the count.
[[nodiscard]] const char* translation(const char* one, const char* many, std::size_t count);

/// What the library's formats are made of is a literal, and ends as such.
template <typename Format>
[[nodiscard]] const char* literalOf(const Format& format) {
    const fmt::string_view text = format;
    return text.data();
}

/// A sentence in the user's language.
template <typename... Values>
[[nodiscard]] std::string translated(fmt::format_string<const Values&...> english, const Values&... values) {
    return fmt::vformat(translation(literalOf(english)), fmt::make_format_args(values...));
}

/// A sentence in the user's language that tells a number of things.
template <typename... Values>
[[nodiscard]] std::string translatedCount(std::size_t count, fmt::format_string<const Values&...> one,
                                          fmt::format_string<const Values&...> many, const Values&... values) {
    return fmt::vformat(translation(literalOf(one), literalOf(many), count), fmt::make_format_args(values...));
}
