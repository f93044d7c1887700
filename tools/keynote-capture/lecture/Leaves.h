#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace keynote_capture {

/// What a lecture leaves for people: chapters and a page in the directory of each of its presentations.
inline constexpr const char* kChaptersFileName = "chapters.vtt";
inline constexpr const char* kPageFileName = "index.html";

/// What has been done about them.
struct Leaves {
    std::vector<std::filesystem::path> written;  ///< those that were not right already
    std::string problem;                         ///< a sentence that is fit for a terminal, or empty
};

/// Makes them for the lecture of the presentation in the directory, from its files alone. A file that is right already
/// is not touched; any other appears as a whole. A presentation without visits has none.
[[nodiscard]] Leaves makeLeaves(const std::filesystem::path& presentation);

}  // namespace keynote_capture
