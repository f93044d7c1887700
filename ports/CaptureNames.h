#pragma once

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

/// The bundle identifier of the presentation programs that the service watches, whoever plays them on this system.
inline constexpr const char* kKeynoteBundleIdentifier = "com.apple.iWork.Keynote";

/// Names of what the service leaves on disk, for hosts that look for it. Any thread.
namespace capture {

/// The image of a slide, in the capture directory or beside an extracted deck: `slide.007.jpg`. Slide numbers begin at
/// 1; from 1000 on the name grows.
[[nodiscard]] inline std::string imageFileName(std::int64_t slideNumber) {
    char name[40];
    const int length = std::snprintf(name, sizeof name, "slide.%03" PRId64 ".jpg", slideNumber);
    return {name, static_cast<std::size_t>(length)};
}

/// The text that an extraction writes beside the deck: `lecture.key.key.text.xml` for `lecture.key`.
[[nodiscard]] inline std::string textFileName(const std::string& deckFileName) {
    return deckFileName + ".key.text.xml";
}

/// Where the presentation program may write and the service keeps its working files. Each recording has a directory
/// there, named by its recording ID; the service does not remove it.
[[nodiscard]] inline std::filesystem::path workingRoot(const std::filesystem::path& homeDirectory) {
    return homeDirectory / "Library/Containers/com.apple.iWork.Keynote/Data/Documents/Veldrin";
}

}  // namespace capture
