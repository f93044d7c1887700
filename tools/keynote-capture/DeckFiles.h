#pragma once

#include "ports/CaptureNames.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace keynote_capture {

/// The files of an extraction: the deck, and beside it its slides' images and its text. What goes wrong is told as a
/// sentence for people that says what to do.
class DeckFiles {
public:
    using Problem = std::optional<std::string>;

    /// The path is absolute.
    explicit DeckFiles(std::filesystem::path deck);

    /// Why nothing can be extracted from the deck.
    [[nodiscard]] Problem problem() const;
    /// Says for which slides images are to come; none of them has arrived yet.
    void expect(const std::vector<std::int64_t>& slides);
    /// Takes images of the same names away, or refuses because they are there.
    [[nodiscard]] Problem makeRoom(bool replace) const;

    /// The names of the images expected.
    [[nodiscard]] const std::vector<std::string>& names() const { return names_; }
    /// The names of those that are not there yet. Looks.
    [[nodiscard]] const std::vector<std::string>& missing();
    /// Whether the text has been written since the images are expected.
    [[nodiscard]] bool hasNewText() const;

    [[nodiscard]] const std::filesystem::path& deck() const { return deck_; }
    [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }
    [[nodiscard]] std::string textName() const { return capture::textFileName(deck_.filename()); }

private:
    [[nodiscard]] std::optional<std::filesystem::file_time_type> textTime() const;

    const std::filesystem::path deck_;
    const std::filesystem::path folder_;
    std::vector<std::string> names_;
    std::vector<std::string> missing_;
    std::optional<std::filesystem::file_time_type> oldText_;
};

/// "a, b, c and 4 more".
[[nodiscard]] std::string listOf(const std::vector<std::string>& names);

}  // namespace keynote_capture
