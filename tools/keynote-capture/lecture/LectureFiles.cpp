#include "tools/keynote-capture/lecture/LectureFiles.h"

#include "host/Journal.h"
#include "platform/linux/text/LinuxXMLServices.h"
#include "ports/CaptureNames.h"
#include "tools/keynote-capture/ShowJournal.h"

#include <algorithm>
#include <fstream>
#include <sstream>

namespace keynote_capture {
namespace {

namespace fs = std::filesystem;

bool belongTogether(const Part& a, const Part& b) {
    return a.show.continues == b.show.presentationID || b.show.continues == a.show.presentationID;
}

bool areOfOneRecording(const Part& a, const Part& b) {
    return belongTogether(a, b) || a.show.recordingID == b.show.recordingID;
}

/// Takes the first part out of `parts` with all that are connected with it.
template <typename Connected>
std::vector<Part> takeConnected(std::vector<Part>& parts, const Connected& areConnected) {
    std::vector<Part> taken;
    taken.push_back(std::move(parts.front()));
    parts.erase(parts.begin());
    for (std::size_t i = 0; i < taken.size(); ++i) {
        for (auto part = parts.begin(); part != parts.end();) {
            if (!areConnected(taken[i], *part)) {
                ++part;
                continue;
            }
            taken.push_back(std::move(*part));
            part = parts.erase(part);
        }
    }
    return taken;
}

std::vector<Part> partsIn(const fs::path& directory) {
    std::vector<Part> parts;
    for (const auto& presentation : presentationsIn(directory)) {
        if (auto part = readPart(presentation)) parts.push_back(*std::move(part));
    }
    return parts;
}

/// Reads the text of each archive copy, and brings the times of all onto the first one's clock.
Lecture completed(std::vector<Part> parts) {
    std::ranges::stable_sort(parts, {}, [](const Part& part) { return part.show.begun; });
    for (auto& part : parts) {
        if (auto again = readPart(part.directory, parts.front().show.clock)) part = *std::move(again);
        if (part.show.archive) part.text = readDeckText(part.directory / *part.show.archive);
    }
    return lectureOf(std::move(parts));
}

}  // namespace

std::optional<Part> readPart(const fs::path& directory, const std::optional<ClockPair>& clock) {
    auto show = showFrom(host::journalLines(directory / ShowJournal::kFileName), clock);
    if (!show) return std::nullopt;
    // What another journal says of this presentation names its directory.
    show->presentationID = directory.filename();
    return Part{directory, *std::move(show), {}};
}

std::vector<fs::path> presentationsIn(const fs::path& directory) {
    std::error_code failure;
    if (fs::exists(directory / ShowJournal::kFileName, failure)) return {directory};
    std::vector<fs::path> found;
    for (const auto& entry : fs::directory_iterator(directory, failure)) {
        if (fs::exists(entry.path() / ShowJournal::kFileName, failure)) found.push_back(entry.path());
    }
    std::ranges::sort(found);
    return found;
}

std::optional<Lecture> lectureAround(const fs::path& presentation) {
    auto own = readPart(presentation);
    if (!own) return std::nullopt;
    auto others = partsIn(presentation.parent_path());
    std::erase_if(others, [&presentation](const Part& part) { return part.directory == presentation; });
    others.insert(others.begin(), *std::move(own));
    return completed(takeConnected(others, belongTogether));
}

std::vector<Lecture> recordingsIn(const fs::path& captureDirectory) {
    auto parts = partsIn(captureDirectory);
    std::vector<Lecture> lectures;
    while (!parts.empty()) lectures.push_back(completed(takeConnected(parts, areOfOneRecording)));
    std::ranges::stable_sort(lectures, {}, [](const Lecture& lecture) { return lecture.start(); });
    return lectures;
}

std::optional<DeckText> readDeckText(const fs::path& archive) {
    constexpr std::uintmax_t kMostBytes = 256UL << 20U;
    const auto file = archive.parent_path() / capture::textFileName(archive.filename());
    std::error_code failure;
    if (!fs::is_regular_file(file, failure) || fs::file_size(file, failure) > kMostBytes || failure) return {};
    std::ostringstream bytes;
    bytes << std::ifstream(file, std::ios::binary).rdbuf();
    return deckTextFrom(bytes.view(), text::LinuxXMLServices());
}

}  // namespace keynote_capture
