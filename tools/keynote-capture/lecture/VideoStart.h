#pragma once

#include "base/Time.h"

#include <filesystem>
#include <optional>
#include <string>

namespace keynote_capture {

/// When a recording began.
struct VideoStart {
    Date at;
    bool wholeSeconds = false;  ///< the file tells no more than that
};

/// What an MP4, QuickTime, Matroska or WebM file says of when it was recorded; nothing when it says nothing, or is none
/// of them. Reads little of the file, however long it is.
[[nodiscard]] std::optional<VideoStart> videoStartOf(const std::filesystem::path& file);

}  // namespace keynote_capture
